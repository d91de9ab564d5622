#include <gtest/gtest.h>
#include <pthread.h>

#include <cstdint>
#include <memory>

#include "support/failingAllocator.h"
#include "support/hashTables.h"
#include "support/reports.h"
#include "tarnwillow/containers/CHashedCollection.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {
namespace {

using test::as_number;
using test::as_value;
using test::Table;

class HashWalk : public testing::Test {
protected:
    ~HashWalk() override { table.Return_Iterator(walk); }

    void fill(std::initializer_list<std::u16string> keys) {
        table.put_all(keys);
        walk = table.Get_Entries_Iterator();
    }
    long first() { return as_number(table.Reset_Iterator(walk, key, &length)); }
    long next() { return as_number(table.Iterate_Next(walk, key, &length)); }
    void remove_current() { table.Remove_Current_Iterator_Item(walk); }

    Table table;
    long walk = 0;
    char16_t key[256] = u"untouched";
    long length = -1;
};

TEST_F(HashWalk, DeliversEntriesInOrderAndThenTheEmptyKey) {
    fill({u"one", u"two"});
    EXPECT_EQ(first(), 1);
    EXPECT_EQ(std::u16string(key), u"one");
    EXPECT_EQ(length, 1);
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 0);
    EXPECT_EQ(std::u16string(key), u"");
    EXPECT_EQ(length, 2);
    EXPECT_EQ(as_number(table.Reset_Iterator(walk, nullptr, nullptr)), 1);
}

TEST_F(HashWalk, HasNothingToDeliverOrRemoveInAnEmptyTable) {
    fill({});
    EXPECT_NE(walk, 0);
    remove_current();
    EXPECT_EQ(first(), 0);
    EXPECT_EQ(key[0], 0);
    remove_current();
    EXPECT_EQ(length, -1);
    table.Enumerate_Key_Data_Pair([](long, void*) { FAIL(); });
}

TEST_F(HashWalk, RemovesWhereItStands) {
    fill({u"a", u"b", u"c", u"d"});
    first();
    remove_current();
    EXPECT_EQ(next(), 2);
    EXPECT_EQ(next(), 3);
    remove_current();
    EXPECT_EQ(next(), 4);
    EXPECT_EQ(table.content(), u"b=2 d=4");
    EXPECT_EQ(table.get(u"a"), -1);
    EXPECT_EQ(table.get(u"c"), -1);
    EXPECT_EQ(table.put(u"a", 5), S_OK);
}

TEST_F(HashWalk, RemovesThatVeryEntryAmongDuplicates) {
    fill({u"k", u"k", u"k", u"k"});
    first();
    next();
    remove_current();
    EXPECT_EQ(table.content(), u"k=1 k=3 k=4");
    EXPECT_EQ(next(), 3);
    EXPECT_EQ(next(), 4);
    remove_current();
    table.put(u"k", 5);
    for (long expected : {1L, 3L, 5L}) {
        EXPECT_EQ(table.get(u"k"), expected);
        EXPECT_EQ(table.Remove(u"k"), S_OK);
    }
    EXPECT_EQ(table.Remove(u"k"), ERROR_NOT_FOUND);
}

TEST_F(HashWalk, FreesTheCopyOfARemovedEntry) {
    fill({u"k"});
    const long before = test::live_allocations();
    table.Add_Volatile(u"copy", "copy", 5);
    first();
    next();
    remove_current();
    EXPECT_EQ(test::live_allocations(), before);
}

TEST_F(HashWalk, TakesNoOtherNumberForAHandle) {
    const test::ReportCollector collector;
    fill({u"a"});
    const std::uint64_t memory[8] = {};
    Table other;
    const long foreign = other.Get_Entries_Iterator();
    for (const long handle : {0L, 1L, reinterpret_cast<long>(memory)}) {
        key[0] = u'x';
        EXPECT_EQ(table.Reset_Iterator(handle, key, &length), nullptr);
        EXPECT_EQ(key[0], 0);
        EXPECT_EQ(table.Iterate_Next(handle, nullptr, nullptr), nullptr);
        table.Remove_Current_Iterator_Item(handle);
        table.Return_Iterator(handle);
    }
    other.put(u"a", 1);
    other.Reset_Iterator(foreign, nullptr, nullptr);
    table.Remove_Current_Iterator_Item(foreign);
    EXPECT_EQ(table.content() + other.content(), u"a=1a=1");
    other.Return_Iterator(foreign);
    EXPECT_EQ(collector.names(), u"");
    const long wild = 0x10000;
    EXPECT_EQ(table.Iterate_Next(wild, key, &length), nullptr);
    table.Return_Iterator(wild);
    EXPECT_EQ(collector.names(),
              u"CHashedCollection::Iterate_Next,CHashedCollection::Return_Iterator");
}

TEST_F(HashWalk, HandlesEndWhenTheTableIsInitialisedAnew) {
    fill({u"a"});
    table.Initialize(5);
    table.put(u"b", 2);
    EXPECT_EQ(table.Reset_Iterator(walk, key, &length), nullptr);
    EXPECT_EQ(table.Iterate_Next(walk, key, &length), nullptr);
    remove_current();
    EXPECT_EQ(table.content(), u"b=2");
}

TEST_F(HashWalk, WithoutMemoryThereIsNoHandle) {
    const test::FailingAllocator failing;
    EXPECT_EQ(table.Get_Entries_Iterator(), 0);
}

TEST_F(HashWalk, AnIteratorDeliversTheData) {
    fill({u"a", u"b"});
    CIterator data;
    EXPECT_EQ(as_number(data.Iterate(&table)), 1);
    EXPECT_EQ(as_number(data.Next()), 2);
    EXPECT_EQ(data.Next(), nullptr);
    EXPECT_EQ(CIterator().Iterate(static_cast<CHashedCollection*>(nullptr)), nullptr);
}

TEST_F(HashWalk, AnIteratorDeletesFromTheOrderOnly) {
    fill({u"a", u"b", u"c"});
    CIterator data;
    data.Iterate(&table);
    data.Next();
    data.Delete_Current();
    CCollection other;
    test::add_numbers(other, {7, 8});
    EXPECT_EQ(table.content(), u"a=1 c=3");
    EXPECT_EQ(table.get(u"b"), 2);
    EXPECT_EQ(table.Remove(u"b"), S_OK);
    EXPECT_EQ(table.put(u"d", 4), S_OK);
    EXPECT_EQ(table.content(), u"a=1 c=3 d=4");
    EXPECT_EQ(table.Get_Num_Entries(), 3);
    EXPECT_EQ(test::numbers(other), "7 8");
}

TEST_F(HashWalk, EnumeratesUntilAFault) {
    static std::u16string seen;
    seen.clear();
    fill({u"a", u"b", u"c"});
    const test::ReportCollector collector;
    table.Enumerate_Key_Data_Pair([](long name, void* data) {
        seen += reinterpret_cast<char16_t const*>(name);
        if (as_number(data) == 2) test::fault();
    });
    EXPECT_EQ(seen, u"ab");
    EXPECT_EQ(collector.names(), u"CHashedCollection::Enumerate_Key_Data_Pair");
}

int by_key(char16_t const* a, char16_t const* b, void*) {
    const int order = wide::compare(a, b);
    return (order > 0) - (order < 0);
}

int by_data(void* a, void* b, void* calls) {
    if (calls != nullptr) ++*static_cast<int*>(calls);
    return (as_number(a) > as_number(b)) - (as_number(a) < as_number(b));
}

TEST_F(HashWalk, SortsTheOrderAndNothingElse) {
    fill({u"c", u"a", u"b", u"a"});
    table.Sort_Iteration_Results_By_Key(true, by_key, nullptr);
    EXPECT_EQ(table.content(), u"a=2 a=4 b=3 c=1");
    int calls = 0;
    table.Sort_Iteration_Results(false, by_data, &calls);
    EXPECT_GT(calls, 0);
    EXPECT_EQ(table.content(), u"a=4 b=3 a=2 c=1");
    EXPECT_EQ(table.get(u"a"), 2);  // duplicates keep their own order
    EXPECT_EQ(table.Remove(u"a"), S_OK);
    EXPECT_EQ(table.Change_Item_Key(u"b", u"z"), S_OK);
    table.put(u"new", 5);
    EXPECT_EQ(table.content(), u"a=4 z=3 c=1 new=5");
    first();
    remove_current();
    EXPECT_EQ(table.get(u"a"), -1);
    EXPECT_EQ(table.content(), u"z=3 c=1 new=5");
}

TEST_F(HashWalk, AFaultInASortLeavesThePairInOrder) {
    fill({u"c", u"b", u"a"});
    const test::ReportCollector collector;
    table.Sort_Iteration_Results_By_Key(
        true,
        [](char16_t const* a, char16_t const* b, void*) {
            if (*a == u'c' && *b == u'b') test::fault();
            return by_key(a, b, nullptr);
        },
        nullptr);
    EXPECT_NE(collector.names(), u"");
    EXPECT_EQ(table.get(u"a") + table.get(u"b") + table.get(u"c"), 6);
    const std::u16string order = table.content();
    table.Sort_Iteration_Results_By_Key(true, nullptr, nullptr);
    EXPECT_EQ(table.content(), order);
}

TEST_F(HashWalk, ASortThatItsThreadDoesNotOutliveLeavesTheTableWhole) {
    fill({u"a", u"b", u"c"});
    pthread_t thread;
    const auto sort = [](void* sorted) -> void* {
        int calls = 0;
        const auto end_at_second = [](void*, void*, void* count) {
            if (++*static_cast<int*>(count) == 2) pthread_exit(nullptr);
            return 1;
        };
        static_cast<Table*>(sorted)->Sort_Iteration_Results(true, end_at_second, &calls);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, nullptr, sort, &table), 0);
    pthread_join(thread, nullptr);
    for (char16_t const* name : {u"a", u"b", u"c"})
        EXPECT_EQ(table.Remove(name), S_OK);
    EXPECT_EQ(table.Get_Num_Entries(), 0);
}

// Raw storage: the destructor of the one of the two that is given up must not run.
TEST(HashCopy, SharesEverything) {
    alignas(Table) unsigned char storage[sizeof(Table)];
    auto* source = new (storage) Table;
    source->put_all({u"a", u"b"});
    auto copy = std::make_unique<Table>(*source);
    EXPECT_EQ(copy->content(), u"a=1 b=2");
    EXPECT_EQ(copy->Get_Hash_Entry(u"a"), source->Get_Hash_Entry(u"a"));
    EXPECT_EQ(copy->put(u"c", 3), S_OK);
    EXPECT_EQ(copy->Remove(u"a"), S_OK);
    EXPECT_EQ(copy->content(), u"b=2 c=3");
}

}  // namespace
}  // namespace tarnwillow
