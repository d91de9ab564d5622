#include "tarnwillow/containers/CHashedCollection.h"

#include <algorithm>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr char16_t kProtectPrefix[] = u"CHashedCollection::Protect Requestor: ";

// A size beyond this makes larger blocks of records only; the index grows when it must.
constexpr long kMostKeysAtFirst = 200'000;

}  // namespace

CHashedCollection::CHashedCollection(char16_t const* table_name) : name(table_name) {
    lock_name[0] = 0;
    requestor_text[0] = 0;
}

CHashedCollection::~CHashedCollection() {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    Reset();
    hold.Unlock();
    delete lock.exchange(nullptr);
}

CHashedCollection::CHashedCollection(const CHashedCollection& other)
    : CAutoDeleteableObject(other) {
    *this = other;
}

CHashedCollection& CHashedCollection::operator=(const CHashedCollection& other) {
    if (this == &other) return *this;
    size = other.size;
    index = other.index;
    raw_data = other.raw_data;
    raw_data_free_procedure = other.raw_data_free_procedure;
    records = other.records;
    resets = other.resets;
    entries = other.entries;
    name = other.name;
    lock = other.lock.load();
    wide::copy(lock_name, detail::kTextRoom, other.lock_name);
    wide::copy(requestor_text, detail::kTextRoom, other.requestor_text);
    return *this;
}

long CHashedCollection::Initialize(int new_size) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    if (index.ready()) Reset();
    size = 0;
    if (new_size < 0) return E_INVALIDARG;
    const long keys = std::min<long>(new_size, kMostKeysAtFirst);
    if (!index.allocate(static_cast<std::size_t>(keys))) return E_OUTOFMEMORY;
    size = new_size;
    records = detail::RecordPool(new_size);
    return S_OK;
}

void CHashedCollection::Reset() {
    reporting_guard(
        ExceptionLevelHandled, u"CHashedCollection::Reset", [this] { release_raw_data(); },
        no_recovery);
    release_records();
    index.release();
}

// Forgotten ahead of the call, so that a fault in there is not met again.
void CHashedCollection::release_raw_data() {
    void* data = raw_data;
    raw_data = nullptr;
    if (data != nullptr && raw_data_free_procedure != nullptr) raw_data_free_procedure(data);
}

void CHashedCollection::Associate_Raw_Data(void* data, void (*free_proc)(void*)) {
    raw_data = data;
    raw_data_free_procedure = free_proc;
}

long CHashedCollection::Get_Num_Entries() {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    return entries.Entries();
}

long CHashedCollection::Get_Indexed_Entry(int place, void** data, long* length) {
    CAutoSectionLock hold(current_lock(), nullptr, nullptr);
    const CListItem* item = entries.GetListItem(place);
    if (item == nullptr) return ERROR_NOT_FOUND;
    const auto* entry = static_cast<const HashTableEntry*>(item->value);
    if (data != nullptr) *data = entry->data;
    if (length != nullptr) *length = entry->length;
    return S_OK;
}

long CHashedCollection::Protect(char16_t const* requestor, unsigned long timeout) {
    return detail::protect({lock, lock_name, kProtectPrefix, requestor_text}, requestor, timeout);
}

long CHashedCollection::Unprotect() { return detail::leave_protected(current_lock()); }

bool CHashedCollection::Has_Protection() const { return current_lock() != nullptr; }

}  // namespace tarnwillow
