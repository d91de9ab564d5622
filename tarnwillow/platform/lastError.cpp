#include "tarnwillow/platform/lastError.h"

namespace tarnwillow {

namespace {
thread_local std::uint32_t last_error = 0;
}

std::uint32_t GetLastError() { return last_error; }
void SetLastError(std::uint32_t error) { last_error = error; }

}  // namespace tarnwillow
