#include "tarnwillow/containers/globalCleanup.h"

#include <new>

#include "tarnwillow/containers/CIterator.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow {

namespace {

constinit CCollection* cleanup_list = nullptr;

CCollection* list_or_new() {
    if (cleanup_list == nullptr) cleanup_list = new (std::nothrow) CCollection(u"Global cleanup");
    return cleanup_list;
}

void Run_Cleanup_Object(CGlobalCleanupObject* object) {
    reporting_guard(
        ExceptionLevelSerious, u"Cleanup_Object(CGlobalCleanupObject)",
        [&] { object->_Do_Final_Cleanup(); }, no_recovery);
}

}  // namespace

void Add_Global_Cleanup_Object(CGlobalCleanupObject* object) {
    try {
        if (CCollection* list = list_or_new()) list->Add(object);
    } catch (long) {
        // No memory for the pool: the object stays unregistered.
    }
}

void Run_Global_Cleanup(bool keep_pools) {
    if (cleanup_list != nullptr) {
        CIterator walk;
        for (void* object = walk.Iterate(cleanup_list); walk.More(); object = walk.Next())
            Run_Cleanup_Object(static_cast<CGlobalCleanupObject*>(object));
        delete cleanup_list;
        cleanup_list = nullptr;
    }
    if (!keep_pools) Free_Item_Pools();
}

}  // namespace tarnwillow
