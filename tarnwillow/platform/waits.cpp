#include "tarnwillow/platform/waits.h"

#include <algorithm>
#include <atomic>
#include <memory>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/multipleWait.h"
#include "tarnwillow/platform/mutexObject.h"

namespace tarnwillow {

namespace {

using platform::Taken;
using platform::Waitable;

std::atomic<MessagePump const*> message_pump{nullptr};

bool can_be_waited_for(platform::ObjectKind kind) {
    using platform::ObjectKind;
    return kind == ObjectKind::mutex || kind == ObjectKind::event || kind == ObjectKind::thread ||
           kind == ObjectKind::process;
}

std::shared_ptr<Waitable> find_waitable(HANDLE handle) {
    auto object = platform::find_object(handle);
    if (object == nullptr || !can_be_waited_for(object->kind())) return nullptr;
    return std::static_pointer_cast<Waitable>(std::move(object));
}

std::uint32_t fail(long error) {
    SetLastError(static_cast<std::uint32_t>(error));
    return WAIT_FAILED;
}

std::uint32_t result_of(Taken taken, std::uint32_t index) {
    if (taken == Taken::yes) return WAIT_OBJECT_0 + index;
    if (taken == Taken::abandoned) return WAIT_ABANDONED_0 + index;
    if (taken == Taken::no) return WAIT_TIMEOUT;
    return fail(ERROR_NOT_ENOUGH_MEMORY);
}

// The objects of one wait, held for its duration.
struct WaitSet {
    std::shared_ptr<Waitable> held[MAXIMUM_WAIT_OBJECTS];
    Waitable* objects[MAXIMUM_WAIT_OBJECTS];

    bool find(std::uint32_t count, HANDLE const* handles) {
        for (std::uint32_t i = 0; i < count; ++i) {
            held[i] = find_waitable(handles[i]);
            objects[i] = held[i].get();
            if (objects[i] == nullptr) return false;
        }
        return true;
    }
    bool has_doubles(std::uint32_t count) {
        for (std::uint32_t i = 1; i < count; ++i)
            if (std::find(objects, objects + i, objects[i]) != objects + i) return true;
        return false;
    }
};

std::uint32_t wait_for_handles(std::uint32_t count, HANDLE const* handles, bool all,
                               std::uint32_t milliseconds, MessagePump const* pump) {
    const platform::ForcedEndPause pause;
    WaitSet set;
    if (handles == nullptr && count > 0) return fail(ERROR_INVALID_PARAMETER);
    if (!set.find(count, handles)) return fail(ERROR_INVALID_HANDLE);
    if (all && set.has_doubles(count)) return fail(ERROR_INVALID_PARAMETER);
    const auto outcome =
        platform::wait_for_objects({set.objects, count, all && count > 0, milliseconds, pump});
    return outcome.message ? WAIT_OBJECT_0 + count : result_of(outcome.taken, outcome.index);
}

std::uint32_t wait_for_one(Waitable& object, std::uint32_t milliseconds) {
    Waitable* const alone = &object;
    return result_of(platform::wait_for_objects({&alone, 1, false, milliseconds, nullptr}).taken,
                     0);
}

}  // namespace

std::uint32_t WaitForSingleObject(HANDLE handle, std::uint32_t milliseconds) {
    const platform::ForcedEndPause pause;
    const std::uint64_t closed_handles = platform::closed_handle_count();
    auto object = find_waitable(handle);
    if (object == nullptr) return fail(ERROR_INVALID_HANDLE);
    if (object->kind() != platform::ObjectKind::mutex) return wait_for_one(*object, milliseconds);
    auto mutex = std::static_pointer_cast<platform::MutexObject>(std::move(object));
    return result_of(platform::MutexObject::wait_for(mutex, milliseconds, handle, closed_handles),
                     0);
}

std::uint32_t WaitForMultipleObjectsEx(std::uint32_t count, HANDLE const* handles, bool wait_all,
                                       std::uint32_t milliseconds, bool) {
    if (count == 0 || count > MAXIMUM_WAIT_OBJECTS) return fail(ERROR_INVALID_PARAMETER);
    return wait_for_handles(count, handles, wait_all, milliseconds, nullptr);
}

std::uint32_t MsgWaitForMultipleObjects(std::uint32_t count, HANDLE const* handles, bool wait_all,
                                        std::uint32_t milliseconds, std::uint32_t) {
    if (count >= MAXIMUM_WAIT_OBJECTS) return fail(ERROR_INVALID_PARAMETER);
    return wait_for_handles(count, handles, wait_all, milliseconds, message_pump);
}

MessagePump const* Set_Message_Pump_Hook(MessagePump const* pump) {
    return message_pump.exchange(pump);
}

void platform::dispatch_message() {
    MessagePump const* const pump = message_pump;
    if (pump != nullptr && pump->waiting()) pump->dispatch();
}

}  // namespace tarnwillow
