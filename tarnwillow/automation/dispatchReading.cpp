// The readers of CDispatchMaster.
#include <algorithm>
#include <string_view>

#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/dispatchLog.h"
#include "tarnwillow/automation/heldValues.h"
#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

using detail::HeldVariant;

namespace {

constexpr unsigned kNullMarkCapacity = 3;
constexpr char16_t kNullMark = 0xFFFF;

/// Up to a zero, if the string holds one. A script may deliver a null string.
std::u16string_view text_of(BSTR string) {
    if (string == nullptr) return {};
    return {string, wide::bounded_length(string, SysStringLen(string))};
}

long mark_null(char16_t* out, unsigned capacity) {
    if (capacity < kNullMarkCapacity) return DISP_E_TYPEMISMATCH;
    out[0] = 0;
    out[1] = kNullMark;
    return S_OK;
}

long copy_padded(BSTR string, char16_t* out, unsigned capacity) {
    const std::uint32_t length = SysStringLen(string);
    if (length > capacity) return DISP_E_BUFFERTOOSMALL;
    std::uint32_t count = 0;
    for (; count < length && string[count] != 0; ++count)
        out[count] = string[count];
    std::fill(out + count, out + capacity, u'\0');
    return S_OK;
}

long copy_narrow(BSTR string, char* out, unsigned capacity) {
    if (SysStringLen(string) > capacity) return DISP_E_BUFFERTOOSMALL;
    const std::u16string_view text = text_of(string);
    const auto done = platform::wide_to_narrow(text.data(), text.size(), out, capacity);
    const bool fits = done.consumed == text.size();
    const std::size_t end = fits ? done.written : 0;
    if (end < capacity) out[end] = 0;
    return fits ? S_OK : DISP_E_BUFFERTOOSMALL;
}

}  // namespace

long CDispatchMaster::fetch(DISPID id, char16_t const* name, VARIANT* value) {
    DISPPARAMS none{};
    const long result = dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                         &none, value, nullptr, nullptr);
    if (log_calls) detail::log_property_read(name, value, result);
    return result;
}

long CDispatchMaster::Get_Property_Variant(char16_t const* name, VARIANT* value) {
    DISPID id = DISPID_UNKNOWN;
    const long missing = find_member(name, &id);
    if (missing == S_OK) return fetch(id, name, value);
    if (logs_lookup(name))
        detail::log_missing_property(u"Get_Property_Variant", name, missing, value);
    return missing;
}

long CDispatchMaster::Get_Property(char16_t const* name, char16_t* out, unsigned int capacity) {
    if (out == nullptr) return E_INVALIDARG;
    out[0] = 0;
    HeldVariant value;
    const long result = Get_Property_Variant(name, value.get());
    if (result != S_OK) return result;
    if (value->vt == VT_NULL) return mark_null(out, capacity);
    return value->vt == VT_BSTR ? copy_padded(value->bstrVal, out, capacity) : DISP_E_TYPEMISMATCH;
}

long CDispatchMaster::Get_Property(char16_t const* name, char* out, unsigned int capacity) {
    if (out == nullptr) return E_INVALIDARG;
    if (capacity > 0) out[0] = 0;
    HeldVariant value;
    const long result = Get_Property_Variant(name, value.get());
    if (result != S_OK) return result;
    return value->vt == VT_BSTR ? copy_narrow(value->bstrVal, out, capacity) : DISP_E_TYPEMISMATCH;
}

long CDispatchMaster::Get_Property(char16_t const* name, long* out) {
    if (out == nullptr) return E_INVALIDARG;
    HeldVariant value;
    const long result = Get_Property_Variant(name, value.get());
    if (result != S_OK) return result;
    if (value->vt == VT_I4)
        *out = value->lVal;
    else if (value->vt == VT_BSTR)
        *out = value->bstrVal != nullptr ? wide::to_int(value->bstrVal) : 0;
    else
        return DISP_E_TYPEMISMATCH;
    return S_OK;
}

long CDispatchMaster::Get_Property(char16_t const* name, bool* out) {
    if (out == nullptr) return E_INVALIDARG;
    HeldVariant value;
    DISPID id = DISPID_UNKNOWN;
    long result = find_member(name, &id);
    if (result != S_OK) {
        value->vt = VT_BOOL;
        value->boolVal = *out ? VARIANT_TRUE : VARIANT_FALSE;
        if (logs_lookup(name))
            detail::log_missing_property(u"Get_Property", name, result, value.get());
        return result;
    }
    result = fetch(id, name, value.get());
    if (result == S_OK && value->vt != VT_BOOL) result = DISP_E_TYPEMISMATCH;
    if (result == S_OK) *out = value->boolVal != VARIANT_FALSE;
    return result;
}

long CDispatchMaster::Get_Property(char16_t const* name, IDispatch** out) {
    if (out == nullptr) return E_INVALIDARG;
    HeldVariant value;
    const long result = Get_Property_Variant(name, value.get());
    if (result != S_OK) return result;
    if (value->vt != VT_DISPATCH && value->vt != VT_NULL) return DISP_E_TYPEMISMATCH;
    *out = value->vt == VT_DISPATCH ? value.release().pdispVal : nullptr;
    return S_OK;
}

long CDispatchMaster::Get_Property_Without_Reference(char16_t const* name, IDispatch** out) {
    IDispatch* object = nullptr;
    if (out == nullptr) return E_INVALIDARG;
    const long result = Get_Property(name, &object);
    if (result != S_OK) return result;
    const bool held_elsewhere = object != nullptr && object->Release() != 0;
    *out = held_elsewhere ? object : nullptr;
    return S_OK;
}

long CDispatchMaster::Get_Property_Type(char16_t const* name, unsigned short* out) {
    if (out == nullptr) return E_INVALIDARG;
    HeldVariant value;
    const long result = Get_Property_Variant(name, value.get());
    if (result == S_OK) *out = value->vt;
    return result;
}

}  // namespace tarnwillow
