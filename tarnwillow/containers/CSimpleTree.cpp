#include "tarnwillow/containers/CSimpleTree.h"

#include <new>

#include "tarnwillow/containers/CSimpleTreeInner.h"

namespace tarnwillow {

CSimpleTree::CSimpleTree() = default;
CSimpleTree::CSimpleTree(const CSimpleTree& other) = default;
CSimpleTree& CSimpleTree::operator=(const CSimpleTree& other) = default;
CSimpleTree::~CSimpleTree() = default;

CSimpleTreeCursor::CSimpleTreeCursor() = default;
CSimpleTreeCursor::CSimpleTreeCursor(const CSimpleTreeCursor& other) = default;
CSimpleTreeCursor& CSimpleTreeCursor::operator=(const CSimpleTreeCursor& other) = default;
CSimpleTreeCursor::~CSimpleTreeCursor() = default;

CSimpleTree* New_Simple_Tree() {
    auto* nodes = new (std::nothrow) detail::TreeNodes();
    if (nodes == nullptr) return nullptr;
    CSimpleTree* tree = nullptr;
    try {
        tree = new (std::nothrow) detail::CSimpleTreeInner(nodes);
    } catch (long) {  // no memory for the first list
    }
    if (tree == nullptr) nodes->release();
    return tree;
}

}  // namespace tarnwillow
