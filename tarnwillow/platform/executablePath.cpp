#include "tarnwillow/platform/executablePath.h"

#include <unistd.h>

#include <climits>

namespace tarnwillow::platform {

std::string executable_path() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

}  // namespace tarnwillow::platform
