// The store among processes: changes seen, locks, killed writers, damaged files, forks, accounts.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/CAutoMutex.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

using test::ChildResult;
using test::read_file;
using test::run_child;
using test::TemporaryFolder;
using test::write_file;

long set(char const* name, std::string_view bytes, HKEY key = HKEY_LOCAL_MACHINE) {
    return RegSetValueExA(key, name, REG_BINARY, bytes.data(),
                          static_cast<std::uint32_t>(bytes.size()));
}

/// The value's bytes, or the error as a number.
std::string get(char const* name, HKEY key = HKEY_LOCAL_MACHINE) {
    std::uint32_t size = 20000;
    std::string bytes(size, '~');
    const long error = RegQueryValueExA(key, name, nullptr, bytes.data(), &size);
    return error == S_OK ? bytes.substr(0, size) : std::to_string(error);
}

class SettingsStore : public testing::Test {
protected:
    std::string file(char const* name) { return folder.file("settings/") + name; }

    /// Databases set aside.
    std::vector<std::string> set_aside() {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(file("")))
            if (entry.path().string().find("machine.db.unreadable-") != std::string::npos)
                names.push_back(entry.path().string());
        return names;
    }

    TemporaryFolder folder;
};

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

// Damaged files.

std::u16string reported;
void note_report(char16_t const* text) {
    reported += text;
    get("shared");  // a reader of reports may use the store
}

class DamagedStore : public SettingsStore {
protected:
    DamagedStore() {
        reported.clear();
        Set_Debug_Output_Hook(note_report);
    }
    ~DamagedStore() override { Set_Debug_Output_Hook(nullptr); }

    /// The store works, with nothing in it, and what could not be read is beside it.
    void expect_set_aside(const std::string& content) {
        EXPECT_EQ(get("shared"), "2");
        EXPECT_EQ(set("shared", "new"), S_OK);
        EXPECT_EQ(get("shared"), "new");
        ASSERT_FALSE(set_aside().empty());
        EXPECT_TRUE(read_file(set_aside().front()) == content);
        EXPECT_NE(reported.find(u"could not be read"), std::u16string::npos);
    }
};

TEST_F(DamagedStore, WhatIsNoDatabaseIsSetAside) {
    std::filesystem::create_directory(file(""));
    const std::string garbage(5000, 'g');
    write_file(file("machine.db"), garbage);
    expect_set_aside(garbage);
    EXPECT_EQ(set_aside().size(), 1U);
}

TEST_F(DamagedStore, AnotherProgramsDatabaseIsSetAside) {
    std::filesystem::create_directory(file(""));
    sqlite3* other = nullptr;
    sqlite3_open(file("machine.db").c_str(), &other);
    sqlite3_exec(other, "CREATE TABLE keys(x); PRAGMA user_version=7", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    expect_set_aside(read_file(file("machine.db")));
}

TARNWILLOW_CHILD(set_two_settings) {
    return set("shared", "old") == S_OK && set("other", std::string(9000, 'o')) == S_OK ? 0 : 1;
}

TEST_F(DamagedStore, DamageThatShowsLaterIsSetAsideToo) {
    ASSERT_EQ(run_child("set_two_settings").exit_code, 0);
    sqlite3* database = nullptr;
    sqlite3_open(file("machine.db").c_str(), &database);
    sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    std::string content = read_file(file("machine.db"));
    ASSERT_GT(content.size(), 8192U);
    std::fill(content.begin() + 4096, content.end(), '\x55');  // all but the page of the tables
    write_file(file("machine.db"), content);
    expect_set_aside(content);
}

TEST_F(DamagedStore, AnotherProcessFollowsToTheNewDatabase) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "k", 0x2000000, &key), S_OK);
    set("shared", "old");
    EXPECT_EQ(get("shared"), "old");
    for (char const* side : {"machine.db-wal", "machine.db-shm"})
        std::filesystem::rename(file(side), folder.file(side));
    std::filesystem::rename(file("machine.db"), folder.file("moved"));
    write_file(file("machine.db"), std::string(100, 'g'));
    EXPECT_EQ(run_child("set_setting", "new").exit_code, 0);
    EXPECT_EQ(set_aside().size(), 1U);
    EXPECT_EQ(get("shared"), "new");
    EXPECT_EQ(get("a", key), "1018");
    RegCloseKey(key);
}

// Accounts that may not write.

/// Gives up the right to write to the store.
void become_reader(const std::string& store) {
    if (geteuid() == 0) {
        if (setresgid(65534, 65534, 65534) != 0 || setresuid(65534, 65534, 65534) != 0) _exit(99);
        return;
    }
    for (const auto& entry : std::filesystem::directory_iterator(store))
        chmod(entry.path().c_str(), 0444);
    chmod(store.c_str(), 0555);
}

TARNWILLOW_CHILD(use_store_as_reader) {
    become_reader(std::string(argument));
    HKEY key = nullptr;
    const long opening = RegOpenKeyExA(HKEY_LOCAL_MACHINE, "", KEY_WRITE, &key);
    const long making = RegCreateKeyExA(HKEY_LOCAL_MACHINE, "new", MAXIMUM_ALLOWED, &key);
    const long present = RegCreateKeyExA(HKEY_LOCAL_MACHINE, "present", MAXIMUM_ALLOWED, &key);
    std::printf("%s %s %ld %ld %ld %ld", get("shared").c_str(), get("none").c_str(),
                set("shared", "x"), opening, making, present);
    return 0;
}

class ReadOnlyStore : public SettingsStore {
protected:
    ReadOnlyStore() { std::filesystem::permissions(folder.path(), std::filesystem::perms(0755)); }
    ~ReadOnlyStore() override {
        std::error_code ignored;
        std::filesystem::permissions(file(""), std::filesystem::perms(0755), ignored);
    }
    std::string as_reader() { return run_child("use_store_as_reader", file("")).output; }

    void make_store() {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExA(HKEY_LOCAL_MACHINE, "present", MAXIMUM_ALLOWED, &key), S_OK);
        RegCloseKey(key);
        set("shared", "set");
    }
};

TEST_F(ReadOnlyStore, ReadersGetSettingsDefaultsAndRefusals) {
    const mode_t before = umask(077);
    make_store();
    umask(before);
    EXPECT_EQ(as_reader(), "set 2 5 5 5 0") << "whatever the mask was";
}

TEST_F(ReadOnlyStore, WithoutAStoreReadersGetDefaults) {
    std::filesystem::create_directory(file(""));
    EXPECT_EQ(as_reader(), "2 2 5 5 5 5");
    EXPECT_TRUE(std::filesystem::is_empty(file("")));
}

TARNWILLOW_CHILD(make_store_of_one_file) {
    HKEY key = nullptr;
    if (RegCreateKeyExA(HKEY_LOCAL_MACHINE, "present", MAXIMUM_ALLOWED, &key) != S_OK) return 1;
    return set("shared", "set") == S_OK ? 0 : 1;
}

TEST_F(ReadOnlyStore, ReadersNeedTheDatabaseOnly) {
    ASSERT_EQ(run_child("make_store_of_one_file").exit_code, 0);
    sqlite3* database = nullptr;
    sqlite3_open(file("machine.db").c_str(), &database);
    sqlite3_exec(database, "PRAGMA wal_checkpoint(TRUNCATE)", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    for (char const* side : {"machine.db-wal", "machine.db-shm", "machine.sequence"})
        std::filesystem::remove(file(side));
    EXPECT_EQ(as_reader(), "set 2 5 5 5 0");
}

TEST_F(ReadOnlyStore, AReaderLeavesADamagedStoreAlone) {
    std::filesystem::create_directory(file(""));
    write_file(file("machine.db"), std::string(5000, 'g'));
    EXPECT_EQ(as_reader(), "1015 1015 1015 1015 1015 1015");
    EXPECT_TRUE(set_aside().empty());
}

TEST_F(ReadOnlyStore, TheUsersHiveIsTheUsersAlone) {
    set("shared", "secret", HKEY_CURRENT_USER);
    using std::filesystem::perms;
    EXPECT_EQ(std::filesystem::status(file("user.db")).permissions(), perms(0600));
    EXPECT_EQ(std::filesystem::status(file("user.db-wal")).permissions(), perms(0600));
    EXPECT_EQ(std::filesystem::status(file("user.sequence")).permissions(), perms(0600));
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
