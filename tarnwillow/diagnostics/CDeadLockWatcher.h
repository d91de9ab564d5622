#pragma once

#include <cstddef>

#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Watches a stretch of code that must not take long. When the time is up a message box says so and
/// asks whether to stop in the debugger (OK), to wait as long again (Cancel, which is what a
/// program without a display gets), or to watch no more (any other answer). The watched code goes
/// on meanwhile and is not touched. With log class 4 on, the log gets a line each time and, where
/// it can be had, the calls that the watched thread is in; for that the thread is sent a signal,
/// which may end one of its sleeps early.
///
/// The setting "_EnableDeadlockWatcher" switches it on: without it the object does nothing.
/// "_DeadlockWatcherTimeout" is the time in milliseconds, at least 2,000.
///
/// An object belongs to one thread and must outlive its watch. A watch whose thread cannot be
/// started does not watch, and nothing tells. A copy shares the handles: use an object in one
/// place.
class TARNWILLOW_API CDeadLockWatcher : public CAutoDeleteableObject {
public:
    /// Characters of a name, terminator included.
    static constexpr std::size_t kNameRoom = 256;

    /// Reads the settings, until one object has found the watcher switched on.
    CDeadLockWatcher();
    CDeadLockWatcher(const CDeadLockWatcher&) = default;
    CDeadLockWatcher& operator=(const CDeadLockWatcher&) = default;

    /// Ends the watch, also one that began before the watcher was switched off.
    ~CDeadLockWatcher() override;

    /// Starts watching the calling thread; ends a watch that is running. Of the name 255 characters
    /// are shown.
    void Start_Watch(char16_t const* name);

    /// Ends the watch. While the box is open it waits for the answer.
    void End_Watch();

    static bool m_EnableWatcher;  ///< false until it was read
    static int m_Timeout;         ///< milliseconds; -1 until it was read

protected:
    /// Where the watching thread runs; always 0.
    static unsigned int Watcher_Entrypoint(CDeadLockWatcher* watcher);
    void _Watcher_Entrypoint();

private:
    void stop();
    bool ask_person() const;

    unsigned long watched_thread = 0;
    HANDLE watcher_thread = nullptr;
    unsigned int watcher_thread_id = 0;
    HANDLE stop_event = nullptr;
    char16_t watch_name[kNameRoom] = {};
};

}  // namespace tarnwillow
