#include "tarnwillow/containers/CIterator.h"

#include <gtest/gtest.h>

#include "support/lists.h"

namespace tarnwillow {
namespace {

using test::as_number;
using test::as_value;
using test::numbers;

class Iterator : public testing::Test {
protected:
    void fill(std::initializer_list<long> values) { test::add_numbers(list, values); }
    long start() { return as_number(walk.Iterate(&list)); }
    long next() { return as_number(walk.Next()); }
    long previous() { return as_number(walk.Previous()); }

    CCollection list;
    CIterator walk;
};

TEST_F(Iterator, WalksToTheEndAndStaysOnTheLast) {
    fill({1, 2});
    EXPECT_EQ(start(), 1);
    EXPECT_TRUE(walk.More());
    EXPECT_EQ(next(), 2);
    EXPECT_TRUE(walk.More());
    EXPECT_EQ(walk.Next(), nullptr);
    EXPECT_FALSE(walk.More());
    EXPECT_EQ(as_number(walk.Current()), 2);
}

TEST_F(Iterator, FindsNothingInEmptyAndMissingLists) {
    EXPECT_EQ(walk.Next(), nullptr);
    EXPECT_FALSE(walk.More());
    EXPECT_EQ(walk.Iterate(&list), nullptr);
    EXPECT_FALSE(walk.More());
    EXPECT_EQ(walk.Iterate(static_cast<CCollection*>(nullptr)), nullptr);
    EXPECT_FALSE(walk.More());
    EXPECT_EQ(walk.Previous(), nullptr);
    walk.Reset();
    walk.Delete_Current();
    EXPECT_EQ(walk.Iterate(nullptr, 1), nullptr);
}

TEST_F(Iterator, NullValuesAreNoEnd) {
    fill({0, 0, 3});
    EXPECT_EQ(numbers(list), "0 0 3");
}

TEST_F(Iterator, StepsBack) {
    fill({1, 2, 3});
    start();
    EXPECT_EQ(walk.Previous(), nullptr);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(previous(), 2);
    EXPECT_EQ(previous(), 1);
    EXPECT_EQ(next(), 2);
}

TEST_F(Iterator, StartsAtAValue) {
    fill({1, 2, 3});
    EXPECT_EQ(as_number(walk.Iterate(&list, as_value(2))), 2);
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(walk.Iterate(&list, as_value(9)), nullptr);
    EXPECT_EQ(walk.Iterate(&list, nullptr), nullptr);
}

TEST_F(Iterator, StartsAtAPosition) {
    fill({1, 2, 3});
    EXPECT_EQ(as_number(walk.Iterate(&list, 0)), 1);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(as_number(walk.Iterate(&list, short{2})), 3);
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(as_number(walk.Iterate(&list, 1L)), 2);
    for (int outside : {3, -1})
        EXPECT_EQ(walk.Iterate(&list, outside), nullptr);
}

TEST_F(Iterator, ResetsToTheStartOrToAValue) {
    fill({1, 2, 3});
    start(), next();
    walk.Reset();
    EXPECT_EQ(as_number(walk.Current()), 2);
    EXPECT_EQ(next(), 1);
    EXPECT_EQ(as_number(walk.Reset_To(as_value(3))), 3);
    EXPECT_EQ(walk.Reset_To(as_value(9)), nullptr);
    EXPECT_EQ(walk.Next(), nullptr);
}

TEST_F(Iterator, DeletesUnderItselfAndGoesOnBehind) {
    fill({1, 2, 3});
    start();
    walk.Delete_Current();
    EXPECT_EQ(walk.Current(), nullptr);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 3);
    walk.Delete_Current();
    EXPECT_EQ(as_number(walk.Current()), 2);
    EXPECT_EQ(walk.Next(), nullptr);
    EXPECT_FALSE(walk.More());
    EXPECT_EQ(numbers(list), "2");
}

TEST_F(Iterator, StepsBackOverTheGap) {
    fill({1, 2, 3});
    start(), next();
    walk.Delete_Current();
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(previous(), 1);
}

TEST_F(Iterator, EmptiesAListWhileWalking) {
    fill({1, 2, 3});
    for (walk.Iterate(&list); walk.More(); walk.Next())
        walk.Delete_Current();
    EXPECT_EQ(list.Entries(), 0);
    list.Add_String("copy");
    walk.Iterate(&list);
    walk.Delete_Current();
    EXPECT_FALSE(walk.More());
}

TEST_F(Iterator, CopyWalksOnItsOwn) {
    fill({1, 2, 3});
    start();
    CIterator copy = walk;
    EXPECT_EQ(as_number(copy.Next()), 2);
    EXPECT_EQ(next(), 2);
    copy.Next();
    EXPECT_EQ(as_number(walk.Current()), 2);
}

}  // namespace
}  // namespace tarnwillow
