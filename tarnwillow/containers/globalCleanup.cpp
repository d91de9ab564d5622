#include "tarnwillow/containers/globalCleanup.h"

#include <new>
#include <utility>

#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow {

namespace {

class CleanupList : public CCollection {
public:
    CleanupList() : CCollection(u"Global cleanup") {}
    using CCollection::head_item;
};

constinit CleanupList* cleanup_list = nullptr;

CCollection* list_or_new() {
    if (cleanup_list == nullptr) cleanup_list = new (std::nothrow) CleanupList;
    return cleanup_list;
}

void Run_Cleanup_Object(CGlobalCleanupObject* object) {
    if (object == nullptr) return;  // destroyed meanwhile
    reporting_guard(
        ExceptionLevelSerious, u"Cleanup_Object(CGlobalCleanupObject)",
        [&] { object->_Do_Final_Cleanup(); }, no_recovery);
}

}  // namespace

// The items stay: giving one back would tie the thread to a library that may be on its way out.
CGlobalCleanupObject::~CGlobalCleanupObject() {
    if (!registered || cleanup_list == nullptr) return;
    for (CListItem* item = cleanup_list->head_item(); item != nullptr; item = item->next)
        if (item->value == this) item->value = nullptr;
}

void Add_Global_Cleanup_Object(CGlobalCleanupObject* object) {
    if (object == nullptr) return;
    try {
        CCollection* const list = list_or_new();
        object->registered = list != nullptr && list->Add(object);
    } catch (long) {
        // No memory for the pool: the object stays unregistered.
    }
}

void Run_Global_Cleanup(bool keep_pools) {
    // Looked at anew each time: a cleanup may destroy objects, add some, and come here again.
    while (cleanup_list != nullptr && cleanup_list->Entries() > 0)
        Run_Cleanup_Object(static_cast<CGlobalCleanupObject*>(cleanup_list->Pop()));
    delete std::exchange(cleanup_list, nullptr);
    if (!keep_pools) Free_Item_Pools();
}

}  // namespace tarnwillow
