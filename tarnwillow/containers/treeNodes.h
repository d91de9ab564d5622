// The nodes of one tree: how they hang together, and the memory they lie in.
#pragma once

#include <cstdint>

#include "tarnwillow/containers/blockArena.h"
#include "tarnwillow/core/frame.h"
#include "tarnwillow/core/heldLocks.h"

namespace tarnwillow::detail {

struct TreeNode {
    std::uint32_t tag;   ///< kTagAlive, or kTagDestroyed while the node waits to be used again
    std::uint32_t tree;  ///< number of the tree that it belongs to
    TreeNode* parent;    ///< kNoNode in the root
    TreeNode* first;     ///< first child, or null
    TreeNode* last;      ///< last child, or null: a new child need not walk the chain
    TreeNode* next;      ///< next sibling, or null
    void* data;
    long size;
};

/// Parent of the root, and the position of a cursor that has left the tree by way of it.
inline TreeNode* no_node() { return reinterpret_cast<TreeNode*>(~std::uintptr_t{0}); }

/// The tree and each of its cursors hold a share in this object, so that a cursor may outlive its
/// tree. The memory of the nodes themselves goes with the tree.
class TreeNodes {
public:
    /// Starts with one share.
    TreeNodes();
    TreeNodes(const TreeNodes&) = delete;
    TreeNodes& operator=(const TreeNodes&) = delete;

    void acquire() { ++shares_; }
    void release() {
        if (--shares_ == 0) delete this;
    }

    /// Frees all nodes, at the tree's end. Only shares are left to be given back.
    void close();

    TreeNode* root() { return &root_; }

    /// Whether the node, which was once taken from here, is still there. Not for no_node().
    bool is_living(TreeNode const* node) const { return !closed_ && node->tag == kTagAlive; }

    /// The node that any pointer from outside stands for; null if it is no living node of this
    /// tree.
    TreeNode* identify(void* pointer) const;

    /// Whether the node, which may be null, is `top` or below it.
    static bool is_within(TreeNode const* node, TreeNode const* top);

    /// A new last child; null without memory.
    TreeNode* append(TreeNode* parent, void* data, long size) {
        TreeNode* node = take();
        if (node == nullptr) return nullptr;
        *node = {kTagAlive, number_, parent, nullptr, nullptr, nullptr, data, size};
        link_last(node, parent);
        return node;
    }

    void move(TreeNode* node, TreeNode* parent);

    /// Tells, by another number, that nodes were moved meanwhile.
    std::uint32_t moves() const { return moves_; }

    void remove(TreeNode* node);

    /// Keeps the memory of nodes that are deleted meanwhile from being used again, so that a walk
    /// can tell that they are gone. Holds a share too. A guard around the walk ends it after a
    /// fault.
    class Walk {
    public:
        explicit Walk(TreeNodes& nodes) : nodes_(nodes) {
            nodes_.acquire();
            ++nodes_.walks_;
            note_lock_entered(&nodes_, end);
        }
        ~Walk() {
            note_lock_left(&nodes_);
            end(&nodes_);
        }
        Walk(const Walk&) = delete;
        Walk& operator=(const Walk&) = delete;

    private:
        static void end(void* walked) {
            auto& nodes = *static_cast<TreeNodes*>(walked);
            --nodes.walks_;
            nodes.release();
        }

        TreeNodes& nodes_;
    };

private:
    ~TreeNodes() = default;

    TreeNode* take() {
        TreeNode* node = free_;
        if (node == nullptr || walks_ > 0)
            return static_cast<TreeNode*>(arena_.take(sizeof(TreeNode)));
        free_ = node->next;
        return node;
    }
    static void link_last(TreeNode* node, TreeNode* parent) {
        (parent->last != nullptr ? parent->last->next : parent->first) = node;
        parent->last = node;
    }
    static void unlink(TreeNode* node);

    BlockArena arena_;
    TreeNode* free_ = nullptr;
    std::uint32_t number_;
    int shares_ = 1;
    int walks_ = 0;
    std::uint32_t moves_ = 0;
    bool closed_ = false;
    TreeNode root_;
};

}  // namespace tarnwillow::detail
