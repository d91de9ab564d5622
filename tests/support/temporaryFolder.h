// A folder of the test's own that goes with it. The library's settings and runtime folders point
// into it, so that every test is hermetic and may run beside others.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tarnwillow::test {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(std::string_view name) const { return (path_ / name).string(); }

private:
    std::filesystem::path path_;
};

/// Whole content of a file, read by other means than the library's; "<missing>" if it is not there.
std::string read_file(const std::string& path);
void write_file(const std::string& path, std::string_view content);

}  // namespace tarnwillow::test
