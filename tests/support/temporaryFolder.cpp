#include "support/temporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace tarnwillow::test {

TemporaryFolder::TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tarnwillow-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
    setenv("TARNWILLOW_SETTINGS_DIR", (path_ / "settings").c_str(), 1);
    setenv("TARNWILLOW_RUNTIME_DIR", (path_ / "runtime").c_str(), 1);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string read_file(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return "<missing>";
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void write_file(const std::string& path, std::string_view content) {
    std::ofstream file(path, std::ios::binary);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace tarnwillow::test
