// Programs that a test lets the library start: copies of one that notes its arguments.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

#include "support/temporaryFolder.h"

namespace tarnwillow::test {

class Recorder {
public:
    explicit Recorder(const TemporaryFolder& folder) : folder_(folder) {
        setenv("TARNWILLOW_RECORD", record().c_str(), 1);
    }
    ~Recorder() {
        unsetenv("TARNWILLOW_RECORD");
        unsetenv("TARNWILLOW_HANG");
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// Puts the program into the folder under that name; gives its path.
    std::string program(std::string_view name) const {
        std::filesystem::copy_file(TARNWILLOW_STANDINS "/recorder", folder_.file(name),
                                   std::filesystem::copy_options::overwrite_existing);
        return folder_.file(name);
    }

    /// From now on programs do not end by themselves.
    static void hang() { setenv("TARNWILLOW_HANG", "1", 1); }

    /// What was noted since the last call, one argument a line.
    std::string arguments() const {
        std::string text = read_file(record());
        std::filesystem::remove(record());
        return text;
    }

private:
    std::string record() const { return folder_.file("record"); }

    const TemporaryFolder& folder_;
};

}  // namespace tarnwillow::test
