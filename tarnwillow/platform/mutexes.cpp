#include "tarnwillow/platform/mutexes.h"

#include <cstring>
#include <memory>
#include <new>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/mutexObject.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

using platform::MutexObject;
using platform::MutexOpening;

constexpr std::size_t kNameRoom = 260;

// The one form that a name is compared in. Null is no name.
class MutexName {
public:
    explicit MutexName(char16_t const* name) {
        if (name == nullptr) return;
        fits_ = wide::bounded_length(name, kNameRoom) < kNameRoom;
        if (fits_) wide::copy(text_, kNameRoom, name);
    }
    explicit MutexName(char const* name) {
        if (name == nullptr) return;
        const std::size_t length = std::strlen(name);
        const auto copied = platform::narrow_to_wide(name, length, text_, kNameRoom - 1);
        fits_ = copied.consumed == length;
    }
    bool fits() const { return fits_; }
    bool empty() const { return text_[0] == 0; }
    char16_t const* text() const { return text_; }

private:
    char16_t text_[kNameRoom] = {};
    bool fits_ = true;
};

std::uint32_t open_mutex(const MutexName& name, MutexOpening opening, HANDLE& handle,
                         bool& existed) {
    if (!name.fits()) return ERROR_FILENAME_EXCED_RANGE;
    if (name.empty() && opening == MutexOpening::existing) return ERROR_INVALID_PARAMETER;
    try {
        std::shared_ptr<MutexObject> mutex;
        const std::uint32_t error = MutexObject::open(name.text(), opening, mutex, existed);
        if (error != 0) return error;
        handle = platform::open_handle(mutex);
        if (handle == nullptr && !existed) mutex->release();
    } catch (const std::bad_alloc&) {
        handle = nullptr;
    }
    return handle != nullptr ? 0 : ERROR_NOT_ENOUGH_MEMORY;
}

HANDLE open_told(const MutexName& name, MutexOpening opening) {
    const platform::ForcedEndPause pause;
    HANDLE handle = nullptr;
    bool existed = false;
    std::uint32_t error = open_mutex(name, opening, handle, existed);
    if (error == 0 && existed && opening != MutexOpening::existing) error = ERROR_ALREADY_EXISTS;
    SetLastError(error);
    return handle;
}

MutexOpening making(bool initial_owner) {
    return initial_owner ? MutexOpening::make_held : MutexOpening::make;
}

}  // namespace

HANDLE CreateMutexA(void const*, bool initial_owner, char const* name) {
    return open_told(MutexName(name), making(initial_owner));
}

HANDLE CreateMutexW(void const*, bool initial_owner, char16_t const* name) {
    return open_told(MutexName(name), making(initial_owner));
}

HANDLE OpenMutexA(std::uint32_t, bool, char const* name) {
    return open_told(MutexName(name), MutexOpening::existing);
}

HANDLE OpenMutexW(std::uint32_t, bool, char16_t const* name) {
    return open_told(MutexName(name), MutexOpening::existing);
}

bool ReleaseMutex(HANDLE handle) {
    const platform::ForcedEndPause pause;
    if (MutexObject::release_latest(handle)) return true;
    const auto mutex = platform::find_object(handle, platform::ObjectKind::mutex);
    if (mutex == nullptr) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    if (static_cast<MutexObject&>(*mutex).release()) return true;
    SetLastError(ERROR_NOT_OWNER);
    return false;
}

}  // namespace tarnwillow
