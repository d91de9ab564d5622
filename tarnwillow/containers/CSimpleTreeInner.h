#pragma once

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/containers/CSimpleTree.h"
#include "tarnwillow/containers/treeNodes.h"

namespace tarnwillow::detail {

class CSimpleTreeInner final : public CSimpleTree {
public:
    /// Takes over the share of its caller. Throws `long` E_OUTOFMEMORY.
    explicit CSimpleTreeInner(TreeNodes* nodes) : nodes_(nodes) {}
    CSimpleTreeInner(const CSimpleTreeInner&) = delete;
    CSimpleTreeInner& operator=(const CSimpleTreeInner&) = delete;
    ~CSimpleTreeInner() override;

    CSimpleTreeCursor* New_Cursor() override;
    void Move_Node(void* node, void* new_parent) override;
    void Delete_Node(void* node) override;
    bool Walk_Subtree(void* node, WalkProc proc, void* context) override;
    void Walk_Guided(void* node, GuideProc proc, void* context) override;
    void Walk_To_Root(void* node, WalkProc proc, void* context) override;
    void* Add_Destroy_Callback(DestroyProc proc, void* data) override;
    void Remove_Destroy_Callback(void* handle) override;

    /// For the XML reader, which adds a node for each element.
    TreeNodes& nodes() { return *nodes_; }

private:
    TreeNodes* nodes_;
    CCollection destroy_callbacks_;
};

}  // namespace tarnwillow::detail
