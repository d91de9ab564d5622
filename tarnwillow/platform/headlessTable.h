// The table of windows without a display that all processes share.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/caughtFaults.h"
#include "tarnwillow/platform/namedObject.h"
#include "tarnwillow/platform/windowTypes.h"

namespace tarnwillow::platform::headless {

// A handle joins a record's number and the number of its use, so that the handle of a window that
// is gone is not taken for the next one in its record. Its upper bits tell its kind: those of a
// windowing system have fewer, and the host's registered windows have the top one.
inline constexpr std::uint32_t kKinds = 0xC0000000;
inline constexpr std::uint32_t kHeadless = 0x40000000;
inline constexpr std::uint32_t kWindows = 1024;
inline constexpr std::uint32_t kMostUses = (1U << 20) - 1;
inline constexpr std::size_t kTitleSize = 256;

/// The desktop, which no record has: no use has the number 0.
inline constexpr std::uint32_t kDesktop = kHeadless + 1;

enum State : std::uint32_t { kVisible = 1, kMinimised = 2, kMaximised = 4 };

struct Window {
    std::uint32_t handle;   // 0 in a free record
    std::uint32_t process;  // with `started`: whose it is
    std::uint64_t started;
    std::uint32_t owner;      // a handle, or 0
    std::uint32_t state;      // of State
    std::uint32_t activated;  // the activation at which this one came to the front last
    std::uint32_t busy;       // not 0: the program is not ready for input
    RECT normal;              // the rest of a placement
    POINT minimised, maximised;
    std::uint32_t flags;
    std::uint32_t reserved;
    char title[kTitleSize];
};
static_assert(sizeof(Window) == 328 && offsetof(Window, owner) == 16 &&
              offsetof(Window, normal) == 32 && offsetof(Window, title) == 72);

struct Table {
    std::uint32_t uses;         // of records so far
    std::uint32_t activations;  // so far
    std::uint32_t foreground;   // a handle, or 0
    std::uint32_t reserved;
    Window windows[kWindows];
};
static_assert(sizeof(Table) == 335888);

/// Holds the table for a scope; false if it cannot be had.
class Hold {
public:
    Hold();
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// Ends the thread's hold that a fault has jumped out of. A table that somebody has shortened
    /// is given up: the next hold opens it anew.
    static void abandon();

    explicit operator bool() const { return object_ != nullptr; }
    Table& table() const { return *static_cast<Table*>(object_->content()); }

    /// The living window of that handle, or null.
    Window* find(HWND window) const { return find(to_number(window)); }
    Window* find(std::uint32_t handle) const;

    static std::uint32_t to_number(HWND window) {
        const auto value = reinterpret_cast<std::uintptr_t>(window);
        return value <= UINT32_MAX ? static_cast<std::uint32_t>(value) : 0;
    }
    static HWND to_handle(std::uint32_t number) {
        return reinterpret_cast<HWND>(static_cast<std::uintptr_t>(number));
    }

private:
    NamedObject* object_ = nullptr;
};

/// An operation on the table. Where somebody has taken the table's memory away, or a pointer of the
/// caller's is bad, it gives what it gives for no window.
template <auto operation, class Signature = decltype(operation)>
struct Guarded;

template <auto operation, class Result, class... Arguments>
struct Guarded<operation, Result (*)(Arguments...)> {
    static Result call(Arguments... arguments) {
        Result result{};
        if (without_fault([&] { result = operation(arguments...); })) return result;
        Hold::abandon();
        return {};
    }
};

template <auto operation>
constexpr auto guarded = &Guarded<operation>::call;

/// Ends this process's use of the table. The next hold begins it anew.
void leave_table();

// The desktop of this process.

bool is_desktop(HWND window);
HWND desktop();
RECT primary_monitor();
std::size_t monitors(RECT* dest, std::size_t room);
bool task_bar(RECT* out);

}  // namespace tarnwillow::platform::headless
