// CResultDispatch towards scripts: names to numbers, and what a number leads to.
#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CResultDispEntry.h"
#include "tarnwillow/automation/CResultDispatch.h"
#include "tarnwillow/automation/exceptionInfo.h"
#include "tarnwillow/automation/resultLog.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/stringUtilities.h"

namespace tarnwillow {

using detail::log_number;
using detail::log_result_object;

namespace {

std::int32_t hresult(long status) { return static_cast<std::int32_t>(status); }

bool is_property_access(std::uint16_t flags) {
    return flags == DISPATCH_PROPERTYGET || flags == DISPATCH_PROPERTYPUT;
}

/// Whether a script can read a value of that type.
bool is_readable(VARTYPE type) {
    return type == VT_I4 || type == VT_BSTR || type == VT_DISPATCH || type == VT_BOOL ||
           type == VT_UI4 || type == VT_I8;
}

DISPID id_of(const CResultDispEntry& entry) {
    return kFirstMemberId + static_cast<DISPID>(entry.ordinal);
}

bool same_name(char16_t const* a, char16_t const* b) {
    while (*a != 0 && (*a == *b || wide::to_upper(*a) == wide::to_upper(*b)))
        ++a, ++b;
    return *a == *b;
}

void free_strings(const EXCEPINFO& exception) {
    SysFreeString(exception.bstrSource);
    SysFreeString(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
}

}  // namespace

// Names.

CResultDispEntry* CResultDispatch::at_position(long position) const {
    return position >= 0 && position < static_cast<long>(count) ? entries[position] : nullptr;
}

CResultDispEntry* CResultDispatch::living_entry(DISPID id) const {
    if (id < kFirstMemberId) return nullptr;
    CResultDispEntry* const entry = at_position(id - kFirstMemberId);
    return entry != nullptr && entry->is_living() ? entry : nullptr;
}

// Scripts and native callers ask for the same few names again and again, each time anew. A name of
// digits never comes in here: it is a place.
CResultDispEntry*& CResultDispatch::recent(char16_t const* name) {
    std::uint32_t sum = 0;
    for (int i = 0; i < 4 && name[i] != 0; ++i)
        sum = 5 * sum + name[i];
    return recents[sum % kRecentNames];
}

bool CResultDispatch::resolve(char16_t const* name, const Key& key, DISPID* id) {
    if (!initialised) return false;
    const bool is_place = Is_Number(key.text);
    CResultDispEntry* const entry = is_place ? at_position(wide::to_int(key.text)) : find(key);
    if (entry != nullptr && !is_place) recent(name) = entry;
    if (entry != nullptr)
        *id = id_of(*entry);
    else if (wide::compare(key.text, u"LENGTH") == 0)
        *id = kLengthId;
    else if (wide::compare(key.text, u"MEMBERNAME") == 0)
        *id = kMemberNameId;
    else
        return false;
    return true;
}

long CResultDispatch::resolve_or_create(const Key& key, char16_t const* name, DISPID* id) {
    if (resolve(name, key, id)) return S_OK;
    Set_Property(key.text, u"");
    if (resolve(name, key, id)) return S_OK;
    log_result_object(u"Script Result Dispatch ERROR: Couldn't find %s Object: %x", name,
                      log_number(this));
    return DISP_E_UNKNOWNNAME;
}

long CResultDispatch::id_of_name(char16_t const* name, DISPID* id) {
    if (name == nullptr) return E_INVALIDARG;
    CResultDispEntry const* const known = recent(name);
    if (known != nullptr && same_name(known->name, name)) {
        *id = id_of(*known);
    } else {
        const long failure = resolve_or_create(Key(name), name, id);
        if (failure != S_OK) return failure;
    }
    log_result_object(u"Script Result Dispatch: Looking for %s ID: %d Object: %x", name, *id,
                      log_number(this));
    return S_OK;
}

std::int32_t CResultDispatch::GetIDsOfNames(GUID const&, char16_t** names, std::uint32_t name_count,
                                            std::uint32_t, DISPID* ids) {
    log_result_object(u"Script Result Dispatch: GetIDsOfNames Object: %x", log_number(this));
    if (name_count != 0 && (names == nullptr || ids == nullptr)) return hresult(E_INVALIDARG);
    for (std::uint32_t i = 0; i < name_count; ++i) {
        const long result = id_of_name(names[i], &ids[i]);
        if (result != S_OK) return hresult(result);
    }
    return S_OK;
}

std::int32_t CResultDispatch::GetTypeInfoCount(std::uint32_t*) { return hresult(E_NOTIMPL); }

std::int32_t CResultDispatch::GetTypeInfo(std::uint32_t, std::uint32_t, ITypeInfo**) {
    return hresult(E_NOTIMPL);
}

// Properties.

long CResultDispatch::read_pseudo_member(DISPID id, VARIANT* result) {
    if (id != kLengthId) return S_OK;
    VariantInit(result);
    result->vt = VT_I4;
    result->llVal = count;
    log_result_object(u"**ResultObject ID: 0x%x Length: %d", log_number(this), count);
    return S_OK;
}

long CResultDispatch::read_member(const CResultDispEntry& entry, VARIANT* result) {
    log_result_object(u"Script Result Dispatch: PROP_GET  Property Name: %s Object: %x", entry.name,
                      log_number(this));
    if (entry.type == VT_EMPTY) {
        log_result_object(
            u"**ERROR** Attempting to read method %s as a property. Result object ID: 0x%x",
            entry.name, log_number(this));
        return E_FAIL;
    }
    if (!is_readable(entry.type)) return S_OK;
    const long loaded = entry.Load(result);
    if (loaded == S_OK && detail::class_enabled(detail::kResultDispatchClass))
        detail::log_value_read(this, entry, *result);
    return loaded;
}

long CResultDispatch::write_member(CResultDispEntry& entry, DISPPARAMS const* params) {
    if (params == nullptr || params->rgvarg == nullptr || params->cArgs == 0) return E_INVALIDARG;
    const VARIANT& value = params->rgvarg[0];
    switch (value.vt) {
        case VT_I4:
            return entry.Store(VT_I4, &value.lVal, sizeof(value.lVal));
        case VT_BSTR:
            if (value.bstrVal == nullptr) return entry.Store(VT_BSTR, u"", sizeof(char16_t));
            return entry.Store(VT_BSTR, value.bstrVal,
                               SysStringByteLen(value.bstrVal) + sizeof(char16_t));
        case VT_DISPATCH:
            return entry.Store(VT_DISPATCH, &value.pdispVal, sizeof(void*));
        case VT_BOOL:
            return entry.Store(VT_BOOL, &value.boolVal, sizeof(value.boolVal));
        default:
            return E_NOTIMPL;
    }
}

// Methods.

long CResultDispatch::read_member_name(const Call& call) {
    CDispParamsMaster arguments(call.params);
    CResultDispEntry const* const entry = at_position(arguments.Get_Numeric_Param(0, -1));
    if (entry == nullptr) return ERROR_NOT_FOUND;
    if (call.result == nullptr) return S_OK;
    VariantInit(call.result);
    call.result->vt = VT_BSTR;
    call.result->bstrVal = SysAllocString(entry->name);
    if (call.result->bstrVal == nullptr) return E_OUTOFMEMORY;
    log_result_object(u"Script Result Dispatch: Static Method Method_Name  Value: %s Object: %x",
                      entry->name, log_number(this));
    return S_OK;
}

long CResultDispatch::call_member(CResultDispEntry& entry, const Call& call) {
    if (call.exception != nullptr) *call.exception = EXCEPINFO{};
    // The class may be switched on while the method runs.
    std::uint32_t start = platform::coarse_tick_count();
    if (detail::class_enabled(detail::kApiFunctionCallClass)) {
        detail::log_method_begin(this, entry.name, call.params);
        start = GetTickCount();
    }
    AddRef();  // the method may release what its caller holds
    bool returned = true;
    const long status = entry.Call_User_Method(call.params, call.result, call.exception,
                                               call.argument_error, this, &returned);
    if (detail::class_enabled(detail::kApiFunctionCallClass))
        detail::log_method_end(entry.name, call.result, status, start);
    // What stands there after a fault may be anything, and is not followed.
    if (call.exception != nullptr && returned && status != S_OK) free_strings(*call.exception);
    Release();
    return tell_failure(status, call);
}

// Towards a script the failure of a call is an exception with a source and a description.
long CResultDispatch::tell_failure(long status, const Call& call) {
    if (status == S_OK || call.exception == nullptr) return status;
    detail::fill_exception(call.exception, status, u"Script", nullptr);
    return DISP_E_EXCEPTION;
}

std::int32_t CResultDispatch::Invoke(DISPID id, GUID const& interface_id, std::uint32_t,
                                     std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                                     EXCEPINFO* exception, std::uint32_t* argument_error) {
    if (is_property_access(flags))
        log_result_object(
            u"Script Result Dispatch: GET/PUT Invoke ID: %x Type %s Flags: %x Object: %x", id,
            flags == DISPATCH_PROPERTYGET ? u"PROP_GET" : u"PROP_PUT", flags, log_number(this));
    else
        log_result_object(u"Script Result Dispatch: Method Invoke ID: %x Flags: %x Object: %x", id,
                          flags, log_number(this));
    if (interface_id != IID_NULL) return hresult(DISP_E_UNKNOWNINTERFACE);
    return hresult(perform(id, flags, {params, result, exception, argument_error}));
}

long CResultDispatch::perform(DISPID id, std::uint16_t flags, const Call& call) {
    const bool reads = flags == DISPATCH_PROPERTYGET;
    if (reads && call.result == nullptr) return E_INVALIDARG;
    if (reads && id < 2) return read_pseudo_member(id, call.result);
    const bool calls = (flags & DISPATCH_METHOD) != 0;
    if (!is_property_access(flags) && !calls) return tell_failure(E_NOTIMPL, call);
    if (calls && id == kMemberNameId) return tell_failure(read_member_name(call), call);
    CResultDispEntry* const entry = living_entry(id);
    if (entry == nullptr) return E_UNEXPECTED;
    if (reads) return tell_failure(read_member(*entry, call.result), call);
    if (!calls) return tell_failure(write_member(*entry, call.params), call);
    if (entry->type != VT_EMPTY) return tell_failure(E_NOTIMPL, call);
    return call_member(*entry, call);
}

}  // namespace tarnwillow
