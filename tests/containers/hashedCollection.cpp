#include "tarnwillow/containers/CHashedCollection.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/hashTables.h"
#include "support/reports.h"

namespace tarnwillow {
namespace {

using test::as_number;
using test::as_value;
using test::Table;

// What is a key to the compiler. NULL must not pass for the number 0.
template <class T>
concept TakesNullMacro = requires(T& table) {
    table.Remove(NULL);
};
template <class T, class Key>
concept TakesKey = requires(T& table, Key key) {
    table.Remove(key);
};
static_assert(!TakesNullMacro<CHashedCollection>);
static_assert(!TakesKey<CHashedCollection, wchar_t const*> && !TakesKey<CHashedCollection, void*>);
static_assert(TakesKey<CHashedCollection, std::nullptr_t> && TakesKey<CHashedCollection, char*>);
static_assert(TakesKey<CHashedCollection, unsigned long> && TakesKey<CHashedCollection, short>);

TEST(HashTable, AnswersByItsState) {
    Table raw(-1);
    void* old = nullptr;
    EXPECT_EQ(raw.put(u"a", 1), E_UNEXPECTED);
    EXPECT_EQ(raw.Add_Volatile(u"a", "x", 1), E_UNEXPECTED);
    EXPECT_THROW(raw.Find(u"a", nullptr, nullptr), int);
    EXPECT_THROW(raw.Change_Item_Key(u"a", u"b"), int);
    EXPECT_EQ(raw.Remove(u"a"), S_OK);
    EXPECT_EQ(raw.Replace_Data(u"a", nullptr, 0, &old), ERROR_NOT_FOUND);
    EXPECT_EQ(raw.Replace_Data_Volatile(u"a", "x", 1, &old), ERROR_NOT_FOUND);
    EXPECT_EQ(raw.Get_Indexed_Entry(0, nullptr, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(raw.Get_Num_Entries(), 0);
    EXPECT_EQ(raw.Determine_Location(u"a"), -1);

    Table none(0);
    EXPECT_EQ(none.put(u"a", 1), E_OUTOFMEMORY);
    EXPECT_EQ(none.Remove(u"a"), S_OK);
    EXPECT_EQ(none.Find(u"a", nullptr, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(none.Replace_Data(u"a", nullptr, 0, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(none.Change_Item_Key(u"a", u"b"), E_FAIL);
}

TEST(HashTable, AFailedInitializeLeavesItWithoutEntriesAndSize) {
    Table table;
    table.put(u"a", 1);
    EXPECT_EQ(table.Initialize(-5), E_INVALIDARG);
    EXPECT_EQ(table.put(u"a", 1), E_UNEXPECTED);
    EXPECT_EQ(table.Initialize(3), S_OK);
    table.put(u"a", 1);
    {
        const test::FailingAllocator failing;
        EXPECT_EQ(table.Initialize(7), E_OUTOFMEMORY);
    }
    EXPECT_EQ(table.Get_Num_Entries(), 0);
    EXPECT_EQ(table.Determine_Location(u"a"), -1);
    EXPECT_EQ(table.put(u"a", 1), E_UNEXPECTED);
}

TEST(HashTable, ASizeWhoseRecordsCannotBeHadFailsInAdd) {
    Table table(INT_MAX);
    const test::FailingAllocator failing(0, 1UL << 30);
    EXPECT_EQ(table.put(u"a", 1), E_OUTOFMEMORY);
    EXPECT_EQ(table.get(u"a"), -1);
    EXPECT_EQ(table.Initialize(1), S_OK);
    EXPECT_EQ(table.put(u"a", 1), S_OK);
}

TEST(HashTable, KeysMayHave255Units) {
    Table table;
    const std::u16string longest(255, u'k');
    const std::u16string too_long(256, u'k');
    EXPECT_EQ(table.put(longest, 1), S_OK);
    EXPECT_EQ(table.put(too_long, 2), E_INVALIDARG);
    EXPECT_EQ(table.Add_Volatile(too_long.c_str(), "x", 1), E_INVALIDARG);
    EXPECT_EQ(table.Change_Item_Key(longest.c_str(), too_long.c_str()), E_INVALIDARG);
    EXPECT_EQ(table.Replace_Data_Volatile(too_long.c_str(), "x", 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Find(too_long.c_str(), nullptr, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(table.Remove(too_long.c_str()), ERROR_NOT_FOUND);
    EXPECT_EQ(table.get(longest), 1);
    EXPECT_EQ(table.Get_Num_Entries(), 1);
}

TEST(HashTable, NarrowKeysAreTheirWideText) {
    Table table;
    table.put(u"grün", 1);
    void* data = nullptr;
    EXPECT_EQ(table.Find("gr\xC3\xBCn", &data, nullptr), S_OK);
    EXPECT_EQ(as_number(data), 1);
    EXPECT_NE(table.Get_Hash_Entry("gr\xC3\xBCn"), nullptr);
    EXPECT_EQ(table.Change_Item_Key("gr\xC3\xBCn", "blau"), S_OK);
    EXPECT_EQ(table.get(u"blau"), 1);

    std::string text;
    for (int i = 0; i < 255; ++i)
        text += "\xE2\x82\xAC";
    EXPECT_EQ(table.Add(text.c_str(), nullptr, 0), S_OK);
    EXPECT_EQ(table.Remove(text.c_str()), S_OK);
    EXPECT_EQ(table.Add((text + "k").c_str(), nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(table.Find((text + "\xE2\x82").c_str(), nullptr, nullptr), ERROR_NOT_FOUND);
}

TEST(HashTable, ReadsNoKeyBeyondItsEnd) {
    Table table;
    const test::TextAtGuardPage<char16_t> wide(u"key");
    const test::TextAtGuardPage<char> narrow("key");
    EXPECT_EQ(table.Add(wide.text(), as_value(1), 0), S_OK);
    EXPECT_EQ(table.Find(narrow.text(), nullptr, nullptr), S_OK);
    table.put(u"key and more", 2);
    EXPECT_EQ(table.Remove(wide.text()), S_OK);
    EXPECT_EQ(table.Find(wide.text(), nullptr, nullptr), ERROR_NOT_FOUND);
}

TEST(HashTable, NumbersAreKeysInHexadecimal) {
    struct {
        long number;
        char16_t const* text;
    } const cases[] = {
        {0, u"0"},
        {0x10, u"10"},
        {0xABCDEF, u"abcdef"},
        {-1, u"ffffffff"},
        {INT_MIN, u"80000000"},
        {0xFFFFFFFFL, u"ffffffff"},
        {INT_MAX, u"7fffffff"},
    };
    for (const auto& [number, text] : cases) {
        Table table;
        EXPECT_EQ(table.Add(number, as_value(7), 0), S_OK);
        EXPECT_EQ(table.get(text), 7);
        EXPECT_EQ(table.Remove(number), S_OK);
    }
    Table table;
    EXPECT_EQ(table.Add(0x100000000L, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(table.Add(INT_MIN - 1L, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(table.Find(ULONG_MAX, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Get_Num_Entries(), 0);
}

TEST(HashTable, LiteralsAreNumbersWhateverTheirType) {
    Table table;
    EXPECT_EQ(table.Add(0, as_value(1), 0), S_OK);
    EXPECT_EQ(table.Add_Volatile(0x10u, "x", 1), S_OK);
    EXPECT_EQ(table.Find(0u, nullptr, nullptr), S_OK);
    EXPECT_EQ(table.Find(0x10ul, nullptr, nullptr), S_OK);
    EXPECT_EQ(table.Replace_Data(0, as_value(2), 0, NULL), S_OK);
    EXPECT_EQ(table.Replace_Data_Volatile(0ll, "x", 1, nullptr), S_OK);
    EXPECT_EQ(table.Change_Item_Key(0, 5u), S_OK);
    EXPECT_EQ(table.Remove(5), S_OK);
    EXPECT_EQ(table.Get_Num_Entries(), 1);
}

TEST(HashTable, RefusesNullKeys) {
    Table table;
    void* data = as_value(3);
    long length = 3;
    EXPECT_EQ(table.Add(nullptr, nullptr, 0), E_INVALIDARG);
    EXPECT_EQ(table.Add_Volatile(nullptr, "x", 1), E_INVALIDARG);
    EXPECT_EQ(table.Remove(nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Find(static_cast<char const*>(nullptr), &data, &length), E_INVALIDARG);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(table.Change_Item_Key(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Replace_Data(nullptr, nullptr, 0, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Replace_Data_Volatile(nullptr, "x", 1, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Get_Hash_Entry(static_cast<char16_t*>(nullptr)), nullptr);
}

TEST(HashTable, KeysOfOneLocationStayApart) {
    Table table;
    table.put_all({u"ab", u"ba", u"Ab"});
    EXPECT_EQ(table.Determine_Location(u"ab"), (u'a' + u'b') % 50);
    EXPECT_EQ(table.Determine_Location(u"ab"), table.Determine_Location(u"ba"));
    EXPECT_EQ(table.get(u"ab"), 1);
    EXPECT_EQ(table.get(u"ba"), 2);
    EXPECT_EQ(table.get(u"Ab"), 3);
    EXPECT_EQ(table.get(u"aB"), -1);
}

TEST(HashTable, DuplicatesQueueUp) {
    Table table;
    table.put_all({u"k", u"k", u"other", u"k"});
    EXPECT_EQ(table.get(u"k"), 1);
    EXPECT_EQ(table.Remove(u"k"), S_OK);
    EXPECT_EQ(table.get(u"k"), 2);
    EXPECT_EQ(table.Change_Item_Key(u"k", u"other"), S_OK);  // behind the other
    EXPECT_EQ(table.get(u"k"), 4);
    EXPECT_EQ(table.get(u"other"), 3);
    EXPECT_EQ(table.content(), u"other=2 other=3 k=4");
    EXPECT_EQ(table.Change_Item_Key(u"other", u"other"), S_OK);
    EXPECT_EQ(table.get(u"other"), 2);
    EXPECT_EQ(table.Change_Item_Key(u"gone", u"k"), ERROR_NOT_FOUND);
}

TEST(HashTable, ReplacingGivesBackWhatIsTheCallers) {
    const long before = test::live_allocations();
    {
        Table table;
        void* old = nullptr;
        table.put(u"k", 1);
        EXPECT_EQ(table.Replace_Data_Volatile(u"k", "copy", 5, &old), S_OK);
        EXPECT_EQ(as_number(old), 1);
        EXPECT_EQ(table.Replace_Data_Volatile(u"k", "again", 6, &old), S_OK);
        EXPECT_EQ(old, nullptr);
        void* data = nullptr;
        long length = 0;
        EXPECT_EQ(table.Get_Indexed_Entry(0, &data, &length), S_OK);
        EXPECT_STREQ(static_cast<char const*>(data), "again");
        EXPECT_EQ(length, 6);
        EXPECT_EQ(table.Replace_Data_Volatile(u"gone", "x", 1, &old), ERROR_NOT_FOUND);
        table.put(u"plain", 2);  // no copy, whatever came before
        EXPECT_EQ(table.Replace_Data(u"k", as_value(3), 0, &old), S_OK);
        EXPECT_EQ(old, nullptr);
    }
    EXPECT_EQ(test::live_allocations(), before);
}

TEST(HashTable, RefusesCopiesOfWhatCannotBeRead) {
    const test::ReportCollector collector;
    const test::GuardPage page(4);
    Table table;
    const long before = test::live_allocations();
    EXPECT_EQ(table.Add_Volatile(u"k", "x", -1), E_INVALIDARG);
    EXPECT_EQ(table.Replace_Data_Volatile(u"k", "x", -1, nullptr), E_INVALIDARG);
    EXPECT_EQ(table.Add_Volatile(u"k", nullptr, 0), S_OK);
    EXPECT_EQ(table.Remove(u"k"), S_OK);
    EXPECT_EQ(collector.names(), u"");
    EXPECT_EQ(table.Add_Volatile(u"k", nullptr, 4), E_INVALIDARG);
    EXPECT_EQ(collector.names(), u"CHashedCollection::Add_Volatile");
    EXPECT_EQ(table.Replace_Data_Volatile(u"k", nullptr, 4, nullptr), E_INVALIDARG);
    if (test::address_checks()) return;  // the sanitizer would stop the copy itself
    EXPECT_EQ(table.Add_Volatile(u"k", page.begin(), 4096), E_INVALIDARG);
    EXPECT_EQ(collector.reports().size(), 2u);
    EXPECT_EQ(table.Get_Num_Entries(), 0);
    EXPECT_LE(test::live_allocations() - before, 3);  // the first block of records
}

TEST(HashTable, ReusesRecordsBeforeItAllocates) {
    Table table(4);
    table.put_all({u"a", u"b", u"c", u"d"});
    const HashTableEntry* freed = table.Get_Hash_Entry(u"b");
    table.Remove(u"b");
    const long before = test::live_allocations();
    table.put(u"e", 5);
    EXPECT_EQ(table.Get_Hash_Entry(u"e"), freed);
    EXPECT_EQ(test::live_allocations(), before);
    EXPECT_EQ(table.content(), u"a=1 c=3 d=4 e=5");
    table.Change_Item_Key(u"e", u"longer");
    table.Change_Item_Key(u"longer", u"s");
    EXPECT_EQ(std::u16string(freed->key, 256), u"s" + std::u16string(255, 0));
}

TEST(HashTable, InitializingAgainFreesEverything) {
    static long freed = 0;
    const long before = test::live_allocations();
    {
        Table table;
        table.Add_Volatile(u"k", "copy", 5);
        table.Associate_Raw_Data(as_value(9), [](void* data) { freed = as_number(data); });
        EXPECT_EQ(table.Initialize(10), S_OK);
        EXPECT_EQ(freed, 9);
        EXPECT_EQ(table.Get_Num_Entries(), 0);
        EXPECT_EQ(table.get(u"k"), -1);
        table.put(u"k", 2);
        freed = 0;
    }
    EXPECT_EQ(freed, 0);
    EXPECT_EQ(test::live_allocations(), before);
}

TEST(HashTable, AFaultInTheRawDataProcedureCostsNothingElse) {
    const test::ReportCollector collector;
    const long before = test::live_allocations();
    {
        Table table;
        table.Add_Volatile(u"k", "copy", 5);
        table.Associate_Raw_Data(as_value(9), [](void*) { test::fault(); });
    }
    EXPECT_EQ(collector.names(), u"CHashedCollection::Reset");
    EXPECT_LE(test::live_allocations(), before + 2);  // the collector's own
}

}  // namespace
}  // namespace tarnwillow
