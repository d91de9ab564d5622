#include "tarnwillow/diagnostics/logOutput.h"

#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace detail {

constinit std::atomic<LogOutputProcA> log_output_narrow{Send_Log_Line_Narrow};
constinit std::atomic<LogOutputProcW> log_output_wide{Send_Log_Line_Wide};
constinit std::atomic<bool> log_halted{false};

}  // namespace detail

long Halt_Logging() {
    detail::log_halted = true;
    return S_OK;
}

long Divert_Log_Output(LogOutputProcA narrow, LogOutputProcW wide) {
    detail::log_output_narrow = narrow;
    detail::log_output_wide = wide;
    return S_OK;
}

}  // namespace tarnwillow
