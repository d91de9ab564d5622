#include "tarnwillow/platform/absolutePath.h"

#include <filesystem>

#include "tarnwillow/platform/filePath.h"

namespace tarnwillow::platform {

std::string absolute_path(char const* path) {
    const SystemPath spelled(path);
    if (spelled.empty()) return {};
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(spelled.c_str(), error);
    if (error) return {};
    const std::filesystem::path known = std::filesystem::weakly_canonical(absolute, error);
    return (error ? absolute : known).string();
}

}  // namespace tarnwillow::platform
