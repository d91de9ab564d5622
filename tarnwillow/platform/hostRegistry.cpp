#include "tarnwillow/platform/hostRegistry.h"

#include <new>

#include "tarnwillow/platform/forcedEnd.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/processIdentity.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint32_t kHostBit = 0x80000000;
constexpr int kDeepest = 256;

std::uintptr_t number_of(HWND window) { return reinterpret_cast<std::uintptr_t>(window); }
HWND to_handle(std::uintptr_t number) { return reinterpret_cast<HWND>(number); }

/// Processes begin elsewhere, so that a handle that strayed from one to another means nothing
/// there.
std::uint32_t first_number() {
    const ProcessIdentity self = current_process();
    const std::uint64_t mixed =
        (self.started ^ (std::uint64_t{self.id} << 32)) * 0x9E3779B97F4A7C15;
    return static_cast<std::uint32_t>(mixed >> 32) | kHostBit;
}

std::uint32_t behind(std::uint32_t number) { return (number + 1) | kHostBit; }

std::atomic<bool> registry_gone{false};

struct Keeper {
    ~Keeper() { registry_gone = true; }
    HostRegistry registry;
};

}  // namespace

HostRegistry* host_registry() {
    if (registry_gone) return nullptr;
    static Keeper keeper;
    static const bool noted = note_fork_lock(keeper.registry.lock_, nullptr);
    static_cast<void>(noted);
    return &keeper.registry;
}

std::uint32_t HostRegistry::free_number() const {
    std::uint32_t number = last_ == 0 ? first_number() : behind(last_);
    while (entries_.count(number) != 0)
        number = behind(number);
    return number;
}

HWND HostRegistry::add(IHostWindow* window, HWND parent, int item) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    try {
        const std::uint32_t number = free_number();
        entries_.emplace(number, Entry{window, number_of(parent), item});
        last_ = number;
        return to_handle(number);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

bool HostRegistry::remove(HWND window) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    if (entries_.erase(number_of(window)) == 0) return false;
    for (auto& [number, entry] : entries_)
        if (entry.parent == number_of(window)) entry.parent = 0;
    return true;
}

IHostWindow* HostRegistry::find(HWND window) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    const auto found = entries_.find(number_of(window));
    return found != entries_.end() ? found->second.window : nullptr;
}

HWND HostRegistry::parent(HWND window) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    const auto found = entries_.find(number_of(window));
    return found != entries_.end() ? to_handle(found->second.parent) : nullptr;
}

HWND HostRegistry::child(HWND parent, int item) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    for (const auto& [number, entry] : entries_)
        if (entry.parent == number_of(parent) && entry.item == item) return to_handle(number);
    return nullptr;
}

bool HostRegistry::is_below(const Entry& entry, std::uintptr_t top) const {
    std::uintptr_t above = entry.parent;
    for (int depth = 0; above != 0 && depth < kDeepest; ++depth) {
        if (above == top) return true;
        const auto found = entries_.find(above);
        above = found != entries_.end() ? found->second.parent : 0;
    }
    return false;
}

HWND HostRegistry::next_below(HWND top, HWND after) {
    const ForcedEndPause pause;
    const std::lock_guard hold(lock_);
    for (auto next = entries_.upper_bound(number_of(after)); next != entries_.end(); ++next)
        if (is_below(next->second, number_of(top))) return to_handle(next->first);
    return nullptr;
}

}  // namespace tarnwillow::platform
