// The store among threads and processes: changes seen, killed writers, forks.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "platform/storeFixture.h"
#include "support/childProcess.h"
#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/handles.h"

namespace tarnwillow {
namespace {

using test::ChildResult;
using test::get;
using test::run_child;
using test::set;
using test::SettingsStore;

TARNWILLOW_CHILD(set_setting) { return set("shared", argument) == S_OK ? 0 : 1; }

TEST_F(SettingsStore, AChangeByAnotherProcessIsSeenAtOnce) {
    EXPECT_EQ(get("shared"), "2") << "and nothing is made by reading";
    EXPECT_FALSE(std::filesystem::exists(file("")));
    for (char const* text : {"one", "two", "three"}) {
        EXPECT_EQ(run_child("set_setting", text).exit_code, 0);
        EXPECT_EQ(get("shared"), text);
        EXPECT_EQ(get("shared"), text);
    }
}

TEST_F(SettingsStore, AWaitEndsWithTheChange) {
    set("shared", "before");
    const std::uint64_t seen = platform::settings_sequence(HKEY_LOCAL_MACHINE);
    EXPECT_EQ(platform::wait_for_settings_change(HKEY_LOCAL_MACHINE, seen, 1), seen);
    std::thread other([] { run_child("set_setting", "after"); });
    EXPECT_NE(platform::wait_for_settings_change(HKEY_LOCAL_MACHINE, seen, 60000), seen);
    other.join();
    EXPECT_EQ(get("shared"), "after");
}

// Many writers.

TARNWILLOW_CHILD(increment) {
    const long count = std::stol(std::string(argument));
    const HANDLE mutex = CreatePublicMutex("settings counter");
    for (long i = 0; i < count; ++i) {
        if (i % 500 == 0) std::puts("alive"), std::fflush(stdout);  // for the runner's patience
        const CAutoMutex turn(mutex, -1);
        const std::string text = get("counter");
        if (!turn.Is_Held() || set("counter", std::to_string(std::stol(text) + 1)) != S_OK)
            return 1;
    }
    return CloseHandle(mutex) ? 0 : 1;
}

TEST_F(SettingsStore, FourProcessesLoseNoIncrement) {
    constexpr long kEach = 10000;
    set("counter", "0");
    std::vector<std::thread> processes;
    std::atomic<int> failures{0};
    for (int i = 0; i < 4; ++i)
        processes.emplace_back([&] {
            if (run_child("increment", std::to_string(kEach)).exit_code != 0) ++failures;
        });
    for (std::thread& process : processes)
        process.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(get("counter"), std::to_string(4 * kEach));
}

TEST_F(SettingsStore, ThreadsShareTheStore) {
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    set("common", "x");
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&, t] {
            const std::string path = "thread" + std::to_string(t);
            for (int i = 0; i < 50; ++i) {
                HKEY key = nullptr;
                const std::string text = std::to_string(i);
                if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0x2000000, &key) != S_OK ||
                    set("own", text, key) != S_OK || get("own", key) != text ||
                    get("common") != "x")
                    ++wrong;
                RegCloseKey(key);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

// Killed writers.

// Writes numbers, each with much more behind it, and tells each once it is written, until it is
// killed.
TARNWILLOW_CHILD(write_until_killed) {
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const auto delay = static_cast<useconds_t>(std::stol(std::string(argument)));
    std::thread([delay] {
        usleep(delay);
        kill(getpid(), SIGKILL);
    }).detach();
    for (int i = 1; i <= 10000; ++i) {
        const std::string number = std::to_string(i);
        if (set("torn", number + std::string(9000, static_cast<char>('a' + i % 26))) != S_OK)
            return 1;
        std::printf("%s ", number.c_str());
    }
    return 0;
}

/// What the child told last.
long last_number(const std::string& output) {
    const std::size_t end = output.find_last_of(' ');
    if (end == std::string::npos) return 0;
    const std::size_t before = output.find_last_of(' ', end - 1);
    return std::stol(output.substr(before == std::string::npos ? 0 : before + 1));
}

TEST_F(SettingsStore, AKilledWriterLeavesTheOldValueOrTheNew) {
    int killed = 0;
    for (int round = 0; round < 40; ++round) {
        set("torn", "0" + std::string(9000, 'a'));
        const ChildResult result = run_child("write_until_killed", std::to_string(500 * round));
        killed += result.signal == SIGKILL;
        const long told = last_number(result.output);
        const std::string text = get("torn");
        const std::size_t digits = text.find_first_not_of("0123456789");
        ASSERT_NE(digits, std::string::npos) << text;
        const long number = std::stol(text);
        EXPECT_TRUE(number == told || number == told + 1) << number << " after " << told;
        EXPECT_EQ(text.substr(digits), std::string(9000, static_cast<char>('a' + number % 26)));
    }
    EXPECT_GT(killed, 20);
}

TEST_F(SettingsStore, AChangeThatNeverEndedIsNotTrusted) {
    set("shared", "old");
    EXPECT_EQ(get("shared"), "old");
    const int page = open(file("machine.sequence").c_str(), O_RDWR);
    const std::uint64_t odd = 1001;
    ASSERT_EQ(pwrite(page, &odd, sizeof odd, 0), 8);
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(run_child("set_setting", std::to_string(i)).exit_code, 0);
        ASSERT_EQ(pwrite(page, &odd, sizeof odd, 0), 8);
        EXPECT_EQ(get("shared"), std::to_string(i));
    }
    for (int i = 0; i < 200; ++i)
        get("shared");
    EXPECT_EQ(platform::settings_sequence(HKEY_LOCAL_MACHINE) % 2, 0U) << "put right by a reader";
    close(page);
}

// Forks.

TEST_F(SettingsStore, AForkedChildHasAConnectionOfItsOwn) {
    set("before", "1");
    EXPECT_EQ(get("before"), "1");
    std::atomic<bool> stop{false};
    std::thread busy([&] {
        for (int i = 0; !stop; ++i)
            set("busy", std::to_string(i));
    });
    for (int i = 0; i < 20; ++i) {
        const std::string text = std::to_string(i);
        const pid_t child = fork();
        if (child == 0) _exit(get("before") == "1" && set("child", text) == S_OK ? 0 : 1);
        int state = 0;
        ASSERT_EQ(waitpid(child, &state, 0), child);
        EXPECT_EQ(state, 0);
        EXPECT_EQ(get("child"), text);
    }
    stop = true;
    busy.join();
}

// Places.

TARNWILLOW_CHILD(set_in_default_places) {
    unsetenv("TARNWILLOW_SETTINGS_DIR");
    const std::string base(argument);
    setenv("HOME", base.c_str(), 1);
    if (base.find("xdg") != std::string::npos) {
        setenv("XDG_CONFIG_HOME", (base + "/c").c_str(), 1);
        setenv("XDG_DATA_HOME", (base + "/d").c_str(), 1);
    } else {
        unsetenv("XDG_CONFIG_HOME");
        unsetenv("XDG_DATA_HOME");
    }
    return set("a", "1", HKEY_CURRENT_USER) == S_OK ? 0 : 1;
}

TEST_F(SettingsStore, TheUsersHiveLivesInTheConfigurationFolder) {
    EXPECT_EQ(run_child("set_in_default_places", folder.file("home")).exit_code, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.file("home/.config/tarnwillow/user.db")));
    EXPECT_EQ(run_child("set_in_default_places", folder.file("xdg")).exit_code, 0);
    EXPECT_TRUE(std::filesystem::exists(folder.file("xdg/c/tarnwillow/user.db")));
}

}  // namespace
}  // namespace tarnwillow
