#include "tarnwillow/platform/handles.h"

#include <cstdint>
#include <mutex>
#include <new>
#include <utility>
#include <vector>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace platform {

std::atomic<std::uint64_t> detail::closed_handles{0};

namespace {

struct Slot {
    std::shared_ptr<HandleObject> object;  // null while the slot is free
    std::uint32_t generation = 1;          // raised when the slot is freed
};

// Set when the table goes, at the end of the process or of the library. Objects that end later may
// still ask for their handles: none is open any more.
std::atomic<bool> table_gone{false};

struct HandleTable {
    ~HandleTable() { table_gone = true; }

    std::mutex lock;
    std::vector<Slot> slots;
    std::vector<std::uint32_t> free_slots;  // always has room for every slot

    Slot* find(HANDLE handle);
    std::uint32_t take_slot();
};

// Slot numbers start at 1 and are shifted by 2, so that no handle is null or the value -1.
constexpr int kSlotShift = 2;
constexpr int kGenerationShift = 32;
constexpr std::size_t kMostSlots = std::size_t{1} << 24;

HANDLE make_handle(std::uint32_t slot, std::uint32_t generation) {
    const std::uint64_t value = (static_cast<std::uint64_t>(generation) << kGenerationShift) |
                                (static_cast<std::uint64_t>(slot + 1) << kSlotShift);
    return reinterpret_cast<HANDLE>(static_cast<std::uintptr_t>(value));
}

Slot* HandleTable::find(HANDLE handle) {
    const std::uint64_t value = reinterpret_cast<std::uintptr_t>(handle);
    const std::uint64_t number = (value & 0xFFFFFFFF) >> kSlotShift;
    if (number == 0 || number > slots.size()) return nullptr;
    if (handle != make_handle(static_cast<std::uint32_t>(number - 1), slots[number - 1].generation))
        return nullptr;
    Slot& slot = slots[number - 1];
    return slot.object != nullptr ? &slot : nullptr;
}

std::uint32_t HandleTable::take_slot() {
    if (!free_slots.empty()) {
        const std::uint32_t slot = free_slots.back();
        free_slots.pop_back();
        return slot;
    }
    if (slots.size() >= kMostSlots) throw std::bad_alloc();
    if (free_slots.capacity() <= slots.size()) free_slots.reserve(2 * slots.size() + 8);
    slots.emplace_back();
    return static_cast<std::uint32_t>(slots.size() - 1);
}

HandleTable& table() {
    static HandleTable the_table;
    static const bool noted = note_fork_lock(the_table.lock, nullptr);
    static_cast<void>(noted);
    return the_table;
}

}  // namespace

HANDLE open_handle(std::shared_ptr<HandleObject> object) {
    if (object == nullptr || table_gone) return nullptr;
    const ForcedEndPause pause;
    try {
        const std::lock_guard hold(table().lock);
        const std::uint32_t number = table().take_slot();
        Slot& slot = table().slots[number];
        slot.object = std::move(object);
        return make_handle(number, slot.generation);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::shared_ptr<HandleObject> find_object(HANDLE handle) {
    const ForcedEndPause pause;
    if (table_gone) return nullptr;
    const std::lock_guard hold(table().lock);
    const Slot* slot = table().find(handle);
    return slot != nullptr ? slot->object : nullptr;
}

std::shared_ptr<HandleObject> find_object(HANDLE handle, ObjectKind kind) {
    auto object = find_object(handle);
    return object != nullptr && object->kind() == kind ? object : nullptr;
}

bool close_handle(HANDLE handle) {
    const ForcedEndPause pause;
    if (table_gone) return false;
    std::shared_ptr<HandleObject>
        last;  // outlives the hold: its destructor may close other handles
    const std::lock_guard hold(table().lock);
    Slot* slot = table().find(handle);
    if (slot == nullptr) return false;
    last = std::move(slot->object);
    slot->object = nullptr;
    ++slot->generation;
    ++detail::closed_handles;
    table().free_slots.push_back(static_cast<std::uint32_t>(slot - table().slots.data()));
    return true;
}

}  // namespace platform

bool CloseHandle(HANDLE handle) {
    if (platform::close_handle(handle)) return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

}  // namespace tarnwillow
