#include "tarnwillow/platform/x11Link.h"

#include <poll.h>
#include <time.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/x11Attempt.h"

namespace tarnwillow::platform::x11 {

namespace {

constexpr std::uint32_t kBetweenAttempts = 1000;
constexpr std::int64_t kLook = 50;

struct Link {
    std::mutex lock;
    std::unique_ptr<Connection> connection;
    std::unique_ptr<Attempt> attempt;
    char display[256] = {};  // what the variable said at the first question; no name is longer
    bool has_read_display = false;
    std::optional<Deadline> pause;  // no attempt before

    char const* server() {
        char const* const named = has_read_display ? nullptr : std::getenv("DISPLAY");
        if (named != nullptr && std::strlen(named) < sizeof display) std::strcpy(display, named);
        has_read_display = true;
        return display[0] != 0 ? display : nullptr;
    }

    Connection* use() {
        if (connection != nullptr && connection->is_broken()) connection.reset();
        if (connection == nullptr) connect();
        return connection != nullptr && !connection->is_stalled() ? connection.get() : nullptr;
    }

    // Who begins an attempt waits for it. While it is under way everybody else goes without.
    void connect() {
        if (server() == nullptr || !(attempt != nullptr ? attempt->has_ended(0) : begin())) return;
        connection = attempt->take();
        attempt.reset();
        pause.emplace(kBetweenAttempts);
    }

    /// Whether an attempt has begun, and ended in time.
    bool begin() {
        if (pause.has_value() && !pause->passed()) return false;
        attempt = Attempt::start(server());
        return attempt != nullptr && attempt->has_ended(kPatience);
    }
};

Link& link();

void abandon_in_child() {
    Connection::abandon(std::move(link().connection));
    leave_behind(std::move(link().attempt));  // its thread is the parent's
    link().pause.reset();
}

Link& link() {
    static Link the_link;
    static const bool noted = note_fork_lock(the_link.lock, abandon_in_child);
    static_cast<void>(noted);
    return the_link;
}

sigset_t pipe_signal() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool is_pipe_signal_pending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

bool has_display() {
    const std::lock_guard hold(link().lock);
    return link().server() != nullptr;
}

void leave() {
    const NoPipeSignal quiet;
    const std::lock_guard hold(link().lock);
    link().connection.reset();
    link().attempt.reset();
    link().has_read_display = false;
    link().display[0] = 0;
    link().pause.reset();
}

NoPipeSignal::NoPipeSignal() {
    const sigset_t set = pipe_signal();
    pthread_sigmask(SIG_BLOCK, &set, &before_);
    // If the caller has it blocked himself, one that he waits for is his.
    was_pending_ = sigismember(&before_, SIGPIPE) == 1 && is_pipe_signal_pending();
}

NoPipeSignal::~NoPipeSignal() {
    const sigset_t set = pipe_signal();
    const timespec at_once{};
    if (!was_pending_ && is_pipe_signal_pending()) sigtimedwait(&set, nullptr, &at_once);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

Hold::Hold() : in_process_(link().lock), connection_(link().use()) {}

Hold::~Hold() {
    if (connection_ != nullptr) connection_->drain(false);
}

bool wait_for_event(const Deadline& deadline) {
    int descriptor = -1;
    {
        const Hold hold;
        if (hold) descriptor = (*hold).descriptor();
    }
    const std::int64_t left = deadline.left() / 1000000;
    if (left == 0) return false;
    pollfd wait{descriptor, POLLIN, 0};
    poll(&wait, 1, static_cast<int>(std::min(left, kLook)));
    const Hold hold;
    if (hold) (*hold).drain(true);
    return true;
}

Watch::Watch(xcb_window_t window, std::uint32_t events) : window_(window) {
    const Hold hold;
    if (hold) (*hold).select(window_, events);
}

Watch::~Watch() {
    const Hold hold;
    if (hold) (*hold).select(window_, 0);
}

}  // namespace tarnwillow::platform::x11
