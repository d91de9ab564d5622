#include "tarnwillow/platform/events.h"

#include <memory>
#include <new>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/waitable.h"

namespace tarnwillow {

namespace {

class Event : public platform::SignalObject {
public:
    Event(bool manual_reset, bool set)
        : SignalObject(platform::ObjectKind::event), manual_reset_(manual_reset), set_(set) {}

    platform::Taken take() override {
        if (!set_) return platform::Taken::no;
        if (!manual_reset_) set_ = false;
        return platform::Taken::yes;
    }
    void put_back(platform::Taken) override { set_ = true; }

    void change(bool set) {
        const std::lock_guard hold(platform::signal_lock());
        if (set && !set_) {
            set_ = true;
            wake_watchers();
        }
        set_ = set;
    }

private:
    const bool manual_reset_;
    bool set_;
};

HANDLE create(bool manual_reset, bool set, bool named) {
    const platform::ForcedEndPause pause;
    HANDLE event = nullptr;
    try {
        if (!named) event = platform::open_handle(std::make_shared<Event>(manual_reset, set));
    } catch (const std::bad_alloc&) {
        event = nullptr;
    }
    if (event == nullptr)
        SetLastError(
            static_cast<std::uint32_t>(named ? ERROR_NOT_SUPPORTED : ERROR_NOT_ENOUGH_MEMORY));
    return event;
}

bool change(HANDLE handle, bool set) {
    const platform::ForcedEndPause pause;
    const auto event = platform::find_object(handle, platform::ObjectKind::event);
    if (event == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    static_cast<Event&>(*event).change(set);
    return true;
}

}  // namespace

HANDLE CreateEventA(void const*, bool manual_reset, bool set, char const* name) {
    return create(manual_reset, set, name != nullptr && *name != 0);
}

HANDLE CreateEventW(void const*, bool manual_reset, bool set, char16_t const* name) {
    return create(manual_reset, set, name != nullptr && *name != 0);
}

bool SetEvent(HANDLE event) { return change(event, true); }
bool ResetEvent(HANDLE event) { return change(event, false); }

}  // namespace tarnwillow
