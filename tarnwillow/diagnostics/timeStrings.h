// Short time stamps that belong to nobody and live until the ring has turned over.
#pragma once

#include "tarnwillow/core/CEasyCriticalSection.h"

namespace tarnwillow::detail {

class TimeStringRing {
public:
    static constexpr int kEntries = 120;
    static constexpr int kEntryRoom = 256;  ///< units, with the terminator

    /// The entry to write into next. Any thread.
    char16_t* take();

private:
    CEasyCriticalSection section{u""};
    int next = 0;
    char16_t entries[kEntries][kEntryRoom] = {};
};

/// The ring of the process, made by the first call: the library makes it at load.
TimeStringRing& time_string_ring();

}  // namespace tarnwillow::detail
