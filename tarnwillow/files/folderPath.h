// Paths of folders as the operations on folders take them apart.
#pragma once

#include <climits>
#include <string>

namespace tarnwillow::detail {

/// A path for the system, UTF-8 with `/` between its names and none behind the last. Empty if the
/// text was null or too long.
class FolderPath {
public:
    explicit FolderPath(char const* path);
    explicit FolderPath(char16_t const* path);

    char* text() { return text_; }
    char const* text() const { return text_; }
    bool empty() const { return text_[0] == 0; }

    /// Takes the last name away, and what separates it; the root becomes empty.
    void cut_last_name();

private:
    void take(char const* path);

    char text_[PATH_MAX];
};

/// Whether it is a folder that the process may enter. Links are followed.
bool can_enter(char const* path);

/// May throw std::bad_alloc.
std::string joined(const std::string& folder, const std::string& name);

}  // namespace tarnwillow::detail
