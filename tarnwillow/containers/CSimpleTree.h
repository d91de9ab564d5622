#pragma once

#include "tarnwillow/core/CAutoDeleteableObject.h"

namespace tarnwillow {

class CSimpleTreeCursor;

/// A general tree of nodes that each hold a pointer and a number. What they mean is the caller's:
/// the tree never frees a node's data.
///
/// A tree is used through this interface and its cursors', made by New_Simple_Tree and New_Cursor
/// and deleted by the caller; the order of the virtual operations is fixed. A node is an opaque
/// pointer that lives until the node or the tree is deleted. Every operation that takes a node may
/// be given any pointer: one that is not a living node of this tree changes nothing.
///
/// A tree and its cursors take no lock and belong to one thread at a time. A cursor may outlive its
/// tree; it then stands on no node.
class TARNWILLOW_API CSimpleTree : public CAutoDeleteableObject {
public:
    CSimpleTree();
    /// For derived classes; there are no fields to copy.
    CSimpleTree(const CSimpleTree& other);
    CSimpleTree& operator=(const CSimpleTree& other);

    /// Runs the destroy callbacks in order of adding while all nodes are still there, then deletes
    /// the nodes. A fault in a callback ends that callback only.
    ~CSimpleTree() override;

    /// A cursor on the root, the caller's to delete. Null without memory.
    virtual CSimpleTreeCursor* New_Cursor() = 0;

    /// Takes the node with its subtree from its place and makes it the last child of `new_parent`.
    /// Nothing happens for the root, or if `new_parent` is the node itself or below it.
    virtual void Move_Node(void* node, void* new_parent) = 0;

    /// Deletes the node with its subtree. Nothing happens for the root. The memory is used again
    /// for nodes added later, so a pointer kept across that may lead to another node.
    virtual void Delete_Node(void* node) = 0;

    /// Get data and size of a node, the node, and the context of the walk.
    using WalkProc = bool (*)(void* data, long size, void* node, void* context);
    using GuideProc = int (*)(void* data, long size, void* node, void* context);

    /// Calls `proc` for the node and all below it, each node before its children. Ends with false
    /// at the first false, and for a node that is none. `proc` may delete and move nodes, also the
    /// one it is called for: the walk goes on behind the place where that was, below the node that
    /// it began with, or ends if its surroundings have gone too.
    virtual bool Walk_Subtree(void* node, WalkProc proc, void* context) = 0;

    /// Follows the answers of `proc` from the node on: 2 leads to the first child, 3 ends the walk,
    /// anything else leads to the next sibling. Ends where there is no such node.
    virtual void Walk_Guided(void* node, GuideProc proc, void* context) = 0;

    /// Calls `proc` for the node and each ancestor, but not for the root. False ends the walk.
    virtual void Walk_To_Root(void* node, WalkProc proc, void* context) = 0;

    /// Gets the tree that goes, and the `data` given with it.
    using DestroyProc = void (*)(CSimpleTree* tree, void* data);

    /// The result is a handle for Remove_Destroy_Callback, null without memory. Throws `long`
    /// E_OUTOFMEMORY if the list of callbacks cannot grow.
    virtual void* Add_Destroy_Callback(DestroyProc proc, void* data) = 0;
    virtual void Remove_Destroy_Callback(void* handle) = 0;
};

/// A position in a tree. It stands on a node or on none; it stands on none also when its node or
/// its tree has been deleted.
///
/// A move gives the data of the node that it leads to. One that cannot be made changes nothing and
/// gives null.
class TARNWILLOW_API CSimpleTreeCursor : public CAutoDeleteableObject {
public:
    CSimpleTreeCursor();
    /// For derived classes.
    CSimpleTreeCursor(const CSimpleTreeCursor& other);
    CSimpleTreeCursor& operator=(const CSimpleTreeCursor& other);
    ~CSimpleTreeCursor() override;

    /// To the root, whose data is what its node holds.
    virtual void* Move_To_Root() = 0;

    /// A new last child of the current node, which with `move` becomes the current one. Null
    /// without a current node or without memory.
    virtual void* Add_Child(void* data, long size, bool move) = 0;

    /// From the root this leaves the tree: the cursor then stands on no node.
    virtual void* Move_To_Parent() = 0;
    virtual void* Move_To_First_Child() = 0;
    virtual void* Move_To_Last_Child() = 0;
    virtual void* Move_To_Next_Sibling() = 0;
    virtual void* Move_To_First_Sibling() = 0;

    /// Any pointer may be given; one that is no living node of this tree is refused.
    virtual void* Move_To_Node(void* node) = 0;

    /// Whether the current node has any; false without one.
    virtual bool Has_Children() = 0;

    /// Remembers the position on a stack. Throws `long` E_OUTOFMEMORY if that cannot grow.
    virtual void Push_Position() = 0;

    /// Takes the last remembered position off the stack and with `restore` goes there. Gives the
    /// data of where the cursor then stands; null with nothing remembered.
    virtual void* Pop_Position(bool restore) = 0;

    /// The pointer value -1 if the cursor has left the tree by way of the root.
    virtual void* Get_Node() = 0;

    virtual void* Get_Data() = 0;  ///< null without a current node
    virtual long Get_Size() = 0;   ///< -1 without a current node

    /// Replaces the data unless it is null, and the size unless it is -1.
    virtual void Set_Data(void* data, long size) = 0;

    /// A new cursor on the same node, without the remembered positions; the caller's to delete.
    /// Null without memory.
    virtual CSimpleTreeCursor* Clone() = 0;
};

/// An empty tree, the caller's to delete. Null without memory.
TARNWILLOW_API CSimpleTree* New_Simple_Tree();

}  // namespace tarnwillow
