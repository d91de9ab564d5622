// The small record that each thread has for the sake of diagnostics.
//
// The thread that loads the library has a static one, a thread of New_Thread has one on its own
// stack, and any other thread gets a row of a table when it first asks, the first hundred of them,
// or one from the heap. Rows are used again once their thread has ended.
#pragma once

#include <cstdint>

namespace tarnwillow::detail {

struct ThreadRecord {
    std::uint32_t tag;
    long in_log_count;
    long debug_value;
};

/// The calling thread's record; it is made if there is none. Null without memory for it, and for a
/// thread whose end is under way.
ThreadRecord* thread_record();

/// The record of the calling thread from now on; null for none.
void set_thread_record(ThreadRecord* record);

/// Gives the static record to the calling thread. The library's load does that; else it is the
/// first thread that asks for a record. A second call does nothing.
void install_static_thread_record();

/// The number of rows of the table that a thread has ever used, at most 100.
int used_thread_rows();

}  // namespace tarnwillow::detail
