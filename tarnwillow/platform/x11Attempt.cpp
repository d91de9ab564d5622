#include "tarnwillow/platform/x11Attempt.h"

#include <dlfcn.h>
#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <string>
#include <system_error>

namespace tarnwillow::platform::x11 {

struct Attempt::Outcome {
    std::string display;
    std::mutex lock;
    std::condition_variable change;
    bool ended = false;
    std::unique_ptr<Connection> connection;

    void reach() {
        std::unique_ptr<Connection> made = Connection::open(display.c_str());
        const std::lock_guard hold(lock);
        connection = std::move(made);
        ended = true;
        change.notify_all();
    }
};

namespace {

/// The host's signals are none of the thread's business.
class NoSignals {
public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(const NoSignals&) = delete;
    NoSignals& operator=(const NoSignals&) = delete;

private:
    sigset_t before_{};
};

/// A thread that waits for a server comes back into this code whenever that lets it.
void keep_library_loaded() {
    static const char here = 0;
    Dl_info library;
    if (dladdr(&here, &library) != 0)
        dlopen(library.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
}

}  // namespace

std::unique_ptr<Attempt> Attempt::start(char const* display) {
    const NoSignals in_thread;
    try {
        const auto outcome = std::make_shared<Outcome>();
        outcome->display = display;
        std::unique_ptr<Attempt> attempt(new Attempt(outcome));
        attempt->thread_ = std::thread([outcome] { outcome->reach(); });
        return attempt;
    } catch (const std::bad_alloc&) {
        return nullptr;
    } catch (const std::system_error&) {
        return nullptr;
    }
}

Attempt::~Attempt() {
    if (thread_.joinable() && !has_ended(0)) thread_.detach();
}

bool Attempt::has_ended(std::uint32_t milliseconds) {
    {
        std::unique_lock hold(outcome_->lock);
        const bool ended = outcome_->change.wait_for(hold, std::chrono::milliseconds(milliseconds),
                                                     [this] { return outcome_->ended; });
        if (!ended) {
            if (!keeps_library_) keep_library_loaded();
            keeps_library_ = true;
            return false;
        }
    }
    if (thread_.joinable()) thread_.join();
    return true;
}

std::unique_ptr<Connection> Attempt::take() { return std::move(outcome_->connection); }

}  // namespace tarnwillow::platform::x11
