// The one object that makes the library's static objects in their order at load, and that starts
// the cleanup pass at unload.
//
// Each object is a function's static in the file of its own family; this file only fixes the order.
// What was made first inside this constructor is destroyed last, and this object's own destructor
// comes before all of theirs: at exit and at dlclose alike, which is why neither a destructor
// function nor an exit handler is used.
#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/core/unload.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/text/addressRing.h"
#include "tarnwillow/text/randomNumber.h"

namespace tarnwillow {

namespace {

void make_cleanup_pools() {
    static CAutoCleanupPools pools;
    static_cast<void>(&pools);
}

void make_value_text_ring() { static_cast<void>(detail::address_ring()); }

class Library {
public:
    Library() {
        make_cleanup_pools();
        make_value_text_ring();
        detail::seed_random(GetTickCount());
        detail::leave_handlers_to_host();
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
