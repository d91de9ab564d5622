#include "tarnwillow/platform/debugOutput.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "tarnwillow/platform/standardError.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

std::atomic<DebugOutputHook> debug_hook{nullptr};

bool debugger_attached() {
    const int file = open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (file < 0) return false;
    char text[2048];
    const ssize_t length = read(file, text, sizeof text - 1);
    close(file);
    if (length <= 0) return false;
    text[length] = '\0';
    const char* tracer = std::strstr(text, "TracerPid:");
    return tracer != nullptr && std::atoi(tracer + std::strlen("TracerPid:")) != 0;
}

bool wanted() {
    const char* setting = std::getenv("TARNWILLOW_DEBUG_OUTPUT");
    return (setting != nullptr && std::strcmp(setting, "1") == 0) || debugger_attached();
}

}  // namespace

void OutputDebugStringW(char16_t const* text) {
    if (text == nullptr) return;
    if (const DebugOutputHook hook = debug_hook.load()) hook(text);
    if (!wanted()) return;
    platform::write_standard_error(text, wide::length(text));
    platform::write_standard_error("\n", 1);
}

DebugOutputHook Set_Debug_Output_Hook(DebugOutputHook hook) { return debug_hook.exchange(hook); }

void DebugBreak() {
#if defined(__x86_64__) || defined(__i386__)
    __asm__ volatile("int3");
#else
    raise(SIGTRAP);
#endif
}

bool platform::breakpoints_pass() {
    sigset_t blocked;
    return pthread_sigmask(SIG_SETMASK, nullptr, &blocked) == 0 &&
           sigismember(&blocked, SIGTRAP) == 0;
}

}  // namespace tarnwillow
