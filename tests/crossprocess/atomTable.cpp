#include "tarnwillow/crossprocess/atomTable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

#include "crossprocess/atoms.h"

namespace tarnwillow::detail {
namespace {

class AtomTableTest : public testing::Test {
protected:
    AtomTableTest() {
        std::memset(shared.get(), 0xA5, sizeof *shared);
        table.format();
    }
    std::int32_t add(std::int32_t id) { return table.add(1, id, &id, sizeof id); }
    std::string list() const {
        std::string text;
        for (std::int32_t index : test::listed(*shared))
            text += (text.empty() ? "" : " ") + std::to_string(index);
        return text;
    }
    std::string fault() const { return test::fault_of(*shared); }

    const std::unique_ptr<SharedTable> shared = std::make_unique<SharedTable>();
    AtomTable table{*shared};
};

TEST_F(AtomTableTest, BeginsEmpty) {
    EXPECT_EQ(fault(), "");
    EXPECT_EQ(shared->count, 0);
    EXPECT_EQ(shared->head, -1);
    EXPECT_EQ(shared->tail, -1);
    EXPECT_EQ(shared->free_atoms[0], 0);
    EXPECT_EQ(shared->free_atoms[255], 255);
}

TEST_F(AtomTableTest, HandsOutFreedAtomsLast) {
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(add(i), i);
    table.release(1);
    EXPECT_EQ(shared->free_atoms[253], 1);
    for (int i = 3; i < 256; ++i)
        EXPECT_EQ(add(i), i);
    EXPECT_EQ(add(1000), 1);
    EXPECT_EQ(add(1001), -1);
    EXPECT_EQ(fault(), "");
}

TEST_F(AtomTableTest, KeepsItsListWhereverAnAtomGoes) {
    for (int i = 0; i < 5; ++i)
        add(i);
    table.release(2);
    EXPECT_EQ(list(), "0 1 3 4");
    table.release(0);
    EXPECT_EQ(list(), "1 3 4");
    table.release(4);
    EXPECT_EQ(list(), "1 3");
    table.release(4);
    EXPECT_EQ(list(), "1 3") << "not a second time";
    EXPECT_EQ(fault(), "");
    table.release(1);
    table.release(3);
    EXPECT_EQ(shared->head, -1);
    EXPECT_EQ(shared->tail, -1);
    EXPECT_EQ(fault(), "");
}

TEST_F(AtomTableTest, IsPutRightInItsOldOrderBehindADeadHolder) {
    for (int i = 0; i < 4; ++i)
        add(i);
    table.release(1);
    add(4);
    const std::string before = list();
    shared->count |= static_cast<std::int32_t>(0x80000000);
    shared->tail = 0;
    shared->atoms[3].previous = 77;
    shared->free_atoms[0] = 3;
    shared->atoms[200].data[5] = 1;
    table.settle();
    EXPECT_EQ(fault(), "");
    EXPECT_EQ(list(), before);
    EXPECT_EQ(table.find(1, 4), 4);
}

TEST_F(AtomTableTest, KeepsAtomsThatTheListHasLost) {
    for (int i = 0; i < 4; ++i)
        add(i);
    shared->count = -1;
    shared->atoms[1].next = 255;
    table.settle();
    EXPECT_EQ(fault(), "");
    EXPECT_EQ(list(), "0 1 2 3");
}

/// Bytes of any kind, most of them the sort of number that leads somewhere.
void scribble(SharedTable& table, std::mt19937& generator) {
    const auto random = [&] { return static_cast<std::uint32_t>(generator()); };
    auto* words = reinterpret_cast<std::uint32_t*>(&table);
    const int changes = static_cast<int>(random() % 64);
    for (int i = 0; i < changes; ++i) {
        const std::uint32_t kinds[] = {random(), random() % 256, 0xFFFFFFFF, 0, 1, 256};
        const bool links = random() % 2 == 0;
        const std::size_t word =
            links ? (12 + 1024 + 540 * (random() % 256)) / 4 + random() % 6 : random() % 259;
        words[word] = kinds[random() % 6];
    }
}

TEST_F(AtomTableTest, NeitherHangsNorLeavesItsBytesWhateverStandsThere) {
    std::mt19937 random(4711);
    for (int round = 0; round < 3000; ++round) {
        scribble(*shared, random);
        table.settle();
        for (int i = 0; i < 8; ++i) {
            const auto key = static_cast<std::int32_t>(random() % 64);
            if (table.find(1, key) < 0) add(key);
            table.release(table.find(1, static_cast<std::int32_t>(random() % 64)));
            ASSERT_GE(table.count(), 0);
            ASSERT_LE(table.count(), kAtoms);
        }
        shared->count = -1;
        table.settle();
        const std::string found = fault();
        // Scribbled keys may be double; all else is put right.
        ASSERT_TRUE(found.empty() || found == "a key twice") << found;
    }
}

}  // namespace
}  // namespace tarnwillow::detail
