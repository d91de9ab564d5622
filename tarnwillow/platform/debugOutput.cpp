#include "tarnwillow/platform/debugOutput.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
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

void write_error(const char* bytes, std::size_t length) {
    while (length > 0) {
        const ssize_t written = write(STDERR_FILENO, bytes, length);
        if (written <= 0) return;
        bytes += written;
        length -= static_cast<std::size_t>(written);
    }
}

}  // namespace

void OutputDebugStringW(char16_t const* text) {
    if (text == nullptr) return;
    if (const DebugOutputHook hook = debug_hook.load()) hook(text);
    if (!wanted()) return;
    const std::size_t length = wide::length(text);
    for (std::size_t done = 0; done < length;) {
        char bytes[1024];
        const platform::Conversion part =
            platform::wide_to_narrow(text + done, length - done, bytes, sizeof bytes);
        write_error(bytes, part.written);
        done += part.consumed;
    }
    write_error("\n", 1);
}

DebugOutputHook Set_Debug_Output_Hook(DebugOutputHook hook) { return debug_hook.exchange(hook); }

void DebugBreak() {
#if defined(__x86_64__) || defined(__i386__)
    __asm__ volatile("int3");
#else
    raise(SIGTRAP);
#endif
}

}  // namespace tarnwillow
