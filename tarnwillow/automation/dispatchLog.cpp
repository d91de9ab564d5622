#include "tarnwillow/automation/dispatchLog.h"

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/diagnostics/debugTexts.h"
#include "tarnwillow/platform/threadId.h"

namespace tarnwillow::detail {

namespace {

constexpr std::size_t kValueRoom = kDebugTextRoom;
constexpr std::size_t kArgumentsRoom = 4096;
constexpr int kArgumentsLimit = 800;

unsigned bits(long status) { return static_cast<unsigned>(status); }

/// The debug text of a value.
struct ShownValue {
    explicit ShownValue(VARIANT* value) { GetDebugVariantString(value, text); }
    char16_t text[kValueRoom] = {};
};

}  // namespace

void log_missing_property(char16_t const* reader, char16_t const* name, long status,
                          VARIANT* default_value) {
    const ShownValue shown(default_value);
    _LOG(kDispatchMasterClass,
         u"**DispatchMaster %s: %s Property Does Not Exist! Result: 0x%x Default Value: %s", reader,
         name, bits(status), shown.text);
}

void log_property_read(char16_t const* name, VARIANT* value, long status) {
    const ShownValue shown(value);
    _LOG(kDispatchMasterClass, u"**DispatchMaster Get_Property: %s = %s Code: %x", name, shown.text,
         bits(status));
}

void log_method_call(char16_t const* name, DISPPARAMS* params) {
    char16_t arguments[kArgumentsRoom] = {};
    GetDebugParametersString(params, arguments, kArgumentsLimit);
    _LOG(kDispatchMasterClass, u"**DispatchMaster Invoke \"%s(%s)\"", name, arguments);
}

void log_method_result(char16_t const* name, VARIANT* value, long status) {
    const ShownValue shown(value);
    _LOG(kDispatchMasterClass, u"**DispatchMaster Invoke Result: \"%s\" = %s Code: %x", name,
         shown.text, bits(status));
}

void log_unwritable_property(char16_t const* name, long status) {
    _LOG(kDispatchMasterClass,
         u"**DispatchMaster Set_Property: %s Property Does Not Exist! Result: 0x%x Code: %x", name,
         bits(status), bits(status));
}

void log_missing_method(char16_t const* name, long status) {
    _LOG(kDispatchMasterClass,
         u"**DispatchMaster Invoke_Method: \"%s\" Method Does Not Exist! Result: 0x%x", name,
         bits(status));
}

void log_slow_call(int log_class, char16_t const* format, char16_t const* name,
                   std::uint32_t milliseconds) {
    const double seconds = static_cast<double>(static_cast<long long>(milliseconds)) / 1000.0;
    _LOG(log_class, format, name, seconds);
}

void log_fault_in_method(char16_t const* name, std::uint32_t code) {
    _LOG(kDispatchMasterClass,
         u"Invoke Dispatch Method raised an excepetion %s Exception Code: %x Thread ID: %x", name,
         code, platform::current_thread_id());
}

}  // namespace tarnwillow::detail
