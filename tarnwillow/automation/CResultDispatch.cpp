// The object and its members, as native code sees them.
#include "tarnwillow/automation/CResultDispatch.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "tarnwillow/automation/CDispParamsMaster.h"
#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/automation/CResultDispEntry.h"
#include "tarnwillow/automation/resultLog.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/characterSets.h"

namespace tarnwillow {

using detail::log_number;
using detail::log_result_object;

namespace {

constexpr int kRecordsAtATime = 50;
constexpr std::uint32_t kFirstRoom = 8;

}  // namespace

CResultDispatch::CResultDispatch() : members(nullptr) {}

CResultDispatch::~CResultDispatch() {
    for (std::uint32_t i = 0; i < count; ++i)
        probe_guard([this, i] { delete entries[i]; }, no_recovery);
    *static_cast<volatile std::uint32_t*>(&tag) = kTagDestroyed;
    delete[] entries;
}

// References and interfaces.

std::int32_t CResultDispatch::QueryInterface(GUID const& id, void** object) {
    if (object == nullptr) return static_cast<std::int32_t>(E_INVALIDARG);
    *object = nullptr;
    if (id == IID_IUnknown || id == IID_IResultDispatchInterface)
        *object = static_cast<IResultDispatchInterface*>(this);
    else if (id == IID_IResultDispatchInterface2)
        *object = static_cast<IResultDispatchInterface2*>(this);
    else if (id == IID_IDispatch)
        *object = static_cast<IDispatch*>(this);
    else
        return static_cast<std::int32_t>(E_NOINTERFACE);
    AddRef();
    return S_OK;
}

std::uint32_t CResultDispatch::AddRef() { return references.add(); }

std::uint32_t CResultDispatch::Release() {
    std::uint32_t left = 0;
    if (references.release(&left)) delete this;
    return left;
}

long CResultDispatch::Get_Dispatch_Variant(VARIANT* out) {
    return detail::store_dispatch(this, out);
}

long CResultDispatch::Push_To_Array(IDispatch* array) {
    CDispatchMaster target(array);
    CDispParamsMaster params;
    const long added = params.Add_Param(static_cast<IDispatch*>(this));
    return added == S_OK ? target.Invoke_Method(u"push", &params, nullptr) : added;
}

// Members.

CResultDispatch::Key::Key(char16_t const* name) {
    std::size_t length = 0;
    for (; length < std::size(text) - 1 && name[length] != 0; ++length)
        text[length] = wide::to_upper(name[length]);
    text[length] = 0;
}

long CResultDispatch::initialise() {
    if (initialised) return S_OK;
    log_result_object(u"New Script Result Dispatch Initialized Object: %x", log_number(this));
    const long result = members.Initialize(kRecordsAtATime);
    initialised = result == S_OK;
    return result;
}

CResultDispEntry* CResultDispatch::find(const Key& key) {
    void* data = nullptr;
    if (!initialised || members.Find(key.text, &data, nullptr) != S_OK) return nullptr;
    return static_cast<CResultDispEntry*>(data);
}

bool CResultDispatch::make_room() {
    if (count < room) return true;
    const std::uint32_t more = room == 0 ? kFirstRoom : 2 * room;
    auto** const fresh = new (std::nothrow) CResultDispEntry*[more];
    if (fresh == nullptr) return false;
    std::copy(entries, entries + count, fresh);
    delete[] entries;
    entries = fresh;
    room = more;
    return true;
}

// The list of the table throws without memory.
long CResultDispatch::add(const Key& key, std::unique_ptr<CResultDispEntry> entry) try {
    if (!make_room()) return E_OUTOFMEMORY;
    const long result = members.Add(key.text, entry.get(), sizeof(void*));
    if (result != S_OK) return result;
    entries[count++] = entry.release();
    return S_OK;
} catch (long failure) {
    return failure;
}

long CResultDispatch::set(char16_t const* name, VARTYPE type, void const* data,
                          unsigned long size) {
    const Key key(name);
    if (CResultDispEntry* const entry = find(key)) {
        log_result_object(u"Script Result Dispatch: PROP_PUT, Property: %s Object: %x", name,
                          log_number(this));
        return entry->Store(type, data, size);
    }
    std::unique_ptr<CResultDispEntry> entry(new (std::nothrow) CResultDispEntry(name, count));
    if (entry == nullptr) return E_OUTOFMEMORY;
    const long result = entry->Store(type, data, size);
    return result == S_OK ? add(key, std::move(entry)) : result;
}

long CResultDispatch::Set_Property(char16_t const* name, unsigned short type, void const* data,
                                   unsigned long size) {
    if (name == nullptr) return E_INVALIDARG;
    long result = initialise();
    if (result != S_OK) return result;
    result = set(name, type, data, size);
    if (detail::class_enabled(detail::kResultDispatchClass))
        detail::log_value_set(this, name, type, data, result);
    return result;
}

long CResultDispatch::Set_Property(char16_t const* name, IDispatch* object) {
    return Set_Property(name, VT_DISPATCH, &object, sizeof(void*));
}

long CResultDispatch::Set_Property(char16_t const* name, bool value) {
    const VARIANT_BOOL truth = value ? VARIANT_TRUE : VARIANT_FALSE;
    return Set_Property(name, VT_BOOL, &truth, sizeof(truth));
}

long CResultDispatch::Set_Property(char16_t const* name, long long value) {
    return Set_Property(name, VT_I8, &value, sizeof(value));
}

long CResultDispatch::Set_Property(char16_t const* name, unsigned long value) {
    if (value <= std::numeric_limits<std::uint32_t>::max())
        return Set_Property(name, VT_UI4, &value, sizeof(std::uint32_t));
    if (!std::in_range<long long>(value)) return E_INVALIDARG;
    return Set_Property(name, static_cast<long long>(value));
}

long CResultDispatch::Set_Property(char16_t const* name, long value) {
    if (!std::in_range<std::int32_t>(value))
        return Set_Property(name, static_cast<long long>(value));
    return Set_Property(name, VT_I4, &value, sizeof(std::int32_t));
}

long CResultDispatch::Set_Property(char16_t const* name, char16_t* text) {
    return Set_Property(name, static_cast<char16_t const*>(text));
}

long CResultDispatch::Set_Property(char16_t const* name, char* text) {
    return Set_Property(name, static_cast<char const*>(text));
}

long CResultDispatch::Set_Property(char16_t const* name, char16_t const* text) {
    if (text == nullptr) return Set_Property(name, VT_NULL, nullptr, 0);
    const unsigned long size = (wide::length(text) + 1) * sizeof(char16_t);
    return Set_Property(name, VT_BSTR, text, size);
}

long CResultDispatch::Set_Property(char16_t const* name, char const* text) {
    if (text == nullptr) return Set_Property(name, VT_NULL, nullptr, 0);
    const std::size_t size = std::strlen(text) + 1;
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return E_OUTOFMEMORY;
    const std::unique_ptr<char16_t[]> wide(new (std::nothrow) char16_t[size]);
    if (wide == nullptr) return E_OUTOFMEMORY;
    const long result = AnsiToUnicode(text, wide.get(), static_cast<int>(size));
    return result == S_OK ? Set_Property(name, wide.get()) : result;
}

long CResultDispatch::Set_Method(char16_t const* name, ResultMethodProc procedure,
                                 long first_user_value, long second_user_value) {
    if (name == nullptr || procedure == nullptr) return E_INVALIDARG;
    const long result = initialise();
    if (result != S_OK) return result;
    const Key key(name);
    if (CResultDispEntry* const entry = find(key)) {
        log_result_object(u"Script Result Dispatch: Method Proc Update, Method: %s Object: %x",
                          name, log_number(this));
        entry->Store_Method(procedure, first_user_value, second_user_value);
        return S_OK;
    }
    std::unique_ptr<CResultDispEntry> entry(new (std::nothrow) CResultDispEntry(name, count));
    if (entry == nullptr) return E_OUTOFMEMORY;
    entry->Store_Method(procedure, first_user_value, second_user_value);
    log_result_object(u"Script Result Dispatch: PROP_PUT, New Method: %s Object: %x", name,
                      log_number(this));
    return add(key, std::move(entry));
}

IResultDispatchInterface* CreateResultDispatch() try {
    auto* const object = new (std::nothrow) CResultDispatch;
    if (object != nullptr)
        _LOG(detail::kResultDispatchClass, u"New Script Result Dispatch Created Object: %X",
             log_number(object));
    return object;
} catch (long) {
    return nullptr;
}

}  // namespace tarnwillow
