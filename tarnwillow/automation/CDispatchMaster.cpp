#include "tarnwillow/automation/CDispatchMaster.h"

#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "tarnwillow/automation/dispatchLog.h"
#include "tarnwillow/automation/heldValues.h"
#include "tarnwillow/automation/scriptMappings.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/characterSets.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

using detail::CallString;
using detail::HeldVariant;

CDispatchMaster::CDispatchMaster(IDispatch* object)
    : dispatch(object),
      invoke_lock(u""),
      log_calls(Log_Class_Enabled(detail::kDispatchMasterClass)) {
    if (dispatch != nullptr) dispatch->AddRef();
}

CDispatchMaster::~CDispatchMaster() {
    if (dispatch != nullptr) dispatch->Release();
}

long CDispatchMaster::Reload_Dispatch(IDispatch* object) {
    // The new one first: both may be the same.
    if (object != nullptr) object->AddRef();
    IDispatch* const old = std::exchange(dispatch, object);
    if (old != nullptr) old->Release();
    return S_OK;
}

long CDispatchMaster::find_member(char16_t const* name, DISPID* id) {
    if (dispatch == nullptr) return E_UNEXPECTED;
    if (name == nullptr) return E_INVALIDARG;
    CallString text(name);
    if (text.get() == nullptr) return E_OUTOFMEMORY;
    char16_t* names[] = {text.get()};
    return dispatch->GetIDsOfNames(IID_NULL, names, 1, LOCALE_SYSTEM_DEFAULT, id);
}

bool CDispatchMaster::Method_Available(char16_t const* name) {
    if (name == nullptr) return false;
    char16_t bare[512];
    wide::copy(bare, 512, name);
    if (char16_t* const open = wide::find(bare, u'(')) *open = 0;
    DISPID id = DISPID_UNKNOWN;
    return find_member(bare, &id) == S_OK;
}

// Writing.

long CDispatchMaster::Set_Property(char16_t const* name, VARIANT const* value) {
    if (value == nullptr) return E_INVALIDARG;
    DISPID id = DISPID_UNKNOWN;
    const long missing = find_member(name, &id);
    if (missing != S_OK) {
        if (dispatch != nullptr && name != nullptr) detail::log_unwritable_property(name, missing);
        return missing;
    }
    VARIANT argument{};
    argument.vt = value->vt;
    argument.llVal = value->llVal;
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS params{&argument, &put, 1, 1};
    HeldVariant dropped;
    return dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &params,
                            dropped.get(), nullptr, nullptr);
}

long CDispatchMaster::Set_Property(char16_t const* name, char16_t const* value) {
    HeldVariant text;
    text->vt = VT_BSTR;
    text->bstrVal = SysAllocString(value);
    if (value != nullptr && text->bstrVal == nullptr) return E_OUTOFMEMORY;
    return Set_Property(name, text.get());
}

long CDispatchMaster::Set_Property(char16_t const* name, char const* value) {
    if (value == nullptr) return Set_Property(name, static_cast<char16_t const*>(nullptr));
    const std::size_t size = std::strlen(value) + 1;
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return E_OUTOFMEMORY;
    const std::unique_ptr<char16_t[]> wide(new (std::nothrow) char16_t[size]);
    if (wide == nullptr) return E_OUTOFMEMORY;
    const long result = AnsiToUnicode(value, wide.get(), static_cast<int>(size));
    return result == S_OK ? Set_Property(name, wide.get()) : result;
}

long CDispatchMaster::Set_Property(char16_t const* name, long value) {
    VARIANT number{};
    number.vt = VT_I4;
    number.llVal = saturated(value);
    return Set_Property(name, &number);
}

long CDispatchMaster::Set_Property(char16_t const* name, bool value) {
    VARIANT truth{};
    truth.vt = VT_BOOL;
    truth.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return Set_Property(name, &truth);
}

long CDispatchMaster::Set_Property(char16_t const* name, std::nullptr_t) {
    VARIANT null{};
    null.vt = VT_NULL;
    return Set_Property(name, &null);
}

// Copying members.

long CDispatchMaster::convert_address(const JScriptObjectMappings& record, bool keep_going) {
    if (record.destination == nullptr) return E_INVALIDARG;
    char16_t text[64] = {};
    const long result = Get_Property(record.name, text, 63);
    if (result == S_OK || keep_going)
        *static_cast<unsigned long*>(record.destination) = AddressToLong(text);
    return result;
}

long CDispatchMaster::convert_member(const JScriptObjectMappings& record, bool keep_going) {
    switch (record.kind) {
        case kMappedText:
            return Get_Property(record.name, static_cast<char16_t*>(record.destination),
                                record.capacity);
        case kMappedNumber:
            return Get_Property(record.name, static_cast<long*>(record.destination));
        case kMappedBool:
            return Get_Property(record.name, static_cast<bool*>(record.destination));
        case kMappedAddress:
            return convert_address(record, keep_going);
        default:
            return S_OK;
    }
}

long CDispatchMaster::Convert_Object_Members(JScriptObjectMappings const* table, bool keep_going) {
    if (table == nullptr) return E_INVALIDARG;
    for (; table->name != nullptr; ++table) {
        const long result = convert_member(*table, keep_going);
        if (result != S_OK && !keep_going) return result;
    }
    return S_OK;
}

}  // namespace tarnwillow
