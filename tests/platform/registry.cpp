#include "tarnwillow/platform/registry.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/failingAllocator.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/systemLibraries.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::TemporaryFolder;

class RegistryCalls : public testing::Test {
protected:
    ~RegistryCalls() override {
        for (const HKEY key : opened)
            RegCloseKey(key);
    }

    HKEY create(char const* path, HKEY root = HKEY_LOCAL_MACHINE) {
        HKEY key = nullptr;
        EXPECT_EQ(RegCreateKeyExA(root, path, MAXIMUM_ALLOWED, &key), S_OK) << path;
        opened.push_back(key);
        return key;
    }
    long open(char const* path, HKEY root = HKEY_LOCAL_MACHINE,
              std::uint32_t access = MAXIMUM_ALLOWED) {
        HKEY key = nullptr;
        const long error = RegOpenKeyExA(root, path, access, &key);
        EXPECT_EQ(key != nullptr, error == S_OK);
        if (key != nullptr) opened.push_back(key);
        return error;
    }
    static long set(HKEY key, char const* name, std::string_view bytes,
                    std::uint32_t type = REG_BINARY) {
        return RegSetValueExA(key, name, type, bytes.data(),
                              static_cast<std::uint32_t>(bytes.size()));
    }
    static long set_wide(HKEY key, char16_t const* name, std::u16string_view text,
                         std::uint32_t type = REG_SZ) {
        return RegSetValueExW(key, name, type, text.data(),
                              static_cast<std::uint32_t>(text.size() * 2));
    }
    /// The value's bytes, or the error as a number.
    static std::string get(HKEY key, char const* name) {
        std::uint32_t size = 600;
        std::string bytes(size, '~');
        const long error = RegQueryValueExA(key, name, nullptr, bytes.data(), &size);
        return error == S_OK ? bytes.substr(0, size) : std::to_string(error);
    }
    static std::u16string get_wide(HKEY key, char16_t const* name) {
        std::uint32_t size = 600;
        std::u16string text(size / 2, u'~');
        const long error = RegQueryValueExW(key, name, nullptr, text.data(), &size);
        return error == S_OK ? text.substr(0, size / 2) : u"error";
    }
    static std::string names(HKEY key) {
        std::string all;
        char name[800];
        for (std::uint32_t i = 0, size = 800; RegEnumKeyExA(key, i, name, &size) == S_OK;
             ++i, size = 800)
            all += std::string(name, size) + "/ ";
        for (std::uint32_t i = 0, size = 800;
             RegEnumValueA(key, i, name, &size, nullptr, nullptr, nullptr) == S_OK; ++i, size = 800)
            all += std::string(name, size) + " ";
        return all;
    }

    /// Runs the operation with less memory than it needs, again and again with a little more, until
    /// it succeeds. Whether every failure was the told one, and there was at least one.
    template <class Operation, class Check>
    static bool fails_without_memory(Operation operation, Check check) {
        for (std::size_t successes = 0;; ++successes) {
            check();
            const FailingAllocator failing(successes);
            const long error = operation();
            if (error == S_OK) return successes > 0;
            if (error != ERROR_NOT_ENOUGH_MEMORY) return false;
        }
    }

    TemporaryFolder folder;
    std::vector<HKEY> opened;
};

HKEY as_key(std::uint64_t number) { return reinterpret_cast<HKEY>(number); }

// Keys.

TEST_F(RegistryCalls, PredefinedKeysAreTakenInBothExtensions) {
    EXPECT_EQ(set(as_key(0x80000002), "a", "1"), S_OK);
    EXPECT_EQ(get(as_key(0xFFFFFFFF80000002), "a"), "1");
    EXPECT_EQ(get(HKEY_LOCAL_MACHINE, "a"), "1");
    EXPECT_EQ(get(HKEY_CURRENT_USER, "a"), "2");
    EXPECT_EQ(RegCloseKey(HKEY_LOCAL_MACHINE), S_OK);
    EXPECT_EQ(set(HKEY_USERS, "a", "3"), S_OK);
    for (const std::uint64_t other : {0ULL, 1ULL, 0x80000009ULL, 0x180000002ULL, 0x7FFFFFFFULL}) {
        EXPECT_EQ(open("", as_key(other)), ERROR_INVALID_HANDLE) << other;
        EXPECT_EQ(RegCloseKey(as_key(other)), ERROR_INVALID_HANDLE) << other;
    }
}

TEST_F(RegistryCalls, ClassesAreAKeyOfTheMachine) {
    EXPECT_EQ(get(HKEY_CLASSES_ROOT, "a"), "2") << "nothing there yet";
    const HKEY by_root = create("CLSID\\{1}", HKEY_CLASSES_ROOT);
    const HKEY by_path = create("software\\classes\\clsid\\{1}");
    EXPECT_TRUE(platform::is_same_key(by_root, by_path));
    EXPECT_FALSE(platform::is_same_key(by_root, create("CLSID", HKEY_CLASSES_ROOT)));
    EXPECT_EQ(set(HKEY_CLASSES_ROOT, "a", "1"), S_OK);
    EXPECT_EQ(names(HKEY_CLASSES_ROOT), "CLSID/ a ");
    EXPECT_EQ(SHDeleteKeyA(HKEY_CLASSES_ROOT, ""), ERROR_ACCESS_DENIED);
}

TEST_F(RegistryCalls, NamesKeepTheirCaseAndCompareWithoutIt) {
    create("Top\\b");
    create("TOP\\A/x");
    const HKEY top = create("top");
    EXPECT_EQ(names(top), "A/x/ b/ ") << "sorted; a slash is no separator";
    EXPECT_EQ(open("\\top\\\\A/X\\"), S_OK) << "empty names are passed over";
    EXPECT_EQ(open("top\\a"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(set(top, "Zz", "1"), S_OK);
    EXPECT_EQ(set(top, "aa", "2"), S_OK);
    EXPECT_EQ(set(top, "zZ", "3"), S_OK);
    EXPECT_EQ(names(top), "A/x/ b/ Zz aa ") << "values in order of creation";
    EXPECT_EQ(get(top, "ZZ"), "3");
    EXPECT_EQ(set(top, nullptr, "default"), S_OK);
    EXPECT_EQ(get(top, ""), "default");
    EXPECT_EQ(set(top, "\xC3\x84", "4"), S_OK);
    EXPECT_EQ(get(top, "\xC3\xA4"), "2") << "only the ASCII letters fold";
}

TEST_F(RegistryCalls, WhatIsNoTextInANameIsReplaced) {
    create("bad \xFF");
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"bad \xD800", MAXIMUM_ALLOWED, &key), S_OK);
    RegCloseKey(key);
    char16_t name[10];
    std::uint32_t size = 10;
    EXPECT_EQ(RegEnumKeyExW(HKEY_LOCAL_MACHINE, 0, name, &size), S_OK);
    EXPECT_EQ(std::u16string(name), u"bad \xFFFD");
    EXPECT_EQ(size, 5U);
}

TEST_F(RegistryCalls, NamesAndLevelsHaveLimits) {
    HKEY key = nullptr;
    const auto create_error = [&](const std::string& path) {
        const long error = RegCreateKeyExA(HKEY_LOCAL_MACHINE, path.c_str(), 0x2000000, &key);
        RegCloseKey(key);
        return error;
    };
    EXPECT_EQ(create_error(std::string(255, 'n')), S_OK);
    EXPECT_EQ(create_error(std::string(256, 'n')), ERROR_INVALID_PARAMETER);
    std::string deep = "1";
    for (int level = 1; level < 512; ++level)
        deep += "\\1";
    EXPECT_EQ(create_error("a\\" + deep), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(names(HKEY_LOCAL_MACHINE), std::string(255, 'n') + "/ ") << "all or nothing";
    EXPECT_EQ(create_error(deep), S_OK);
    EXPECT_EQ(SHDeleteKeyA(HKEY_LOCAL_MACHINE, "1"), S_OK);
    EXPECT_EQ(set(HKEY_LOCAL_MACHINE, std::string(16383, 'v').c_str(), ""), S_OK);
    EXPECT_EQ(set(HKEY_LOCAL_MACHINE, std::string(16384, 'v').c_str(), ""),
              ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryCalls, TheHandleOfADeletedKeyIsDeadForGood) {
    const HKEY key = create("gone\\below");
    set(key, "a", "1");
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, "gone"), ERROR_ACCESS_DENIED) << "has a subkey";
    EXPECT_EQ(get(key, "a"), "1");
    EXPECT_EQ(RegDeleteKeyA(create("gone"), "below"), S_OK);
    create("gone\\below");
    char name[10];
    std::uint32_t size = 10;
    EXPECT_EQ(get(key, "a"), "1018");
    EXPECT_EQ(set(key, "a", "1"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegDeleteValueA(key, "a"), ERROR_KEY_DELETED);
    EXPECT_EQ(RegEnumKeyExA(key, 0, name, &size), ERROR_KEY_DELETED);
    EXPECT_EQ(RegEnumValueA(key, 0, name, &size, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
    EXPECT_EQ(open("", key), ERROR_KEY_DELETED);
    EXPECT_EQ(open("x", key), ERROR_KEY_DELETED);
    EXPECT_EQ(RegQueryInfoKeyW(key, &size, nullptr, nullptr, nullptr, nullptr), ERROR_KEY_DELETED);
    EXPECT_EQ(RegCloseKey(key), S_OK);
    EXPECT_EQ(get(key, "a"), std::to_string(ERROR_INVALID_HANDLE));
    opened.clear();
}

TEST_F(RegistryCalls, DeletesTreesByTheProcedureThatCallersLookUp) {
    for (char const* path : {"t\\a\\b\\c", "t\\a\\d", "t\\e"})
        set(create(path), "v", "1");
    const auto remove_tree = reinterpret_cast<decltype(SHDeleteKeyW)*>(
        platform::find_system_procedure("SHLWAPI.DLL", "SHDeleteKeyW"));
    ASSERT_NE(remove_tree, nullptr);
    EXPECT_EQ(remove_tree(HKEY_LOCAL_MACHINE, u"t\\a"), S_OK);
    EXPECT_EQ(names(create("t")), "e/ ");
    EXPECT_EQ(remove_tree(HKEY_LOCAL_MACHINE, u"t\\a"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegDeleteKeyA(create("t\\e"), ""), S_OK) << "the key itself";
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegDeleteKeyA(HKEY_LOCAL_MACHINE, ""), ERROR_ACCESS_DENIED);
    EXPECT_EQ(names(create("t")), "");
}

TEST_F(RegistryCalls, AHandleDoesWhatItWasOpenedFor) {
    set(create("k"), "a", "1");
    HKEY reading = nullptr, writing = nullptr, below = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "k", KEY_READ, &reading), S_OK);
    ASSERT_EQ(RegOpenKeyExA(HKEY_LOCAL_MACHINE, "k", KEY_WRITE, &writing), S_OK);
    EXPECT_EQ(get(reading, "a"), "1");
    EXPECT_EQ(set(reading, "a", "2"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegDeleteValueA(reading, "a"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(RegCreateKeyExA(reading, "new", KEY_READ, &below), ERROR_ACCESS_DENIED);
    EXPECT_EQ(get(writing, "a"), "5");
    EXPECT_EQ(set(writing, "a", "3"), S_OK);
    EXPECT_EQ(get(reading, "a"), "3");
    EXPECT_EQ(RegSetKeySecurity(writing, DACL_SECURITY_INFORMATION, nullptr), ERROR_NOT_SUPPORTED);
    EXPECT_EQ(CloseHandle(reading) && CloseHandle(writing), true);
}

// Values.

TEST_F(RegistryCalls, BytesComeBackAsTheyWere) {
    const HKEY key = create("k");
    const std::string odd("\x00\xFF\xFE odd \x80", 8);
    for (const std::uint32_t type : {0U, 1U, 2U, 3U, 4U, 7U, 11U, 0xFFFFFFFFU}) {
        EXPECT_EQ(set(key, "v", odd, type), S_OK);
        std::uint32_t stored = 77, size = 0;
        EXPECT_EQ(RegQueryValueExA(key, "v", &stored, nullptr, &size), S_OK);
        EXPECT_EQ(size, 8U);
        EXPECT_EQ(stored, type);
        EXPECT_EQ(get(key, "v"), odd);
    }
    EXPECT_EQ(set(key, "empty", ""), S_OK);
    EXPECT_EQ(get(key, "empty"), "");
    EXPECT_EQ(RegSetValueExA(key, "v", REG_SZ, nullptr, 1), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegSetValueExA(key, "v", REG_SZ, "", 0xFFFFFFFF), ERROR_INVALID_PARAMETER);
}

TEST_F(RegistryCalls, TextIsConvertedForTheOtherWidthOnly) {
    using namespace std::string_literals;
    const HKEY key = create("k");
    set(key, "narrow", "\xC3\xA4\xFF\0b\0"s, REG_MULTI_SZ);
    set_wide(key, u"wide", u"\u20AC\xD800\0b"s, REG_EXPAND_SZ);
    set_wide(key, u"bytes", u"\u20AC", REG_BINARY);
    EXPECT_EQ(get(key, "narrow"), "\xC3\xA4\xFF\0b\0"s);
    EXPECT_EQ(get_wide(key, u"narrow"), u"\u00E4\uFFFD\0b\0"s);
    EXPECT_EQ(get_wide(key, u"wide"), u"\u20AC\xD800\0b"s);
    EXPECT_EQ(get(key, "wide"), "\xE2\x82\xAC\xEF\xBF\xBD\0b"s);
    EXPECT_EQ(get(key, "bytes"), "\xAC\x20");
    EXPECT_TRUE(platform::is_wide_setting(key, "wide"));
    EXPECT_FALSE(platform::is_wide_setting(key, "narrow"));
    EXPECT_FALSE(platform::is_wide_setting(key, "bytes"));
}

TEST_F(RegistryCalls, TooLittleRoomIsToldAndStoresNothing) {
    const HKEY key = create("k");
    set(key, "v", "abcd", REG_SZ);
    char data[8] = "~";
    std::uint32_t size = 3;
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 4U);
    EXPECT_EQ(RegQueryValueExW(key, u"v", nullptr, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, 8U);
    EXPECT_STREQ(data, "~");
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, data, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(RegQueryValueExA(key, "v", nullptr, nullptr, nullptr), S_OK);
    char name[8] = "~";
    size = 1;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &size, nullptr, nullptr, nullptr), ERROR_MORE_DATA);
    EXPECT_STREQ(name, "~");
    size = 2;
    EXPECT_EQ(RegEnumValueA(key, 0, name, &size, nullptr, nullptr, nullptr), S_OK);
    EXPECT_EQ(RegEnumValueA(key, 1, name, &size, nullptr, nullptr, nullptr), ERROR_NO_MORE_ITEMS);
}

TEST_F(RegistryCalls, TellsCountsAndLongest) {
    create("k\\a");
    create("k\\\xF0\x9F\x8C\xB3 tree");
    const HKEY key = create("k");
    set(key, "long name", "12345");
    set(key, "n", "\xC3\xA4 text", REG_SZ);                  // 7 bytes narrow, 12 wide
    set_wide(key, u"w", u"\u20AC\u20AC\u20AC\u20AC\u20AC");  // 15 bytes narrow, 10 wide
    std::uint32_t counts[5] = {};
    EXPECT_EQ(RegQueryInfoKeyW(key, &counts[0], &counts[1], &counts[2], &counts[3], &counts[4]),
              S_OK);
    EXPECT_EQ((std::vector<std::uint32_t>(counts, counts + 5)),
              (std::vector<std::uint32_t>{2, 7, 3, 9, 15}));
}

TEST_F(RegistryCalls, EnumerationFollowsEveryChange) {
    const HKEY key = create("k");
    for (char const* name : {"1", "2", "3", "4"}) {
        set(key, name, "");
        create((std::string("k\\") + name).c_str());
    }
    EXPECT_EQ(names(key), "1/ 2/ 3/ 4/ 1 2 3 4 ");
    EXPECT_EQ(RegDeleteValueA(key, "2"), S_OK);
    EXPECT_EQ(RegDeleteKeyA(key, "3"), S_OK);
    EXPECT_EQ(names(key), "1/ 2/ 4/ 1 3 4 ");
    set(key, "2", "");
    EXPECT_EQ(names(key), "1/ 2/ 4/ 1 3 4 2 ");
    EXPECT_EQ(RegDeleteValueA(key, "x"), ERROR_FILE_NOT_FOUND);
}

TEST_F(RegistryCalls, NoMemoryIsAnErrorAndChangesNothing) {
    const HKEY key = create("some key with a long name that needs the heap");
    const std::string name(100, 'n'), text(5000, 't');
    set(key, name.c_str(), "old");
    std::uint32_t size = 0;
    const auto write = [&] { return set(key, name.c_str(), text); };
    const auto create_and_read = [&] {
        HKEY made = nullptr;
        long error = RegCreateKeyExA(key, "another key with a long name", MAXIMUM_ALLOWED, &made);
        if (error == S_OK) error = RegQueryValueExA(key, name.c_str(), nullptr, nullptr, &size);
        RegCloseKey(made);
        return error;
    };
    EXPECT_TRUE(fails_without_memory(write, [&] { EXPECT_EQ(get(key, name.c_str()), "old"); }));
    EXPECT_TRUE(fails_without_memory(create_and_read, [] {}));
    EXPECT_EQ(size, 5000U);
}

}  // namespace
}  // namespace tarnwillow
