// The files of the store: damaged ones, and accounts that may not write them.
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>

#include "platform/storeFixture.h"
#include "support/childProcess.h"
#include "tarnwillow/platform/debugOutput.h"

namespace tarnwillow {
namespace {

using test::get;
using test::read_file;
using test::run_child;
using test::set;
using test::SettingsStore;
using test::write_file;

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

}  // namespace
}  // namespace tarnwillow
