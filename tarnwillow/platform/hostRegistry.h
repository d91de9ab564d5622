// Which windows the host has registered.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>

#include "tarnwillow/platform/IHostWindow.h"

namespace tarnwillow::platform {

/// A window of the host's is called only outside of the lock: a fault in it leaves nothing held,
/// and it may register and unregister.
class HostRegistry {
public:
    HWND add(IHostWindow* window, HWND parent, int item);
    bool remove(HWND window);

    IHostWindow* find(HWND window);
    HWND parent(HWND window);
    HWND child(HWND parent, int item);

    /// The first window below `top` whose number is above that of `after`, or null.
    HWND next_below(HWND top, HWND after);

private:
    struct Entry {
        IHostWindow* window;
        std::uintptr_t parent;  // a handle of any kind, or 0
        int item;
    };

    std::uint32_t free_number() const;
    bool is_below(const Entry& entry, std::uintptr_t top) const;

    std::mutex lock_;
    std::map<std::uintptr_t, Entry> entries_;
    std::uint32_t last_ = 0;  // 0 before the first

    friend HostRegistry* host_registry();
};

/// Null at the end of the process, when it is gone.
HostRegistry* host_registry();

}  // namespace tarnwillow::platform
