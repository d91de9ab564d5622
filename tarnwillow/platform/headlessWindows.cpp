#include "tarnwillow/platform/headlessWindows.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>

#include "tarnwillow/platform/caughtFaults.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/namedObject.h"
#include "tarnwillow/platform/processIdentity.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::platform {

namespace {

// The shared table. A handle joins a record's number and the number of its use, so that the handle
// of a window that is gone is not taken for the next one in its record.
constexpr std::uint32_t kWindows = 1024;
constexpr std::uint32_t kMostUses = (1U << 21) - 1;
constexpr std::size_t kTitleSize = 256;

enum State : std::uint32_t { kVisible = 1, kMinimised = 2 };

struct Window {
    std::uint32_t handle;   // 0 in a free record
    std::uint32_t process;  // with `started`: whose it is
    std::uint64_t started;
    std::uint32_t owner;      // a handle, or 0
    std::uint32_t state;      // of State
    std::uint32_t activated;  // the activation at which this one came to the front last
    std::uint32_t busy;       // not 0: the program is not ready for input
    char title[kTitleSize];
};
static_assert(sizeof(Window) == 288 && offsetof(Window, owner) == 16 &&
              offsetof(Window, title) == 32);

struct Table {
    std::uint32_t uses;         // of records so far
    std::uint32_t activations;  // so far
    std::uint32_t foreground;   // a handle, or 0
    std::uint32_t reserved;
    Window windows[kWindows];
};
static_assert(sizeof(Table) == 294928);

// The system drops the lock with the process that holds it. It belongs to the open file: a mutex
// keeps the threads of the process apart.
constexpr off_t kTableLock = (off_t{1} << 60) + 16;

void lock_file(int file, short kind) {
    struct flock lock {};
    lock.l_type = kind;
    lock.l_whence = SEEK_SET;
    lock.l_start = kTableLock;
    lock.l_len = 1;
    while (fcntl(file, F_OFD_SETLKW, &lock) != 0 && errno == EINTR) {
    }
}

/// A new table goes on elsewhere than the one before it, whose handles may still be remembered.
std::uint32_t begin_somewhere(void* content) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const auto moment = static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
                        static_cast<std::uint64_t>(now.tv_nsec) / 1000;
    static_cast<Table*>(content)->uses = static_cast<std::uint32_t>(moment % kMostUses);
    return 0;
}

struct Attachment {
    std::mutex lock;
    std::unique_ptr<NamedObject> object;

    bool attach() {
        if (object != nullptr) return true;
        try {
            auto opened = std::make_unique<NamedObject>();
            if (opened->open({"windows", u"headless", sizeof(Table), true, begin_somewhere}) != 0)
                return false;
            object = std::move(opened);
            return true;
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
};

Attachment& attachment() {
    static Attachment the_attachment;
    static const bool noted = note_fork_lock(the_attachment.lock, nullptr);
    static_cast<void>(noted);
    return the_attachment;
}

// Whether this thread holds the table, as far as a fault can come in between.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool holding = false;

/// Holds the table for a scope; false if it cannot be had.
class Hold {
public:
    Hold() {
        attachment().lock.lock();
        if (attachment().attach()) object_ = attachment().object.get();
        if (object_ != nullptr) lock_file(object_->descriptor(), F_WRLCK);
        holding = true;
    }
    ~Hold() {
        holding = false;
        if (object_ != nullptr) lock_file(object_->descriptor(), F_UNLCK);
        attachment().lock.unlock();
    }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    /// Ends the hold that a fault has jumped out of. The table is no longer the one that was
    /// opened: the next hold opens it anew.
    static void abandon() {
        if (!holding) return;
        holding = false;
        attachment().object.reset();
        attachment().lock.unlock();
    }

    explicit operator bool() const { return object_ != nullptr; }
    Table& table() const { return *static_cast<Table*>(object_->content()); }

    /// The living window of that handle, or null.
    Window* find(HWND window) const { return find(to_number(window)); }
    Window* find(std::uint32_t handle) const {
        if (object_ == nullptr || handle == 0) return nullptr;
        Window& found = table().windows[handle % kWindows];
        return found.handle == handle && is_running({found.process, found.started}) ? &found
                                                                                    : nullptr;
    }

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

/// An operation on the table. Where somebody has taken the table's memory away it gives what it
/// gives for no window.
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

bool is_own(Window const* window) {
    return window != nullptr && window->process == static_cast<std::uint32_t>(getpid());
}

std::size_t copy_text(char* dest, std::size_t size, char const* source, std::size_t length) {
    const std::size_t count = std::min(size - 1, length);
    std::memmove(dest, source, count);
    dest[count] = 0;
    return count;
}

void give_title(Window& window, char const* title) {
    std::memset(window.title, 0, kTitleSize);
    copy_text(window.title, kTitleSize, title, std::strlen(title));
}

/// `changed` says that the waiters may look again.
void futex(std::uint32_t& word, int operation, std::uint32_t value, timespec const* timeout) {
    syscall(SYS_futex, &word, operation, value, timeout, nullptr, 0);
}

// The provider's operations.

bool is_window(HWND window) { return Hold().find(window) != nullptr; }

std::uint32_t process_of(HWND window) {
    const Hold hold;
    Window const* const found = hold.find(window);
    return found != nullptr ? found->process : 0;
}

std::size_t title_of(HWND window, char* dest, std::size_t size) {
    dest[0] = 0;
    const Hold hold;
    Window const* const found = hold.find(window);
    if (found == nullptr) return 0;
    char title[kTitleSize];
    std::memcpy(title, found->title, sizeof title);
    return copy_text(dest, size, title, strnlen(title, kTitleSize - 1));
}

bool set_title(HWND window, char const* title) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found != nullptr) give_title(*found, title);
    return found != nullptr;
}

bool has_state(HWND window, State state) {
    const Hold hold;
    Window const* const found = hold.find(window);
    return found != nullptr && (found->state & state) != 0;
}

bool is_visible(HWND window) { return has_state(window, kVisible); }
bool is_minimised(HWND window) { return has_state(window, kMinimised); }

bool show(HWND window, int command) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    const bool was_visible = (found->state & kVisible) != 0;
    switch (command) {
        case SW_HIDE:
            found->state &= ~kVisible;
            break;
        case SW_SHOW:
            found->state |= kVisible;
            break;
        case SW_SHOWMINIMIZED:
        case SW_MINIMIZE:
            found->state |= kVisible | kMinimised;
            break;
        case SW_SHOWNORMAL:
        case SW_RESTORE:
            found->state = kVisible;
            break;
        default:
            break;
    }
    return was_visible;
}

bool set_foreground(HWND window) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (found == nullptr) return false;
    found->activated = ++hold.table().activations;
    hold.table().foreground = found->handle;
    return true;
}

HWND foreground() {
    const Hold hold;
    if (!hold) return nullptr;
    Window const* const found = hold.find(hold.table().foreground);
    return found != nullptr ? Hold::to_handle(found->handle) : nullptr;
}

HWND last_active_popup(HWND window) {
    const Hold hold;
    Window const* latest = hold.find(window);
    if (latest == nullptr) return nullptr;
    const std::uint32_t owner = latest->handle;
    for (const Window& popup : hold.table().windows) {
        if (popup.handle == 0 || popup.owner != owner || popup.activated <= latest->activated)
            continue;
        if (hold.find(popup.handle) == &popup) latest = &popup;
    }
    return Hold::to_handle(latest->handle);
}

/// The window's word that tells whether its program is busy, if it is; null if not. `*gone` is set
/// if there is no such window.
std::uint32_t* busy_word(HWND window, bool* gone) {
    const Hold hold;
    Window* const found = hold.find(window);
    *gone = found == nullptr;
    return found != nullptr && found->busy != 0 ? &found->busy : nullptr;
}

bool wait_until_ready(HWND window, std::uint32_t milliseconds) {
    // A program that dies while it is waited for wakes nobody.
    constexpr std::uint32_t kLook = 100;
    const std::uint32_t started = GetTickCount();
    for (;;) {
        bool gone = false;
        std::uint32_t* const busy = busy_word(window, &gone);
        if (busy == nullptr) return !gone;
        const std::uint32_t waited = GetTickCount() - started;
        if (waited >= milliseconds) return false;
        const std::uint32_t turn = std::min(milliseconds - waited, kLook);
        const timespec timeout{0, static_cast<long>(turn) * 1000000};
        futex(*busy, FUTEX_WAIT, 1, &timeout);
    }
}

constexpr WindowProvider kHeadless{
    guarded<is_window>,  guarded<process_of>,      guarded<title_of>,
    guarded<set_title>,  guarded<set_foreground>,  guarded<show>,
    guarded<is_visible>, guarded<is_minimised>,    guarded<last_active_popup>,
    guarded<foreground>, guarded<wait_until_ready>};

/// A record that no living window has, or null.
Window* free_record(Table& table) {
    for (Window& window : table.windows)
        if (window.handle == 0 || !is_running({window.process, window.started})) return &window;
    return nullptr;
}

HWND add_window(char const* title, HWND owner) {
    const Hold hold;
    if (!hold) return nullptr;
    Table& table = hold.table();
    Window* const window = free_record(table);
    if (window == nullptr) return nullptr;
    std::memset(window, 0, sizeof *window);
    const ProcessIdentity self = current_process();
    window->process = self.id;
    window->started = self.started;
    window->owner = Hold::to_number(owner);
    window->state = kVisible;
    window->activated = ++table.activations;
    give_title(*window, title);
    table.uses = table.uses % kMostUses + 1;
    const auto record = static_cast<std::uint32_t>(window - table.windows);
    // Stored last: a program that dies in here leaves no window.
    std::atomic_ref(window->handle)
        .store(table.uses * kWindows + record, std::memory_order_release);
    return Hold::to_handle(window->handle);
}

bool remove_window(HWND window) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (!is_own(found)) return false;
    found->handle = 0;
    return true;
}

bool set_ready(HWND window, bool ready) {
    const Hold hold;
    Window* const found = hold.find(window);
    if (!is_own(found)) return false;
    std::atomic_ref(found->busy).store(ready ? 0 : 1, std::memory_order_release);
    futex(found->busy, FUTEX_WAKE, INT32_MAX, nullptr);
    return true;
}

bool remove_own_windows() {
    const Hold hold;
    if (!hold) return false;
    for (Window& window : hold.table().windows)
        if (is_own(&window)) window.handle = 0;
    return true;
}

}  // namespace

const WindowProvider& headless_windows() { return kHeadless; }

void leave_headless_windows() {
    guarded<remove_own_windows>();
    attachment().object.reset();
}

}  // namespace tarnwillow::platform

namespace tarnwillow {

using platform::guarded;

HWND New_Headless_Window(char const* title, HWND owner) {
    return guarded<platform::add_window>(title != nullptr ? title : "", owner);
}

bool Destroy_Headless_Window(HWND window) { return guarded<platform::remove_window>(window); }

bool Set_Headless_Window_Ready(HWND window, bool ready) {
    return guarded<platform::set_ready>(window, ready);
}

}  // namespace tarnwillow
