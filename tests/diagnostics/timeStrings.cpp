#include <fnmatch.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <thread>
#include <vector>

#include "tarnwillow/diagnostics/crashDumps.h"

namespace tarnwillow {
namespace {

std::string text_of(char16_t const* units) {
    const std::u16string_view wide(units);
    return {wide.begin(), wide.end()};
}

/// The text for that second, without its milliseconds.
std::string stamp(std::time_t seconds) {
    char text[64];
    std::tm local{};
    localtime_r(&seconds, &local);
    std::strftime(text, sizeof text, "%m.%d.%Y (%a) %H.%M.%S.", &local);
    return text;
}

}  // namespace

TEST(TimeString, ShowsTheLocalTimeMonthFirst) {
    const std::time_t before = std::time(nullptr);
    const std::string text = text_of(Get_Current_Time_String());
    const std::time_t after = std::time(nullptr);
    ASSERT_EQ(fnmatch("*.0[0-9][0-9][0-9]", text.c_str(), 0), 0) << text;
    const std::string whole_seconds = text.substr(0, text.size() - 4);
    EXPECT_TRUE(whole_seconds == stamp(before) || whole_seconds == stamp(after)) << text;
}

TEST(TimeString, ComesBackAfter120Calls) {
    char16_t const* const first = Get_Current_Time_String();
    for (int i = 1; i < 120; ++i)
        EXPECT_NE(Get_Current_Time_String(), first);
    EXPECT_EQ(Get_Current_Time_String(), first);
}

TEST(TimeString, OfSeveralThreadsAreApart) {
    std::vector<char16_t const*> taken[4];
    std::vector<std::thread> threads;
    for (auto& own : taken)
        threads.emplace_back([&own] {
            for (int i = 0; i < 30; ++i)
                own.push_back(Get_Current_Time_String());
        });
    std::vector<char16_t const*> all;
    for (int i = 0; i < 4; ++i) {
        threads[static_cast<std::size_t>(i)].join();
        all.insert(all.end(), taken[i].begin(), taken[i].end());
    }
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::unique(all.begin(), all.end()), all.end());
}

}  // namespace tarnwillow
