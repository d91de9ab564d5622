#include "nativeCalls.h"

#include "engineText.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/statusText.h"

namespace tarnwillow::script {

namespace {

// An object that tells no reason still gets a script an Error that has one.
Outcome fail(CallFrame* frame, long status) {
    EXCEPINFO& exception = frame->exception;
    if (status != DISP_E_EXCEPTION) exception.scode = static_cast<std::int32_t>(status);
    if (exception.bstrSource == nullptr) exception.bstrSource = SysAllocString(u"automation");
    if (SysStringLen(exception.bstrDescription) == 0) {
        SysFreeString(exception.bstrDescription);
        char16_t text[256];
        platform::describe_status(exception.scode, text, 256);
        exception.bstrDescription = SysAllocString(text);
    }
    return Outcome::kFailure;
}

long find(CallFrame* frame, IDispatch* object, std::string_view name, DISPID* id) {
    frame->name = from_engine_text(name);
    if (frame->name == nullptr) return E_OUTOFMEMORY;
    return object->GetIDsOfNames(IID_NULL, &frame->name, 1, LOCALE_USER_DEFAULT, id);
}

long invoke(CallFrame* frame, IDispatch* object, DISPID id, std::uint16_t flags) {
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS params{frame->arguments, nullptr, frame->count, 0};
    if (flags == DISPATCH_PROPERTYPUT) {
        params.rgdispidNamedArgs = &put;
        params.cNamedArgs = 1;
    }
    return object->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &params, &frame->result,
                          &frame->exception, nullptr);
}

// A result object answers the read of a method by E_FAIL, of memberName by E_UNEXPECTED; a wrapped
// one by DISP_E_MEMBERNOTFOUND, since its E_FAIL may be a failure like any other.
bool means_method(const CallFrame& frame, long status) {
    if (status == E_UNEXPECTED || status == DISP_E_MEMBERNOTFOUND) return true;
    if (status != DISP_E_EXCEPTION) return false;
    const long code = frame.exception.scode;
    const BSTR source = frame.exception.bstrSource;
    const bool by_result_object =
        source != nullptr && std::u16string_view(source, SysStringLen(source)) == u"Script";
    return code == DISP_E_MEMBERNOTFOUND || (code == E_FAIL && by_result_object);
}

}  // namespace

bool is_engine_name(std::string_view name) { return name == "toString" || name == "valueOf"; }

Outcome read_member(CallFrame* frame, IDispatch* object, std::string_view name, DISPID* id) {
    long status = find(frame, object, name, id);
    if (status == DISP_E_UNKNOWNNAME) return Outcome::kUnknown;
    if (status != S_OK) return fail(frame, status);
    status = invoke(frame, object, *id, DISPATCH_PROPERTYGET);
    if (status == S_OK) return Outcome::kValue;
    return means_method(*frame, status) ? Outcome::kMethod : fail(frame, status);
}

Outcome write_member(CallFrame* frame, IDispatch* object, std::string_view name) {
    DISPID id = DISPID_UNKNOWN;
    long status = find(frame, object, name, &id);
    if (status == S_OK) status = invoke(frame, object, id, DISPATCH_PROPERTYPUT);
    return status == S_OK ? Outcome::kValue : fail(frame, status);
}

Outcome call_member(CallFrame* frame, IDispatch* object, DISPID id) {
    const long status = invoke(frame, object, id, DISPATCH_METHOD);
    return status == S_OK ? Outcome::kValue : fail(frame, status);
}

}  // namespace tarnwillow::script
