// The one object that makes the library's static objects in their order at load, and that starts
// the cleanup pass at unload.
//
// Each object is a function's static in the file of its own family; this file only fixes the order.
// What was made first inside this constructor is destroyed last, and this object's own destructor
// comes before all of theirs: at exit and at dlclose alike, which is why neither a destructor
// function nor an exit handler is used.
#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/core/threadRecord.h"
#include "tarnwillow/core/unload.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/diagnostics/messageCoreLoad.h"
#include "tarnwillow/diagnostics/timeStrings.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/settingsStore.h"
#include "tarnwillow/text/addressRing.h"
#include "tarnwillow/text/outputMutex.h"
#include "tarnwillow/text/randomNumber.h"
#include "tarnwillow/text/scratchRing.h"

namespace tarnwillow {

namespace {

void make_cleanup_pools() {
    static CAutoCleanupPools pools;
    static_cast<void>(&pools);
}

class Library {
public:
    // The settings store goes last: at the end of a process anything may still read a setting.
    Library() {
        detail::log_held_back = true;
        platform::detail::make_settings_store();
        make_cleanup_pools();
        static_cast<void>(detail::address_ring());
        static_cast<void>(detail::instance_table());
        detail::make_output_mutexes();
        static_cast<void>(detail::scratch_ring());
        detail::install_static_thread_record();
        static_cast<void>(detail::time_string_ring());
        detail::make_core_closer();
        detail::seed_random(GetTickCount());
        detail::leave_handlers_to_host();
        detail::log_held_back = false;
    }
    ~Library() {
        detail::library_unloading = true;
        Run_Global_Cleanup(false);
        detail::end_fault_handling();
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

const Library library;

}  // namespace

}  // namespace tarnwillow
