#include "tarnwillow/automation/resultLog.h"

#include <cstring>

#include "tarnwillow/automation/CResultDispEntry.h"
#include "tarnwillow/automation/heldValues.h"
#include "tarnwillow/diagnostics/debugTexts.h"
#include "tarnwillow/platform/clock.h"

namespace tarnwillow::detail {

namespace {

constexpr std::size_t kValueRoom = kDebugTextRoom;
constexpr int kArgumentsLimit = 800;

unsigned bits(long status) { return static_cast<unsigned>(status); }

/// Numbers, truths and texts; any other type shows with a zero value.
void make_shown_variant(VARTYPE type, void const* data, VARIANT* value) {
    value->vt = type;
    if (data == nullptr) return;
    if (type == VT_I4) std::memcpy(&value->lVal, data, sizeof(value->lVal));
    if (type == VT_BOOL) std::memcpy(&value->boolVal, data, sizeof(value->boolVal));
    if (type == VT_BSTR) value->bstrVal = SysAllocString(static_cast<char16_t const*>(data));
}

}  // namespace

void log_value_set(void const* object, char16_t const* name, VARTYPE type, void const* data,
                   long status) {
    HeldVariant value;
    make_shown_variant(type, data, value.get());
    char16_t text[kValueRoom] = {};
    GetDebugVariantString(value.get(), text);
    _LOG(kResultDispatchClass, u"**ResultObject ID: 0x%x Set_Property: %s = %s Code: %x",
         log_number(object), name, text, bits(status));
}

void log_value_read(void const* object, const CResultDispEntry& entry, const VARIANT& value) {
    const unsigned number = log_number(object);
    switch (value.vt) {
        case VT_BSTR:
            log_result_object(
                u"**CResultDispatch::Invoke Adding BSTR to debug array... Memory: 0x%x",
                log_number(value.bstrVal));
            return;
        case VT_DISPATCH:
            log_result_object(u"**ResultObject ID: 0x%x Get_Propery: %s = [Object]", number,
                              entry.name);
            return;
        case VT_BOOL:
            log_result_object(u"**ResultObject ID: 0x%x Get_Propery: %s = %s", number, entry.name,
                              value.boolVal == VARIANT_TRUE ? u"true" : u"false");
            return;
        case VT_I8:
            log_result_object(u"**ResultObject ID: 0x%x Get_Propery: %s = %I64d", number,
                              entry.name, value.llVal);
            return;
        default:
            log_result_object(u"**ResultObject ID: 0x%x Get_Propery: %s = %d", number, entry.name,
                              value.lVal);
    }
}

void log_method_begin(void const* object, char16_t const* name, DISPPARAMS* params) {
    char16_t arguments[kValueRoom] = {};
    GetDebugParametersString(params, arguments, kArgumentsLimit);
    _LOG(kApiFunctionCallClass, u"**CResultDispatch 0x%x ResultDispatch Call: \"%s(%s)\"",
         log_number(object), name, arguments);
}

void log_method_end(char16_t const* name, VARIANT* result, long status, std::uint32_t start) {
    if (GetTickCount() - start > kSlowCallMilliseconds)
        log_slow_call(kApiFunctionCallClass, u"SLOW! ResultDispatch Call: \"%s\" took %3.3fs", name,
                      GetTickCount() - start);
    if (result != nullptr) {
        char16_t text[kValueRoom] = {};
        GetDebugVariantString(result, text);
        _LOG(kApiFunctionCallClass, u"**Function ResultDispatch Result: \"%s\" = %s Code: 0x%x",
             name, text, bits(status));
    } else if (status != S_OK) {
        _LOG(kApiFunctionCallClass, u"**Function Failed: \"%s\" Code: 0x%x", name, bits(status));
    } else {
        _LOG(kApiFunctionCallClass, u"**Function Succeeded: \"%s\"", name);
    }
}

}  // namespace tarnwillow::detail
