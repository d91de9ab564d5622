// The log's entry points of core/diagnosticEntry.h. No class can be switched on and no line has
// anywhere to go before the log's road stands: every line is dropped here.
#include "tarnwillow/core/diagnosticEntry.h"

#include "tarnwillow/core/logClassState.h"

namespace tarnwillow {

void _LOG(long, char const*, ...) {}
void _LOG(long, char16_t const*, ...) {}

bool Log_Class_Enabled(int log_class) {
    return log_class >= 0 && log_class < kLogClassCount && detail::class_enabled(log_class);
}

}  // namespace tarnwillow
