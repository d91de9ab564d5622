#include <gtest/gtest.h>

#include <random>

#include "support/failingAllocator.h"
#include "support/lists.h"
#include "tarnwillow/containers/CCollection.h"

namespace tarnwillow {
namespace {

using test::as_number;
using test::numbers;

int calls = 0;

// Values above 100 compare by their hundreds, so that equal ones can be told apart.
int by_hundreds(void* a, void* b, void*) {
    ++calls;
    const long left = as_number(a) / 100;
    const long right = as_number(b) / 100;
    return left > right ? 1 : (left < right ? -1 : 0);
}
int by_difference(void* a, void* b, void*) { return static_cast<int>(as_number(a) - as_number(b)); }
int always_five(void*, void*, void*) { return 5; }
int always_out_of_order(void*, void*, void*) { return 1; }
int by_context(void* a, void* b, void* context) {
    return by_hundreds(a, b, nullptr) * *static_cast<int*>(context);
}

std::string sorted(std::vector<long> values, CCollection::SortProc proc, bool ascending,
                   void* context = nullptr) {
    CCollection list;
    for (long value : values)
        list.Add(value);
    list.Set_Sort_Callback(proc, context);
    list.Sort(ascending);
    EXPECT_EQ(list.Entries(), static_cast<long>(values.size()));
    return numbers(list);
}

// The passes over neighbours that define the order.
std::string passes(std::vector<long> values, CCollection::SortProc proc, bool ascending) {
    const int wanted = ascending ? 1 : -1;
    bool changed = true;
    for (std::size_t end = values.size(); changed && end > 1; --end) {
        changed = false;
        for (std::size_t i = 0; i + 1 < end; ++i)
            if (proc(test::as_value(values[i]), test::as_value(values[i + 1]), nullptr) == wanted)
                std::swap(values[i], values[i + 1]), changed = true;
    }
    std::string text;
    for (long value : values)
        text += (text.empty() ? "" : " ") + std::to_string(value);
    return text;
}

TEST(Sort, IsStableInBothDirections) {
    EXPECT_EQ(sorted({301, 102, 201, 101, 302}, by_hundreds, true), "102 101 201 301 302");
    EXPECT_EQ(sorted({301, 102, 201, 101, 302}, by_hundreds, false), "301 302 201 102 101");
}

TEST(Sort, NeedsACallbackAndTwoItems) {
    EXPECT_EQ(sorted({3, 1}, nullptr, true), "3 1");
    calls = 0;
    EXPECT_EQ(sorted({300}, by_hundreds, true), "300");
    EXPECT_EQ(sorted({}, by_hundreds, true), "");
    EXPECT_EQ(calls, 0);
}

TEST(Sort, MovesOnlyOnAnswersOfExactlyOne) {
    EXPECT_EQ(sorted({9, 1, 5}, by_difference, true), "9 1 5");
    EXPECT_EQ(sorted({3, 2, 1}, by_difference, true), passes({3, 2, 1}, by_difference, true));
    EXPECT_EQ(sorted({9, 1, 5}, always_five, true), "9 1 5");
    EXPECT_EQ(sorted({1, 2, 3, 4}, always_out_of_order, true), "4 3 2 1");
}

TEST(Sort, GivesTheOrderOfThePassesForAnyList) {
    std::mt19937 random(1);
    for (int round = 0; round < 300; ++round) {
        std::vector<long> values(random() % 40);
        for (long& value : values)
            value = static_cast<long>(random() % 900);
        for (const auto proc : {by_hundreds, by_difference, always_out_of_order})
            for (const bool ascending : {true, false})
                ASSERT_EQ(sorted(values, proc, ascending), passes(values, proc, ascending));
    }
}

TEST(Sort, HandsTheContextOn) {
    int reverse = -1;
    EXPECT_EQ(sorted({100, 300, 200}, by_context, true, &reverse), "300 200 100");
}

TEST(Sort, SortsALongListInReasonablyManyCalls) {
    std::mt19937 random(2);
    std::vector<long> values(20000);
    for (long& value : values)
        value = static_cast<long>(random() % 1000000);
    calls = 0;
    sorted(values, by_hundreds, true);
    EXPECT_LT(calls, 20000 * 15);
}

TEST(Sort, WorksWithoutMemory) {
    CCollection list;
    test::add_numbers(list, {300, 100, 200});
    list.Set_Sort_Callback(by_hundreds, nullptr);
    {
        const test::FailingAllocator failing;
        list.Sort(true);
    }
    EXPECT_EQ(numbers(list), "100 200 300");
}

int by_first_byte(void* a, void* b, void*) {
    return *static_cast<char*>(a) > *static_cast<char*>(b) ? 1 : -1;
}

TEST(Sort, OwnedCopiesTakeTheirSizesAlong) {
    CCollection list;
    list.Add_Volatile("bbbb", 4);
    list.Add_Volatile("a", 1);
    list.Set_Sort_Callback(by_first_byte, nullptr);
    list.Sort(true);
    char buffer[8];
    int copied = 0;
    ASSERT_TRUE(list.Pop_Volatile(buffer, 8, &copied));
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(copied)), "a");
    ASSERT_TRUE(list.Pop_Volatile(buffer, 8, &copied));
    EXPECT_EQ(std::string(buffer, static_cast<std::size_t>(copied)), "bbbb");
}

}  // namespace
}  // namespace tarnwillow
