// A folder of the test's own in which the process stands, and short words for what is in it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "support/temporaryFolder.h"

namespace tarnwillow::test {

inline std::u16string wide(const std::string& text) {
    return std::filesystem::path(text).u16string();
}

/// The process stands in a folder of the test's own, so relative names are the rule.
class FoldersFixture : public testing::Test {
protected:
    FoldersFixture() { std::filesystem::current_path(top); }
    ~FoldersFixture() override { std::filesystem::current_path(before); }

    /// Makes each name, a folder if it ends in "/", and the folders above it.
    static void make(std::initializer_list<std::string> names) {
        for (const std::string& name : names) {
            std::filesystem::create_directories(("." / std::filesystem::path(name)).parent_path());
            if (name.back() != '/')
                write_file(name, "of " + std::filesystem::path(name).filename().string());
        }
    }
    static void link(const char* name, const std::string& leads_to) {
        std::filesystem::create_symlink(leads_to, name);
    }
    std::string absolute(const std::string& name) const { return (top / name).string(); }

    /// Everything below a folder, sorted; folders end in "/", links show where they lead.
    static std::string tree(const std::string& name) {
        if (!std::filesystem::is_directory(name)) return "<missing>";
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(name)) {
            std::string text = std::filesystem::relative(entry.path().parent_path(), name) /
                               entry.path().filename();
            if (entry.is_symlink())
                text += ">" + std::filesystem::read_symlink(entry.path()).string();
            else if (entry.is_directory())
                text += "/";
            found.push_back(text.substr(0, 2) == "./" ? text.substr(2) : text);
        }
        std::sort(found.begin(), found.end());
        std::string all;
        for (const std::string& text : found)
            all += (all.empty() ? "" : " ") + text;
        return all;
    }

    /// A chain of folders, far longer than a path may be.
    static void make_chain(const char* name, int depth) {
        int at = open(".", O_RDONLY | O_DIRECTORY);
        for (int i = 0; i < depth; ++i) {
            ASSERT_EQ(mkdirat(at, name, 0777), 0);
            const int below = openat(at, name, O_RDONLY | O_DIRECTORY);
            close(at);
            at = below;
        }
        close(at);
    }

    TemporaryFolder folder;
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::path top = std::filesystem::canonical(folder.path());
};

}  // namespace tarnwillow::test
