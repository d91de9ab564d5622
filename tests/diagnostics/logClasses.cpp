// Which classes are on is read once in a process: so each case is a process of its own.
#include "tarnwillow/diagnostics/logClasses.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <thread>

#include "support/childProcess.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow {
namespace {

using detail::log_class_rows;

std::atomic<int> lines{0};

void count(int, unsigned long, char*, int) { ++lines; }
void count_wide(int, unsigned long, char16_t*, int) { ++lines; }

void count_lines() { Divert_Log_Output(count, count_wide); }

/// Classes that have a value of 0 in the store.
int values_of_zero() {
    CRegistry store;
    if (!store.Open_Application_Key_Ex(0, "Log", HKEY_LOCAL_MACHINE)) return -1;
    int found = 0;
    for (int i = 0; i < kLogClassCount; ++i) {
        long value = -1;
        if (store.Get_Entry(log_class_rows[i].name, &value) && value == 0) ++found;
    }
    return found;
}

void store_value(char16_t const* name, long value) {
    CRegistry store;
    store.Open_Application_Key("Log", HKEY_LOCAL_MACHINE);
    store.Set_Entry(name, value);
}

int enabled_classes() {
    int enabled = 0;
    for (int i = 0; i < kLogClassCount; ++i)
        enabled += Log_Class_Enabled(i) ? 1 : 0;
    return enabled;
}

/// Children print what they see.
TARNWILLOW_CHILD(empty_store) {
    count_lines();
    _LOG(3, "line");
    std::printf("%d values, %d on, %d lines", values_of_zero(), enabled_classes(), lines.load());
    return 0;
}

TARNWILLOW_CHILD(value_of_two) {
    count_lines();
    store_value(u"Browser", 2);
    store_value(u"Folders", 0);
    std::printf("%d, ", Log_Class_Enabled(17));
    _LOG(17, u"line");
    _LOG(20, u"line");
    store_value(u"Folders", 1);
    _LOG(20, u"line");
    std::printf("%d on, %d lines, %d values", enabled_classes(), lines.load(), values_of_zero());
    return 0;
}

TARNWILLOW_CHILD(no_store) {
    setenv("TARNWILLOW_SETTINGS_DIR", "/proc/none", 1);
    _LOG(0, "line");
    std::printf("%d on", enabled_classes());
    return 0;
}

TARNWILLOW_CHILD(held_back) {
    count_lines();
    store_value(u"Uncategorized", 1);
    detail::log_held_back = true;
    _LOG(0, "dropped");
    InitializeDebugMode();
    std::printf("%d lines, %d on, ", lines.load(), enabled_classes());
    detail::log_held_back = false;
    _LOG(0, "written");
    std::printf("%d lines", lines.load());
    return 0;
}

TARNWILLOW_CHILD(many_first_lines) {
    count_lines();
    store_value(u"Uncategorized", 1);
    std::thread threads[16];
    for (std::thread& thread : threads)
        thread = std::thread([] { _LOG(0, "line"); });
    for (std::thread& thread : threads)
        thread.join();
    const int before = lines;
    _LOG(0, "line");
    std::printf("%s, %d", before >= 1 && before <= 16 ? "some" : "none", lines.load() - before);
    return 0;
}

class LogClasses : public testing::Test {
protected:
    std::string run(char const* child) {
        const test::ChildResult result = test::run_child(child);
        EXPECT_EQ(result.exit_code, 0);
        return result.output;
    }

    test::TemporaryFolder folder;
};

}  // namespace

TEST_F(LogClasses, AreOffAndWrittenToAnEmptyStoreByTheFirstLine) {
    EXPECT_EQ(run("empty_store"), "22 values, 0 on, 0 lines");
}

TEST_F(LogClasses, AreReadOnceAndByTheFirstLine) {
    EXPECT_EQ(run("value_of_two"), "0, 1 on, 1 lines, 20 values");
}

TEST_F(LogClasses, AreOffWithoutAStore) { EXPECT_EQ(run("no_store"), "0 on"); }

TEST_F(LogClasses, AreNotLoadedWhileTheLogIsHeldBack) {
    EXPECT_EQ(run("held_back"), "0 lines, 0 on, 1 lines");
}

TEST_F(LogClasses, AreLoadedByOneOfManyThreads) { EXPECT_EQ(run("many_first_lines"), "some, 1"); }

TEST(LogClassTable, IsNumberedByItsOrder) {
    for (int i = 0; i < kLogClassCount; ++i) {
        EXPECT_EQ(log_class_rows[i].id, i);
        EXPECT_NE(log_class_rows[i].name[0], 0);
    }
    EXPECT_EQ(log_class_rows[kLogClassCount].id, -1);
    EXPECT_EQ(log_class_rows[kLogClassCount].name[0], 0);
}

}  // namespace tarnwillow
