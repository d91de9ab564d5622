#include "tarnwillow/containers/itemPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/lists.h"
#include "tarnwillow/containers/globalCleanup.h"
#include "tarnwillow/platform/debugOutput.h"

namespace tarnwillow {
namespace {

using detail::pool_block_count;

class Items : public CCollection {
public:
    using CCollection::DeleteItem;
    using CCollection::GetListItem;
};

// Each runs in a process of its own: the pool is the process's.

TARNWILLOW_CHILD(blocks_of_499_items) {
    CCollection list;
    const std::uint32_t start = pool_block_count();
    // The cleanup list of the library holds two items already.
    for (int i = 0; i < 497; ++i)
        list.Add(i);
    if (pool_block_count() != start) return 1;
    list.Add(497);
    if (pool_block_count() != start + 1) return 2;
    list.Clear();
    for (int i = 0; i < 900; ++i)
        list.Add(i);
    return pool_block_count() == start + 1 ? 0 : 3;
}

char first_pool_text[64];
void note_debug_text(char16_t const* text) {
    CCollection list;  // from the pool that is just being made
    list.Add(1);
    for (int i = 0; i < 63 && text[i] != 0; ++i)
        first_pool_text[i] = static_cast<char>(text[i]);
}

TARNWILLOW_CHILD(pools_go_with_the_last_list) {
    Set_Debug_Output_Hook(note_debug_text);
    auto* survivor = new CCollection;
    test::add_numbers(*survivor, {1, 2});
    Run_Global_Cleanup(true);
    if (pool_block_count() == 0 || test::numbers(*survivor) != "1 2") return 1;
    delete survivor;
    if (pool_block_count() != 0) return 2;
    CCollection next;
    next.Add(3);
    if (pool_block_count() == 0 || test::numbers(next) != "3") return 3;
    return std::strcmp(first_pool_text, "Creating First Pool...") == 0 ? 0 : 4;
}

TARNWILLOW_CHILD(pools_go_at_once_when_told) {
    CCollection list;
    list.Add(1);
    Run_Global_Cleanup(false);
    if (pool_block_count() != 0) return 1;
    Free_Item_Pools();
    // A thread whose cache still names the old blocks starts afresh.
    alignas(CCollection) static std::byte storage[sizeof(CCollection)];
    auto* next = new (storage) CCollection;
    next->Add(2);
    std::_Exit(pool_block_count() == 1 && test::numbers(*next) == "2" ? 0 : 2);
}

TARNWILLOW_CHILD(no_memory_for_a_block) {
    CCollection list;
    const test::FailingAllocator failing(0, 10000);
    long thrown = 0;
    try {
        for (int i = 0; i < 1000; ++i)
            list.Add(i);
    } catch (long status) {
        thrown = status;
    }
    if (thrown != E_OUTOFMEMORY || list.Entries() != 497) return 1;
    try {
        list.Insert(nullptr, 3);
        return 2;
    } catch (long) {
    }
    list.Pop();
    return list.Push(1) && list.Entries() == 497 ? 0 : 3;
}

TARNWILLOW_CHILD(no_memory_for_the_table) {
    CCollection list;
    const std::uint32_t start = pool_block_count();
    for (int i = 0; i < 499 * 15; ++i)
        list.Add(i);
    const long before = list.Entries();
    const test::FailingAllocator failing(1);  // the block, then not the larger table
    try {
        for (int i = 0; i < 1000; ++i)
            list.Add(i);
        return 1;
    } catch (long status) {
        if (status != E_OUTOFMEMORY) return 2;
    }
    return list.Entries() >= before && pool_block_count() == start + 15 ? 0 : 3;
}

TEST(ItemPool, PerProcess) {
    for (char const* child :
         {"blocks_of_499_items", "pools_go_with_the_last_list", "pools_go_at_once_when_told",
          "no_memory_for_a_block", "no_memory_for_the_table"})
        EXPECT_EQ(test::run_child(child).exit_code, 0) << child;
}

TEST(ItemPool, FreedItemsReadAsSuchAndAreUsedAgain) {
    Items list;
    list.Add(1);
    CListItem* item = list.GetListItem(0);
    list.Pop();
    unsigned char expected[sizeof(CListItem)];
    std::memset(expected, 0xDB, sizeof expected);
    EXPECT_EQ(std::memcmp(item, expected, sizeof expected), 0);
    list.Add(2);
    EXPECT_EQ(list.GetListItem(0), item);
}

TEST(ItemPool, ForeignItemsAreDropped) {
    Items list;
    CListItem foreign{};
    list.DeleteItem(&foreign);
    list.DeleteItem(nullptr);
    list.Add(1);
    auto* inside = reinterpret_cast<CListItem*>(reinterpret_cast<char*>(list.GetListItem(0)) + 8);
    list.DeleteItem(inside);
    EXPECT_EQ(foreign.flags, 0u);
    EXPECT_EQ(test::numbers(list), "1");
}

TEST(ItemPool, ItemsMayComeAndGoInDifferentThreads) {
    const std::uint32_t before = pool_block_count();
    for (int round = 0; round < 20; ++round) {
        CCollection lists[4];
        std::vector<std::thread> threads;
        for (CCollection& list : lists)
            threads.emplace_back([&list] {
                for (int i = 0; i < 3000; ++i) {
                    list.Add(i);
                    if (i % 3 == 0) list.Pop();
                }
            });
        for (std::thread& thread : threads)
            thread.join();
        for (CCollection& list : lists)
            EXPECT_EQ(list.Entries(), 2000);
    }
    // The threads gave their spare items back: the blocks did not pile up.
    EXPECT_LT(pool_block_count(), before + 40);
}

}  // namespace
}  // namespace tarnwillow
