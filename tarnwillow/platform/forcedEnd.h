// Ending a thread from outside, at a moment when that leaves nothing broken behind.
//
// TerminateThread sends the thread a signal, and the thread itself leaves what it is doing by a
// jump to its entry. While it is inside one of this layer's own short stretches (a table locked, a
// wait entered in a list) the jump is put off to the end of the stretch.
//
// What the thread had under way elsewhere is lost as it stands: memory that only its stack knew,
// locks that belong to no holder of this library, and, if it was just then in the allocator, the
// allocator's lock.
#pragma once

#include <setjmp.h>

#include <cstdint>

namespace tarnwillow::platform {

/// Leaves everything the thread is doing by a jump. Runs on that thread, in a signal handler or at
/// the end of a pause. If it returns, the thread goes on.
using LeaveThread = void (*)();

struct ForcedEndState {
    std::uint32_t pauses;
    bool pending;
    sigjmp_buf* shortcut;  ///< the way out of a lock that the thread is blocked in, or null
    LeaveThread leave;     ///< null while the thread can't be ended
};

// Volatile, because a handler on this thread looks at it between any two instructions.
extern constinit thread_local volatile ForcedEndState forced_end
    __attribute__((tls_model("initial-exec")));

/// Ends the thread now if that was asked for and nothing puts it off.
void leave_if_ended();

/// While one lives, the end of the calling thread is put off.
class ForcedEndPause {
public:
    ForcedEndPause() { forced_end.pauses = forced_end.pauses + 1; }
    ~ForcedEndPause() {
        forced_end.pauses = forced_end.pauses - 1;
        if (forced_end.pending) leave_if_ended();
    }
    ForcedEndPause(const ForcedEndPause&) = delete;
    ForcedEndPause& operator=(const ForcedEndPause&) = delete;
};

/// Whether the calling thread is to end as soon as it can: a wait is then given up.
inline bool end_is_pending() { return forced_end.pending; }

/// The same for a stretch that may lie within another one's pause, which would not let it end.
inline bool ends_behind_this_pause() { return forced_end.pending && forced_end.pauses == 1; }

/// How the calling thread is left from now on, null for not at all; gives back the way before.
LeaveThread set_leave_thread(LeaveThread leave);

/// Makes the calling thread ready to be ended, and the given thread end. False if the signal could
/// not be sent.
void accept_forced_end();
bool send_forced_end(std::uint32_t thread_id);

}  // namespace tarnwillow::platform
