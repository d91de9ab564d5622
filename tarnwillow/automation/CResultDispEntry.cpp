#include "tarnwillow/automation/CResultDispEntry.h"

#include <cstring>
#include <new>
#include <utility>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

bool is_terminated_text(void const* bytes, unsigned long count) {
    if (count < sizeof(char16_t) || count % sizeof(char16_t) != 0) return false;
    char16_t last = 0;
    std::memcpy(&last, static_cast<char const*>(bytes) + count - sizeof(last), sizeof(last));
    return last == 0;
}

bool size_fits(VARTYPE type, void const* bytes, unsigned long count) {
    if (bytes == nullptr && count != 0) return false;
    switch (type) {
        case VT_EMPTY:
            return false;  // the mark of a method
        case VT_NULL:
            return true;
        case VT_I4:
        case VT_UI4:
            return count == sizeof(std::int32_t) || count == sizeof(long);
        case VT_BSTR:
            return is_terminated_text(bytes, count);
        case VT_DISPATCH:
            return count == sizeof(void*);
        case VT_BOOL:
            return count == sizeof(VARIANT_BOOL);
        case VT_I8:
            return count == sizeof(long long);
        default:
            return true;
    }
}

unsigned long stored_size(VARTYPE type, unsigned long count) {
    if (type == VT_NULL) return 0;
    return type == VT_I4 || type == VT_UI4 ? sizeof(std::int32_t) : count;
}

}  // namespace

CResultDispEntry::CResultDispEntry(char16_t const* entry_name, std::uint32_t place)
    : ordinal(place) {
    wide::copy(name, kNameRoom, entry_name);
}

CResultDispEntry::~CResultDispEntry() {
    *static_cast<volatile std::uint32_t*>(&tag) = kTagDestroyed;
    replace_content(VT_NULL, 0, {});
}

// The new content is in place before the old object goes: its release may come back to this entry.
void CResultDispEntry::replace_content(VARTYPE new_type, unsigned long new_size, Bytes fresh) {
    const VARTYPE old_type = std::exchange(type, new_type);
    const unsigned long old_size = std::exchange(size, new_size);
    const Bytes old = std::exchange(data, fresh);
    if (old_size > sizeof(Bytes)) delete[] static_cast<unsigned char*>(old.heap);
    if (old_type == VT_DISPATCH && old.object != nullptr) old.object->Release();
}

long CResultDispEntry::Store(VARTYPE new_type, void const* bytes, unsigned long count) {
    if (!size_fits(new_type, bytes, count)) return E_INVALIDARG;
    const unsigned long new_size = stored_size(new_type, count);
    Bytes fresh{};
    void* place = fresh.small;
    if (new_size > sizeof(Bytes)) {
        fresh.heap = new (std::nothrow) unsigned char[new_size];
        if (fresh.heap == nullptr) return E_OUTOFMEMORY;
        place = fresh.heap;
    }
    if (new_size != 0) std::memcpy(place, bytes, new_size);
    if (new_type == VT_DISPATCH && fresh.object != nullptr) fresh.object->AddRef();
    replace_content(new_type, new_size, fresh);
    return S_OK;
}

void CResultDispEntry::Store_Method(ResultMethodProc new_procedure, long first, long second) {
    replace_content(VT_EMPTY, 0, {});
    procedure = new_procedure;
    first_user_value = first;
    second_user_value = second;
}

long CResultDispEntry::Load(VARIANT* out) const {
    BSTR text = nullptr;
    if (type == VT_BSTR) {
        const std::size_t units = size / sizeof(char16_t) - 1;
        text = SysAllocStringLen(static_cast<char16_t const*>(content()),
                                 static_cast<std::uint32_t>(units));
        if (text == nullptr) return E_OUTOFMEMORY;
    }
    VariantInit(out);
    out->vt = type;
    if (type == VT_BSTR)
        out->bstrVal = text;
    else
        std::memcpy(&out->llVal, data.small, sizeof(data.small));
    if (type == VT_I4) out->llVal = out->lVal;
    if (type == VT_DISPATCH && out->pdispVal != nullptr) out->pdispVal->AddRef();
    return S_OK;
}

long CResultDispEntry::Call_User_Method(DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                        unsigned int* argument_error,
                                        IResultDispatchInterface* object, bool* returned) {
    // The method may set this very member anew.
    const auto call = procedure;
    const long first = first_user_value;
    const long second = second_user_value;
    *returned = true;
    return reporting_guard(
        ExceptionLevelHandled, u"CResultDispEntry::Call_User_Method",
        [&] { return call(params, result, exception, argument_error, object, first, second); },
        [&] {
            *returned = false;
            return E_FAIL;
        });
}

}  // namespace tarnwillow
