#include "logFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

namespace message_core {

namespace {

std::string environment(char const* name) {
    char const* value = secure_getenv(name);
    return value != nullptr ? value : "";
}

void make_folders_above(const std::string& path) {
    for (std::size_t end = path.find('/', 1); end != std::string::npos;
         end = path.find('/', end + 1))
        mkdir(path.substr(0, end).c_str(), 0700);
}

}  // namespace

std::string log_file_path() {
    if (const std::string named = environment("TARNWILLOW_LOG_FILE"); !named.empty()) return named;
    const std::string state = environment("XDG_STATE_HOME");
    if (!state.empty()) return state + "/tarnwillow/log.txt";
    const std::string home = environment("HOME");
    return home.empty() ? home : home + "/.local/state/tarnwillow/log.txt";
}

int open_log_file(const std::string& path, bool append) {
    if (path == "-") return append ? dup(STDERR_FILENO) : -1;
    make_folders_above(path);
    const int access = append ? O_WRONLY | O_APPEND : O_RDONLY;
    return open(path.c_str(), access | O_CREAT | O_CLOEXEC, 0600);
}

}  // namespace message_core
