#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Holds a mutex for a scope, or for as long as a static object is told to. What it acquired
/// belongs to the thread that acquired it: a static object that several threads share answers each
/// of them for itself. A guard that catches a fault releases what its stretch of code acquired.
///
/// A mutex that its last holder left behind is not accepted as it is: it is released and waited for
/// again, so that whoever waited before has the first look at what it protects.
class TARNWILLOW_API CAutoMutex {
public:
    CAutoMutex() = default;
    CAutoMutex(HANDLE mutex, long timeout);

    /// Releases what the calling thread holds. The handle stays open.
    ~CAutoMutex();

    CAutoMutex(const CAutoMutex&) = delete;
    CAutoMutex& operator=(const CAutoMutex&) = delete;

    /// Waits `timeout` milliseconds for the mutex, -1 or 0xFFFFFFFF for no limit; a null `mutex`
    /// means the one of the last time. Is_Held tells the outcome. Does nothing if the calling
    /// thread holds already. While another thread holds through this object, the object keeps that
    /// thread's mutex until the wait has succeeded: after a failure `mutex` is still the caller's.
    /// A wait without limit writes a line under log class 3 every 2 seconds.
    void Acquire(HANDLE mutex, long timeout);

    /// Whether the calling thread holds the mutex through this object.
    bool Is_Held() const;

    /// Releases what the calling thread holds.
    void Release();

    /// Releases what the calling thread holds, and closes the handle. Does nothing while another
    /// thread holds.
    void Close();

private:
    bool is_another_threads() const;
    bool wait_without_limit(HANDLE mutex);
    bool wait_twice(HANDLE mutex, std::uint32_t timeout);
    HANDLE stop_holding();

    std::atomic<HANDLE> handle{nullptr};
    std::atomic<std::uint32_t> holder{0};  ///< id of the thread that holds it, 0 for none
};

}  // namespace tarnwillow
