#include "logTail.h"

#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "tarnwillow/diagnostics/messageRecord.h"
#include "tarnwillow/diagnostics/messages.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow::cli {

namespace {

namespace fs = std::filesystem;

constexpr char kCore[] = "messageCore.so";

int fail(const std::string& what) {
    std::fprintf(stderr, "tarnwillow: %s\n", what.c_str());
    return 1;
}

/// The core that was installed or built with this program; empty if it is not there.
std::string own_core() {
    std::error_code error;
    const fs::path above = fs::read_symlink("/proc/self/exe", error).parent_path().parent_path();
    for (const fs::path& core : {above / TARNWILLOW_LIBRARY_FOLDER / "tarnwillow" / kCore,
                                 above / "examples/message_core" / kCore})
        if (fs::exists(core, error)) return core.lexically_normal().string();
    return {};
}

/// The core that is set; empty if there is none and none could be set.
std::string core_in_use() {
    CRegistry settings;
    char path[257] = {};
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    if (settings.Get_Entry("Log", path, sizeof path - 1) && path[0] != 0) return path;
    const std::string own = own_core();
    return !own.empty() && settings.Set_Entry("Log", own.c_str()) ? own : std::string();
}

// The terms of the core in examples/message_core: the text of one line, and its length.
void print_line(unsigned long, long kind, char* data, long size, long, void*) {
    if (kind != TARNWILLOW_LOG_ENTRY_NARROW || data == nullptr || size < 0) return;
    std::fwrite(data, 1, static_cast<std::size_t>(size), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void wait_for_interruption(const sigset_t& interruptions) {
    int signal = 0;
    while (sigwait(&interruptions, &signal) != 0) {
    }
}

}  // namespace

int tail_log() {
    const std::string core = core_in_use();
    if (core.empty()) return fail("no message core is set, and none could be set");
    // Blocked before the core starts its threads, so that this one alone waits for them.
    sigset_t interruptions;
    sigemptyset(&interruptions);
    sigaddset(&interruptions, SIGINT);
    sigaddset(&interruptions, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &interruptions, nullptr);
    void* handle = nullptr;
    if (Attach_Message_Listener(0, print_line, nullptr, false, &handle) != 0)
        return fail(core + ": this message core cannot be loaded, or serves no listeners");
    std::fprintf(stderr,
                 "Lines that come through %s; Ctrl-C ends. \"tarnwillow log on CLASS\" "
                 "switches a class on for programs that start afterwards.\n",
                 core.c_str());
    wait_for_interruption(interruptions);
    Detach_Message_Listener(handle);
    return 0;
}

}  // namespace tarnwillow::cli
