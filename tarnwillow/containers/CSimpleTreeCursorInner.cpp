#include "tarnwillow/containers/CSimpleTreeCursorInner.h"

#include <new>

namespace tarnwillow::detail {

CSimpleTreeCursorInner* CSimpleTreeCursorInner::make(TreeNodes* nodes, TreeNode* current) {
    try {
        return new (std::nothrow) CSimpleTreeCursorInner(nodes, current);
    } catch (long) {  // no memory for the first list
        return nullptr;
    }
}

CSimpleTreeCursorInner::~CSimpleTreeCursorInner() { nodes_->release(); }

// A move to where there is no node changes nothing.
void* CSimpleTreeCursorInner::go(TreeNode* node) {
    if (node == nullptr) return nullptr;
    current_ = node;
    return Get_Data();
}

void* CSimpleTreeCursorInner::Move_To_Root() { return go(nodes_->root()); }

void* CSimpleTreeCursorInner::Add_Child(void* data, long size, bool move) {
    TreeNode* const child = stands() ? nodes_->append(current_, data, size) : nullptr;
    if (child != nullptr && move) current_ = child;
    return child;
}

void* CSimpleTreeCursorInner::Move_To_Parent() { return stands() ? go(current_->parent) : nullptr; }

void* CSimpleTreeCursorInner::Move_To_First_Child() {
    return stands() ? go(current_->first) : nullptr;
}

void* CSimpleTreeCursorInner::Move_To_Last_Child() {
    return stands() ? go(current_->last) : nullptr;
}

void* CSimpleTreeCursorInner::Move_To_Next_Sibling() {
    return stands() ? go(current_->next) : nullptr;
}

void* CSimpleTreeCursorInner::Move_To_First_Sibling() {
    if (!stands() || current_->parent == no_node()) return nullptr;
    return go(current_->parent->first);
}

void* CSimpleTreeCursorInner::Move_To_Node(void* node) { return go(nodes_->identify(node)); }

bool CSimpleTreeCursorInner::Has_Children() { return stands() && current_->first != nullptr; }

void CSimpleTreeCursorInner::Push_Position() { saved_positions_.Push(current_); }

void* CSimpleTreeCursorInner::Pop_Position(bool restore) {
    if (saved_positions_.Entries() == 0) return nullptr;
    void* const saved = saved_positions_.Pop();
    if (restore) current_ = static_cast<TreeNode*>(saved);
    return Get_Data();
}

void* CSimpleTreeCursorInner::Get_Node() { return current_; }

void* CSimpleTreeCursorInner::Get_Data() { return stands() ? current_->data : nullptr; }

long CSimpleTreeCursorInner::Get_Size() { return stands() ? current_->size : -1; }

void CSimpleTreeCursorInner::Set_Data(void* data, long size) {
    if (!stands()) return;
    if (data != nullptr) current_->data = data;
    if (size != -1) current_->size = size;
}

CSimpleTreeCursor* CSimpleTreeCursorInner::Clone() { return make(nodes_, current_); }

}  // namespace tarnwillow::detail
