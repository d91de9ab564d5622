// The table beside a plain model, without memory, and among threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>
#include <thread>
#include <vector>

#include "support/failingAllocator.h"
#include "support/hashTables.h"

namespace tarnwillow {
namespace {

using test::as_number;
using test::as_value;
using test::Table;

// Says in the plainest way what the table does: the order, and for each key its queue.
class Model {
public:
    void add(const std::u16string& key, long number) {
        order_.push_back({key, number});
        queue_.push_back({key, number});
    }
    bool remove(const std::u16string& key) {
        const auto found = find_in(queue_, key);
        if (found == queue_.end()) return false;
        drop(found->number);
        return true;
    }
    void drop(long number) {
        const auto is_it = [=](const Pair& pair) { return pair.number == number; };
        std::erase_if(order_, is_it);
        std::erase_if(queue_, is_it);
    }
    long get(const std::u16string& key) {
        const auto found = find_in(queue_, key);
        return found == queue_.end() ? -1 : found->number;
    }
    bool change(const std::u16string& key, const std::u16string& new_key) {
        const auto found = find_in(queue_, key);
        if (found == queue_.end()) return false;
        const long number = found->number;
        queue_.erase(found);
        queue_.push_back({new_key, number});
        for (Pair& pair : order_)
            if (pair.number == number) pair.key = new_key;
        return true;
    }
    void sort_by_number_falling() {
        std::stable_sort(order_.begin(), order_.end(),
                         [](const Pair& a, const Pair& b) { return a.number > b.number; });
    }
    long number_at(std::size_t place) const { return order_[place].number; }
    std::size_t size() const { return order_.size(); }
    std::u16string content() const {
        std::u16string text;
        for (const Pair& pair : order_) {
            const std::string number = std::to_string(pair.number);
            text += (text.empty() ? u"" : u" ") + pair.key + u"=" +
                    std::u16string(number.begin(), number.end());
        }
        return text;
    }

private:
    struct Pair {
        std::u16string key;
        long number;
    };
    static std::vector<Pair>::iterator find_in(std::vector<Pair>& pairs,
                                               const std::u16string& key) {
        return std::find_if(pairs.begin(), pairs.end(),
                            [&](const Pair& pair) { return pair.key == key; });
    }
    std::vector<Pair> order_;
    std::vector<Pair> queue_;
};

class BesideModel : public testing::TestWithParam<int> {
protected:
    std::u16string any_key() {
        const unsigned number = random() % 60;
        return std::u16string(1 + number % 11, static_cast<char16_t>(u'a' + number % 26));
    }
    void remove_at_random_place() {
        if (model.size() == 0) return;
        const std::size_t place = random() % model.size();
        const long walk = table.Get_Entries_Iterator();
        for (std::size_t i = 0; i < place; ++i)
            table.Iterate_Next(walk, nullptr, nullptr);
        table.Remove_Current_Iterator_Item(walk);
        table.Return_Iterator(walk);
        model.drop(model.number_at(place));
    }
    void sort() {
        table.Sort_Iteration_Results(
            true, [](void* a, void* b, void*) { return as_number(a) < as_number(b) ? 1 : -1; },
            nullptr);
        model.sort_by_number_falling();
    }
    void step() {
        const std::u16string key = any_key();
        const std::u16string other = any_key();
        switch (random() % 12) {
            case 0:
            case 1:
            case 2:
            case 3:
                model.add(key, ++last_number);
                ASSERT_EQ(table.put(key, last_number), S_OK);
                break;
            case 4:
            case 5:
                ASSERT_EQ(table.Remove(key.c_str()) == S_OK, model.remove(key));
                break;
            case 6:
            case 7:
                ASSERT_EQ(table.Change_Item_Key(key.c_str(), other.c_str()) == S_OK,
                          model.change(key, other));
                break;
            case 8:
                remove_at_random_place();
                break;
            case 9:
                if (random() % 50 == 0) sort();
                break;
            default:
                break;
        }
        ASSERT_EQ(table.get(other), model.get(other));
    }

    std::mt19937 random{static_cast<unsigned>(GetParam())};
    long last_number = 0;
    Table table{GetParam()};
    Model model;
};

TEST_P(BesideModel, AnswersAlike) {
    for (int round = 0; round < 200; ++round) {
        for (int i = 0; i < 25; ++i)
            ASSERT_NO_FATAL_FAILURE(step());
        ASSERT_EQ(table.content(), model.content());
        ASSERT_EQ(table.Get_Num_Entries(), static_cast<long>(model.size()));
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, BesideModel, testing::Values(1, 7, 50, 1000));

// Work that allocates everything a table allocates: slots, records and copies.
void work(Table& table) {
    for (long number = 1; number <= 12; ++number) {
        table.Add_Volatile(number, "copy", 5);
        table.put(u"same", number);
        table.Replace_Data_Volatile(number, "another", 8, nullptr);
        table.Change_Item_Key(0xABC, number + 100);
        table.Add(0xABC, nullptr, 0);
    }
}

// Whether every entry that the order has is found, as often as it is there. Removes them all.
bool is_consistent(Table& table) {
    std::vector<std::u16string> keys;
    char16_t key[256];
    const long walk = table.Get_Entries_Iterator();
    for (table.Reset_Iterator(walk, key, nullptr); key[0] != 0;
         table.Iterate_Next(walk, key, nullptr))
        keys.emplace_back(key);
    table.Return_Iterator(walk);
    const bool all_found = std::all_of(
        keys.begin(), keys.end(),
        [&](const std::u16string& present) { return table.Remove(present.c_str()) == S_OK; });
    return all_found && table.Get_Num_Entries() == 0 && table.get(u"same") == -1;
}

TEST(HashTableWithoutMemory, StaysWholeWhicheverAllocationFails) {
    {
        Table filling_the_pool_of_list_items;
        work(filling_the_pool_of_list_items);
    }
    std::size_t refused = 1;
    for (std::size_t successes = 0; refused > 0; ++successes) {
        ASSERT_LT(successes, 1000u);
        const long before = test::live_allocations();
        {
            Table table(3);
            {
                const test::FailingAllocator failing(successes);
                work(table);
                refused = failing.refused();
            }
            ASSERT_TRUE(is_consistent(table));
            ASSERT_EQ(table.put(u"later", 1), S_OK);
        }
        ASSERT_EQ(test::live_allocations(), before) << successes;
    }
}

TEST(HashTableWithoutMemory, ListItemsComeWithTheRecords) {
    Table table(10000);
    table.put(u"first", 0);
    CCollection drain;
    {
        const test::FailingAllocator failing;
        EXPECT_THROW(while (true) drain.Add(1), long);
        EXPECT_EQ(table.put(u"second", 2), S_OK);
    }
    EXPECT_EQ(table.content(), u"first=0 second=2");
}

// A table that took the other thread's copies for its own data, or the reverse, would free numbers
// or leak copies.
void mix_copies_and_plain_data() {
    Table table;
    table.Protect(u"test", 0);
    std::thread copies([&] {
        for (int i = 0; i < 5000; ++i) {
            table.Add_Volatile(u"copy", "copy", 5);
            table.Replace_Data_Volatile(u"copy", "other", 6, nullptr);
            table.Remove(u"copy");
        }
    });
    table.Unprotect();
    for (long i = 0; i < 5000; ++i) {
        void* old = nullptr;
        EXPECT_EQ(table.put(u"plain", i), S_OK);
        EXPECT_EQ(table.Replace_Data(u"plain", as_value(i + 1), 0, &old), S_OK);
        EXPECT_EQ(as_number(old), i);
        EXPECT_EQ(table.Remove(u"plain"), S_OK);
    }
    copies.join();
    EXPECT_EQ(table.Get_Num_Entries(), 0);
}

TEST(HashTableAmongThreads, CopiesAndPlainDataNeverMix) {
    mix_copies_and_plain_data();  // what the pool keeps for this thread stands from here on
    const long before = test::live_allocations();
    mix_copies_and_plain_data();
    EXPECT_EQ(test::live_allocations(), before);
}

// Linear in the number of duplicates: a table that walked them would need minutes.
TEST(HashTable, ManyDuplicatesAreAddedAndRemovedQuickly) {
    constexpr long kNumber = 200'000;
    Table table(1000);
    for (long i = 0; i < kNumber; ++i)
        table.put(u"same", i);
    for (long i = 0; i < kNumber / 2; ++i)
        table.Remove(u"same");
    EXPECT_EQ(table.get(u"same"), kNumber / 2);
    const long walk = table.Get_Entries_Iterator();
    while (table.Get_Num_Entries() > 0) {
        table.Remove_Current_Iterator_Item(walk);
        table.Iterate_Next(walk, nullptr, nullptr);
    }
    table.Return_Iterator(walk);
    EXPECT_EQ(table.get(u"same"), -1);
}

}  // namespace
}  // namespace tarnwillow
