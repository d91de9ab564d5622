// The lines that result objects leave in the log: class 10, and class 9 for calls.
#pragma once

#include <cstdint>

#include "tarnwillow/automation/dispatchLog.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/logClassState.h"
#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

class CResultDispEntry;

namespace detail {

/// How an object shows in the log: the low half of its address.
inline unsigned log_number(void const* object) {
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(object));
}

/// A line of class 10. While the class is off this costs a test.
template <class... Arguments>
void log_result_object(char16_t const* format, Arguments... arguments) {
    if (class_enabled(kResultDispatchClass)) _LOG(kResultDispatchClass, format, arguments...);
}

void log_value_set(void const* object, char16_t const* name, VARTYPE type, void const* data,
                   long status);
void log_value_read(void const* object, const CResultDispEntry& entry, const VARIANT& value);
void log_method_begin(void const* object, char16_t const* name, DISPPARAMS* params);
void log_method_end(char16_t const* name, VARIANT* result, long status, std::uint32_t start);

}  // namespace detail
}  // namespace tarnwillow
