#include "network/names.h"

#include <dlfcn.h>
#include <netdb.h>

#include <condition_variable>
#include <mutex>
#include <string_view>

namespace {

// Never destroyed: a thread may still look a name up when the process ends.
struct State {
    std::mutex lock;
    std::condition_variable changed;
    bool stuck = false;
    int waiting = 0;
};

State& state() {
    static auto* const kept = new State;
    return *kept;
}

void wait_while_stuck() {
    std::unique_lock hold(state().lock);
    ++state().waiting;
    state().changed.notify_all();
    state().changed.wait(hold, [] { return !state().stuck; });
    --state().waiting;
    state().changed.notify_all();
}

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const std::string_view text = name != nullptr ? name : "";
    if (text == "stuck.test") wait_while_stuck();
    if (text == "local.test") return real("127.0.0.1", service, hints, result);
    if (text.size() > 5 && text.substr(text.size() - 5) == ".test") return EAI_NONAME;
    return real(name, service, hints, result);
}

namespace tarnwillow::test {

StuckName::StuckName() {
    const std::lock_guard hold(state().lock);
    state().stuck = true;
}

// Waits for those who wait: a thread must not outlive the test that it belongs to.
StuckName::~StuckName() {
    std::unique_lock hold(state().lock);
    state().stuck = false;
    state().changed.notify_all();
    state().changed.wait(hold, [] { return state().waiting == 0; });
}

void StuckName::wait_for_question() {
    std::unique_lock hold(state().lock);
    state().changed.wait(hold, [] { return state().waiting > 0; });
}

}  // namespace tarnwillow::test
