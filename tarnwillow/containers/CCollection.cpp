#include "tarnwillow/containers/CCollection.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "tarnwillow/containers/threadItems.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

// Of the lists' texts: the prefix that Protect puts in front of the requestor.
constexpr char16_t kProtectPrefix[] = u"CCollection::Protect Requestor: ";

bool equal(char const* a, char const* b) { return std::strcmp(a, b) == 0; }
bool equal(char16_t const* a, char16_t const* b) { return wide::compare(a, b) == 0; }

// With the terminator. A null text has the size -1, which no operation accepts.
long byte_size(char const* text) {
    return text != nullptr ? static_cast<long>(std::strlen(text)) + 1 : -1;
}
long byte_size(char16_t const* text) {
    return text != nullptr ? static_cast<long>((wide::length(text) + 1) * sizeof(char16_t)) : -1;
}

template <class Number>
void* as_value(Number number) {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(number));
}

bool fits_size(long size) { return size >= 0 && size <= std::numeric_limits<std::int32_t>::max(); }

bool is_owned(const CListItem* item) { return (item->flags & kOwnedCopy) != 0; }

}  // namespace

CCollection::CCollection(char16_t const* list_name)
    : name(list_name != nullptr ? list_name : u"UNKNOWN") {
    lock_name[0] = 0;
    requestor_text[0] = 0;
    detail::collection_constructed();
}

CCollection::~CCollection() {
    CAutoSectionLock hold(current_lock(), u"CCollection::~CCollection", name);
    while (head != nullptr)
        take_out(head);
    detail::collection_destroyed();
    hold.Unlock();
    delete lock.exchange(nullptr);
    // Volatile: nothing reads the tag through this object any more, others may through a stale
    // pointer.
    *static_cast<volatile std::uint32_t*>(&tag) = kTagDestroyed;
}

CCollection& CCollection::operator=(const CCollection& other) {
    if (this == &other) return *this;
    tag = other.tag;
    head = other.head;
    tail = other.tail;
    count = other.count;
    sort_procedure = other.sort_procedure;
    allocation_procedure = other.allocation_procedure;
    free_procedure = other.free_procedure;
    former_free_procedure = other.former_free_procedure;
    sort_context = other.sort_context;
    lock = other.lock.load();
    wide::copy(lock_name, detail::kTextRoom, other.lock_name);
    name = other.name;
    return *this;
}

// Items.

CListItem* CCollection::CreateNewItem(void* value, CListItem* prev, long flags, long size) {
    CAutoSectionLock hold(current_lock(), u"CCollection::CreateNewItem", name);
    return CreateNewItem(value, prev, nullptr, flags, size);
}

CListItem* CCollection::CreateNewItem(void* value, CListItem* prev, CListItem* next, long flags,
                                      long size) {
    CListItem* item = detail::take_pool_item();
    *item = {prev, value, next, static_cast<std::uint32_t>(flags), static_cast<std::int32_t>(size)};
    if (prev != nullptr) prev->next = item;
    if (next != nullptr) next->prev = item;
    return item;
}

void CCollection::DeleteItem(CListItem* item) {
    if (item == nullptr) return;
    if (is_owned(item)) free_copy(item);
    detail::return_pool_item(item);
}

void CCollection::free_copy(const CListItem* item) {
    const bool former = (item->flags & kFormerCopy) != 0;
    (former ? former_free_procedure : free_procedure)(item->value);
}

void CCollection::append(void* value, long flags, long size) {
    CListItem* item = CreateNewItem(value, tail, nullptr, flags, size);
    if (head == nullptr) head = item;
    tail = item;
    ++count;
}

void CCollection::prepend(void* value, long flags, long size) {
    CListItem* item = CreateNewItem(value, nullptr, head, flags, size);
    if (tail == nullptr) tail = item;
    head = item;
    ++count;
}

// Gives the item's value, or null if that was a copy, which then is gone.
void* CCollection::take_out(CListItem* item) {
    void* value = item->value;
    unlink(item);
    if (is_owned(item)) [[unlikely]] {
        free_copy(item);
        value = nullptr;
    }
    detail::return_pool_item(item);
    return value;
}

void CCollection::Remove_Item(CListItem* item) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Remove_Item", name);
    take_out(item);
}

CListItem* CCollection::GetListItem(long index) {
    CAutoSectionLock hold(current_lock(), u"CCollection::GetListItem", name);
    if (index < 0 || index >= count) return nullptr;
    CListItem* item = head;
    for (; index > 0 && item != nullptr; --index)
        item = item->next;
    return item;
}

void* CCollection::contentsOfItem(short index) {
    CAutoSectionLock hold(current_lock(), u"CCollection::contentsOfItem", name);
    CListItem* item = GetListItem(index);
    return item != nullptr ? &item->value : nullptr;
}

CListItem* CCollection::find_item(void* value) const {
    CListItem* item = head;
    while (item != nullptr && item->value != value)
        item = item->next;
    return item;
}

template <class Char>
CListItem* CCollection::find_text(Char const* text) const {
    if (text == nullptr) return nullptr;
    for (CListItem* item = head; item != nullptr; item = item->next)
        if (item->value != nullptr && equal(static_cast<Char const*>(item->value), text))
            return item;
    return nullptr;
}

// Adding.

bool CCollection::Add(void* value) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Add", name);
    append(value, 0, 0);
    return true;
}

bool CCollection::Add(int value) { return Add(as_value(value)); }
bool CCollection::Add(long value) { return Add(as_value(value)); }
bool CCollection::Add(unsigned value) { return Add(as_value(value)); }
bool CCollection::Add(unsigned long value) { return Add(as_value(value)); }

bool CCollection::Insert(void* value, long index) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Insert", name);
    if (index < 0 || count == 0) return Push(value);
    if (index >= count - 1) return Add(value);
    CListItem* before = GetListItem(index);
    CreateNewItem(value, before, before->next, 0, 0);
    ++count;
    return true;
}

bool CCollection::Push(void* value) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Push", name);
    prepend(value, 0, 0);
    return true;
}

bool CCollection::Push(int value) { return Push(as_value(value)); }
bool CCollection::Push(long value) { return Push(as_value(value)); }
bool CCollection::Push(unsigned value) { return Push(as_value(value)); }
bool CCollection::Push(unsigned long value) { return Push(as_value(value)); }

void* CCollection::link_copy(void const* source, long size, Link link) {
    if (!fits_size(size) || (source == nullptr && size > 0)) return nullptr;
    void* copy = allocation_procedure(static_cast<unsigned long>(size));
    if (copy == nullptr) return nullptr;
    if (size > 0) std::memcpy(copy, source, static_cast<std::size_t>(size));
    try {
        (this->*link)(copy, kOwnedCopy, size);
    } catch (...) {
        free_procedure(copy);
        throw;
    }
    return copy;
}

void* CCollection::Add_Volatile(void const* source, long size) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Add_Volatile", name);
    return link_copy(source, size, &CCollection::append);
}

bool CCollection::Push_Volatile(void const* source, long size) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Push_Volatile", name);
    return link_copy(source, size, &CCollection::prepend) != nullptr;
}

bool CCollection::Add_String(char const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Add_String", name);
    return Add_Volatile(text, byte_size(text)) != nullptr;
}

bool CCollection::Add_String(char16_t const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Add_String", name);
    return Add_Volatile(text, byte_size(text)) != nullptr;
}

bool CCollection::Push_String(char const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Push_String", name);
    return Push_Volatile(text, byte_size(text));
}

bool CCollection::Push_String(char16_t const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Push_String", name);
    return Push_Volatile(text, byte_size(text));
}

// Removing.

void* CCollection::Pop() {
    CAutoSectionLock hold(current_lock(), u"CCollection::Pop", name);
    return head != nullptr ? take_out(head) : nullptr;
}

bool CCollection::Pop_Volatile(void* buffer, int size, int* copied) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Pop_Volatile", name);
    if (head == nullptr || !is_owned(head)) return false;
    const int fitting = std::max(0, std::min(size, head->size));
    if (fitting > 0) std::memcpy(buffer, head->value, static_cast<std::size_t>(fitting));
    if (copied != nullptr) *copied = fitting;
    take_out(head);
    return true;
}

void* CCollection::Remove(void* value) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Remove", name);
    CListItem* item = find_item(value);
    return item != nullptr ? take_out(item) : nullptr;
}

void* CCollection::Remove_Indexed_Item(long index) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Remove_Indexed_Item", name);
    CListItem* item = GetListItem(index);
    return item != nullptr ? Remove(item->value) : nullptr;
}

bool CCollection::Remove_String(char const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Remove_String", name);
    CListItem* item = find_text(text);
    if (item != nullptr) Remove(item->value);
    return item != nullptr;
}

bool CCollection::Remove_String(char16_t const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Remove_String", name);
    CListItem* item = find_text(text);
    if (item != nullptr) Remove(item->value);
    return item != nullptr;
}

void CCollection::Clear() {
    CAutoSectionLock hold(current_lock(), u"CCollection::Clear", name);
    while (head != nullptr)
        take_out(head);
}

void CCollection::Clear_List_As_Pointers() {
    while (Entries() > 0) {
        void* value = Pop();
        if (value == nullptr) continue;
        reporting_guard(
            ExceptionLevelHandled, u"CCollection::Clear_List_As_Pointers",
            [&] { free_procedure(value); }, no_recovery);
    }
}

// Reading.

long CCollection::Entries() {
    CAutoSectionLock hold(current_lock(), nullptr, name);
    return count;
}

void* CCollection::Peek() {
    CAutoSectionLock hold(current_lock(), u"CCollection::Peek", name);
    return head != nullptr ? head->value : nullptr;
}

void* CCollection::Get_Tail_Value() const { return tail != nullptr ? tail->value : nullptr; }

void* CCollection::Get_Indexed_Entry(long index) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Get_Indexed_Entry", name);
    CListItem* item = GetListItem(index);
    return item != nullptr ? item->value : nullptr;
}

long CCollection::Contains(void* value) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Contains", name);
    long index = 0;
    for (const CListItem* item = head; item != nullptr; item = item->next, ++index)
        if (item->value == value) return index;
    return -1;
}

bool CCollection::Contains_String(char const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Contains_String", name);
    return find_text(text) != nullptr;
}

bool CCollection::Contains_String(char16_t const* text) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Contains_String", name);
    return find_text(text) != nullptr;
}

void* CCollection::Contains_Ex(unsigned long (*proc)(void* value, unsigned long data), void* data) {
    CAutoSectionLock hold(current_lock(), u"CCollection::Contains_Ex", name);
    for (const CListItem* item = head; item != nullptr; item = item->next)
        if (proc(item->value, reinterpret_cast<unsigned long>(data)) != 0) return item->value;
    return nullptr;
}

// Memory, order and protection.

void CCollection::Set_Mem_Procs(AllocationProc allocate, FreeProc free) {
    allocation_procedure = allocate;
    free_procedure = free;
}

void CCollection::Use_COM_Memory() {
    CAutoSectionLock hold(current_lock(), u"CCollection::Use_COM_Memory", name);
    if (allocation_procedure == __COM_Alloc_Proc) return;
    former_free_procedure = free_procedure;
    Set_Mem_Procs(__COM_Alloc_Proc, __COM_Free_Proc);
    bool moving = true;
    for (CListItem* item = head; item != nullptr; item = item->next) {
        if (!is_owned(item)) continue;
        item->flags |= kFormerCopy;
        moving = moving && move_copy(item);
    }
    if (!moving) throw int{-1};
}

bool CCollection::move_copy(CListItem* item) {
    void* copy = allocation_procedure(static_cast<unsigned long>(item->size));
    if (copy == nullptr) return false;
    std::memcpy(copy, item->value, static_cast<std::size_t>(item->size));
    free_copy(item);
    item->value = copy;
    item->flags &= ~kFormerCopy;
    return true;
}

void CCollection::Set_Sort_Callback(SortProc proc, void* context) {
    sort_procedure = proc;
    sort_context = context;
}

long CCollection::Protect(char16_t const* requestor, unsigned long timeout) {
    return detail::protect({lock, lock_name, kProtectPrefix, requestor_text}, requestor, timeout);
}

long CCollection::Unprotect() { return detail::leave_protected(current_lock()); }

bool CCollection::Has_Protection() const { return current_lock() != nullptr; }

bool CCollection::Validate_Object(CCollection* collection) {
    return detail::has_living_tag(collection);
}

}  // namespace tarnwillow
