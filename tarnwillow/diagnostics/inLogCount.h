// How deep the calling thread is inside the log.
#pragma once

namespace tarnwillow::detail {

inline constinit thread_local long in_log_count = 0;

inline long Get_Thread_In_Log_Count() { return in_log_count; }
inline void Set_Thread_In_Log_Count(long count) { in_log_count = count; }

}  // namespace tarnwillow::detail
