#pragma once

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/CSimpleTree.h"
#include "tarnwillow/containers/treeNodes.h"

namespace tarnwillow::detail {

class CSimpleTreeCursorInner final : public CSimpleTreeCursor {
public:
    /// Null without memory.
    static CSimpleTreeCursorInner* make(TreeNodes* nodes, TreeNode* current);

    CSimpleTreeCursorInner(const CSimpleTreeCursorInner&) = delete;
    CSimpleTreeCursorInner& operator=(const CSimpleTreeCursorInner&) = delete;
    ~CSimpleTreeCursorInner() override;

    void* Move_To_Root() override;
    void* Add_Child(void* data, long size, bool move) override;
    void* Move_To_Parent() override;
    void* Move_To_First_Child() override;
    void* Move_To_Last_Child() override;
    void* Move_To_Next_Sibling() override;
    void* Move_To_First_Sibling() override;
    void* Move_To_Node(void* node) override;
    bool Has_Children() override;
    void Push_Position() override;
    void* Pop_Position(bool restore) override;
    void* Get_Node() override;
    void* Get_Data() override;
    long Get_Size() override;
    void Set_Data(void* data, long size) override;
    CSimpleTreeCursor* Clone() override;

private:
    CSimpleTreeCursorInner(TreeNodes* nodes, TreeNode* current) : nodes_(nodes), current_(current) {
        nodes_->acquire();
    }

    bool stands() const { return current_ != no_node() && nodes_->is_living(current_); }
    void* go(TreeNode* node);

    CCollection saved_positions_;
    TreeNodes* nodes_;
    TreeNode* current_;
};

}  // namespace tarnwillow::detail
