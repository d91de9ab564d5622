// Rebuilding a part of the document in a caller's tree.
#include "tarnwillow/platform/status.h"
#include "tarnwillow/xml/CXMLParser.h"

namespace tarnwillow {

long CXMLParser::Load_Tree(CSimpleTreeCursor* dest, XmlTreeProducer producer,
                           XmlTreeNotifier notifier, void* user) {
    if (dest == nullptr || producer == nullptr) return E_INVALIDARG;
    if (Cursor == nullptr) return ERROR_NOT_FOUND;
    void* const before = Cursor->Get_Node();
    const long result = Do_Tree_Load(dest, producer, notifier, user);
    go_back_to(before);
    return result;
}

// Off the tree there is no node to go to.
void CXMLParser::go_back_to(void* node) {
    Cursor->Move_To_Node(node);
    if (Cursor->Get_Node() == node) return;
    Cursor->Move_To_Root();
    Cursor->Move_To_Parent();
}

// Recurses for each level of the document, of which the loader allows 256. The position is put back
// behind each callback: one that moves it elsewhere must not lead the walk in circles.
long CXMLParser::Do_Tree_Load(CSimpleTreeCursor* dest, XmlTreeProducer producer,
                              XmlTreeNotifier notifier, void* user) {
    void* data = nullptr;
    long size = 0;
    do {
        const bool has_children = Current_Node_Has_Children();
        void* const current = Cursor->Get_Node();
        const auto type = has_children ? XmlNodeWithChildren : XmlNodeLeaf;
        const bool wanted = producer(this, type, &data, &size, user);
        go_back_to(current);
        if (!wanted) return ERROR_CANCELLED;
        if (dest->Add_Child(data, size, has_children) == nullptr) return E_OUTOFMEMORY;
        if (notifier != nullptr) notifier(data, dest->Get_Node(), user);
        go_back_to(current);
        if (!has_children) continue;
        Cursor->Move_To_First_Child();
        const long below = Do_Tree_Load(dest, producer, notifier, user);
        Cursor->Move_To_Parent();
        dest->Move_To_Parent();
        if (below == E_OUTOFMEMORY) return below;
    } while (Move_To_Sibling(nullptr) == S_OK);
    return S_OK;
}

}  // namespace tarnwillow
