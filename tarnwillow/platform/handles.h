// The process's table of reference-counted objects behind HANDLE.
//
// A handle's value joins a slot number and the slot's generation: a handle that was closed, or that
// never was one, is told apart from a living one and is never followed as an address.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Gives the handle up; its object goes with its last user. False, with the last error
/// ERROR_INVALID_HANDLE, for a value that is no open handle.
TARNWILLOW_API bool CloseHandle(HANDLE handle);

namespace platform {

/// What a handle can stand for.
enum class ObjectKind { mutex, event, thread, process, section, file, module, key, snapshot, icon };

/// Root of the objects behind handles. The destructor gives up what the object holds.
class HandleObject {
public:
    explicit HandleObject(ObjectKind kind) : kind_(kind) {}
    virtual ~HandleObject() = default;
    HandleObject(const HandleObject&) = delete;
    HandleObject& operator=(const HandleObject&) = delete;
    ObjectKind kind() const { return kind_; }

private:
    const ObjectKind kind_;
};

/// A new handle for `object`, or null if there is no memory. Any thread.
HANDLE open_handle(std::shared_ptr<HandleObject> object);

/// The object behind an open handle of that kind, or null. It stays alive while the result is held,
/// also when another thread closes the handle.
std::shared_ptr<HandleObject> find_object(HANDLE handle, ObjectKind kind);

/// The same for a handle of any kind.
std::shared_ptr<HandleObject> find_object(HANDLE handle);

namespace detail {
extern std::atomic<std::uint64_t> closed_handles;
}

/// How many handles were ever closed: while the number stays, whatever handle was open is open.
inline std::uint64_t closed_handle_count() {
    return detail::closed_handles.load(std::memory_order_acquire);
}

/// Closes a handle of any kind. False for a value that is no open handle.
bool close_handle(HANDLE handle);

}  // namespace platform
}  // namespace tarnwillow
