#include "tarnwillow/containers/CSimpleTreeInner.h"

#include <new>

#include "tarnwillow/containers/CSimpleTreeCursorInner.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow::detail {

namespace {

struct DestroyCallback {
    CSimpleTree::DestroyProc proc;
    void* data;
};

// Where a walk stands. What is around the node is noted before the callback, which may delete or
// move it.
struct WalkStep {
    TreeNode* node;
    TreeNode* parent;
    TreeNode* next;

    explicit WalkStep(TreeNode* at) : node(at), parent(at->parent), next(at->next) {}
};

bool is_living_node(const TreeNodes& nodes, TreeNode const* node) {
    return node != nullptr && node != no_node() && nodes.is_living(node);
}

bool is_child(const TreeNodes& nodes, TreeNode const* node, TreeNode const* parent) {
    return is_living_node(nodes, node) && node->parent == parent;
}

// The next sibling, as far as there still is one.
TreeNode* sibling_behind(const TreeNodes& nodes, const WalkStep& step) {
    if (is_child(nodes, step.node, step.parent)) return step.node->next;
    return is_child(nodes, step.next, step.parent) ? step.next : nullptr;
}

TreeNode* parent_of(const TreeNodes& nodes, const WalkStep& step) {
    return is_living_node(nodes, step.parent) ? step.parent : nullptr;
}

// The node behind `step` in the order of a walk over what is below `top`; null at its end.
TreeNode* node_behind(const TreeNodes& nodes, WalkStep step, TreeNode const* top) {
    const bool stayed = step.node == top || is_child(nodes, step.node, step.parent);
    if (stayed && step.node->first != nullptr) return step.node->first;
    while (step.node != top) {
        TreeNode* next = sibling_behind(nodes, step);
        if (next != nullptr) return next;
        TreeNode* parent = parent_of(nodes, step);
        if (parent == nullptr) return nullptr;
        step = WalkStep(parent);
    }
    return nullptr;
}

}  // namespace

CSimpleTreeInner::~CSimpleTreeInner() {
    DestroyCallback callback;
    while (destroy_callbacks_.Pop_Volatile(&callback, sizeof callback, nullptr))
        probe_guard([&] { callback.proc(this, callback.data); }, no_recovery);
    nodes_->close();
    nodes_->release();
}

CSimpleTreeCursor* CSimpleTreeInner::New_Cursor() {
    return CSimpleTreeCursorInner::make(nodes_, nodes_->root());
}

void CSimpleTreeInner::Move_Node(void* node, void* new_parent) {
    TreeNode* const moved = nodes_->identify(node);
    TreeNode* const parent = nodes_->identify(new_parent);
    if (moved != nullptr && parent != nullptr) nodes_->move(moved, parent);
}

void CSimpleTreeInner::Delete_Node(void* node) {
    TreeNode* const deleted = nodes_->identify(node);
    if (deleted != nullptr) nodes_->remove(deleted);
}

bool CSimpleTreeInner::Walk_Subtree(void* node, WalkProc proc, void* context) {
    TreeNodes& nodes = *nodes_;
    const TreeNodes::Walk walk(nodes);
    TreeNode* const top = nodes.identify(node);
    if (top == nullptr) return false;
    for (TreeNode* at = top; at != nullptr;) {
        const WalkStep step(at);
        const std::uint32_t moves = nodes.moves();
        if (!proc(at->data, at->size, at, context)) return false;
        at = nodes.is_living(top) ? node_behind(nodes, step, top) : nullptr;
        if (nodes.moves() != moves && !TreeNodes::is_within(at, top)) return true;
    }
    return true;
}

void CSimpleTreeInner::Walk_Guided(void* node, GuideProc proc, void* context) {
    constexpr int kDown = 2;
    constexpr int kStop = 3;
    TreeNodes& nodes = *nodes_;
    const TreeNodes::Walk walk(nodes);
    for (TreeNode* at = nodes.identify(node); at != nullptr;) {
        const WalkStep step(at);
        const int answer = proc(at->data, at->size, at, context);
        if (answer == kStop) return;
        if (answer == kDown)
            at = nodes.is_living(at) ? at->first : nullptr;
        else
            at = sibling_behind(nodes, step);
    }
}

void CSimpleTreeInner::Walk_To_Root(void* node, WalkProc proc, void* context) {
    TreeNodes& nodes = *nodes_;
    const TreeNodes::Walk walk(nodes);
    for (TreeNode* at = nodes.identify(node); at != nullptr && at != nodes.root();) {
        const WalkStep step(at);
        if (!proc(at->data, at->size, at, context)) return;
        at = parent_of(nodes, step);
    }
}

void* CSimpleTreeInner::Add_Destroy_Callback(DestroyProc proc, void* data) {
    const DestroyCallback callback{proc, data};
    return destroy_callbacks_.Add_Volatile(&callback, sizeof callback);
}

void CSimpleTreeInner::Remove_Destroy_Callback(void* handle) { destroy_callbacks_.Remove(handle); }

}  // namespace tarnwillow::detail
