#include "tarnwillow/containers/treeNodes.h"

#include <atomic>

#include "tarnwillow/core/guard.h"

namespace tarnwillow::detail {

namespace {

std::uint32_t next_tree_number() {
    static std::atomic<std::uint32_t> last{0};
    return ++last;
}

// The pointer may lead to memory that has been freed; reading that is the point of the test.
__attribute__((no_sanitize("address", "thread"))) bool has_marks(void const* pointer,
                                                                 std::uint32_t tree) {
    auto const* marks = static_cast<volatile std::uint32_t const*>(pointer);
    return marks[0] == kTagAlive && marks[1] == tree;
}

}  // namespace

TreeNodes::TreeNodes()
    : number_(next_tree_number()), root_{kTagAlive, number_, no_node(), nullptr,
                                         nullptr,   nullptr, nullptr,   -1} {}

void TreeNodes::close() {
    closed_ = true;
    root_ = {kTagDestroyed, number_, no_node(), nullptr, nullptr, nullptr, nullptr, -1};
    free_ = nullptr;
    arena_.clear();
}

TreeNode* TreeNodes::identify(void* pointer) const {
    if (closed_ || pointer == nullptr ||
        reinterpret_cast<std::uintptr_t>(pointer) % alignof(TreeNode) != 0)
        return nullptr;
    const std::uint32_t number = number_;
    const bool ours = probe_guard([=] { return has_marks(pointer, number); }, [] { return false; });
    return ours ? static_cast<TreeNode*>(pointer) : nullptr;
}

bool TreeNodes::is_within(TreeNode const* node, TreeNode const* top) {
    while (node != nullptr && node != no_node() && node != top)
        node = node->parent;
    return node == top;
}

void TreeNodes::unlink(TreeNode* node) {
    TreeNode* parent = node->parent;
    TreeNode* before = nullptr;
    for (TreeNode* child = parent->first; child != node; child = child->next)
        before = child;
    (before != nullptr ? before->next : parent->first) = node->next;
    if (parent->last == node) parent->last = before;
    node->next = nullptr;
}

void TreeNodes::move(TreeNode* node, TreeNode* parent) {
    if (is_within(parent, node)) return;
    ++moves_;
    unlink(node);
    link_last(node, parent);
    node->parent = parent;
}

// The nodes still to be deleted form one chain: a node's children go in front of it as a whole.
void TreeNodes::remove(TreeNode* node) {
    if (node == &root_) return;
    unlink(node);
    while (node != nullptr) {
        TreeNode* following = node->next;
        if (node->first != nullptr) {
            node->last->next = following;
            following = node->first;
        }
        node->tag = kTagDestroyed;
        node->next = free_;
        free_ = node;
        node = following;
    }
}

}  // namespace tarnwillow::detail
