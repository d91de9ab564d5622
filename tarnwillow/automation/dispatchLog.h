// The lines that calls through CDispatchMaster leave in the log, class 11.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::detail {

inline constexpr int kApiFunctionCallClass = 9;
inline constexpr int kResultDispatchClass = 10;
inline constexpr int kDispatchMasterClass = 11;

/// A call that takes longer is named in the log.
inline constexpr std::uint32_t kSlowCallMilliseconds = 1000;

// `value` is shown as GetDebugVariantString shows it.

/// `reader` is the operation that asked.
void log_missing_property(char16_t const* reader, char16_t const* name, long status,
                          VARIANT* default_value);
void log_property_read(char16_t const* name, VARIANT* value, long status);
void log_unwritable_property(char16_t const* name, long status);
void log_missing_method(char16_t const* name, long status);
void log_method_call(char16_t const* name, DISPPARAMS* params);
void log_method_result(char16_t const* name, VARIANT* value, long status);
void log_slow_call(int log_class, char16_t const* format, char16_t const* name,
                   std::uint32_t milliseconds);
void log_fault_in_method(char16_t const* name, std::uint32_t code);

}  // namespace tarnwillow::detail
