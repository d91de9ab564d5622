#include "tarnwillow/containers/CCollection.h"

#include <gtest/gtest.h>

#include <cstring>
#include <new>

#include "support/failingAllocator.h"
#include "support/lists.h"
#include "support/reports.h"

namespace tarnwillow {
namespace {

using test::add_numbers;
using test::as_number;
using test::as_value;
using test::numbers;

class Numbers : public CCollection {
public:
    Numbers(std::initializer_list<long> values) { add_numbers(*this, values); }
    using CCollection::contentsOfItem;
    using CCollection::CreateNewItem;
    using CCollection::DeleteItem;
    using CCollection::GetListItem;
};

TEST(Collection, AddsBehindAndPushesInFront) {
    Numbers list{2, 3};
    EXPECT_TRUE(list.Push(1));
    EXPECT_TRUE(list.Add(4));
    EXPECT_EQ(numbers(list), "1 2 3 4");
    EXPECT_EQ(as_number(list.Peek()), 1);
    EXPECT_EQ(as_number(list.Get_Tail_Value()), 4);
}

TEST(Collection, LiteralsMeanNumbersAndNullsMeanNull) {
    Numbers list{};
    list.Add(0), list.Add(0L), list.Add(7u), list.Add(8ul), list.Add(-1), list.Add(nullptr);
    list.Push(0), list.Push(0L), list.Push(nullptr);
    EXPECT_EQ(numbers(list), "0 0 0 0 0 7 8 -1 0");
}

TEST(Collection, InsertsBehindTheIndex) {
    const struct {
        std::initializer_list<long> start;
        long index;
        char const* result;
    } cases[] = {
        {{1, 2}, 0, "1 9 2"}, {{1, 2, 3}, 1, "1 2 9 3"}, {{1, 2, 3}, 99, "1 2 3 9"},
        {{1}, 0, "1 9"},      {{1, 2}, -1, "9 1 2"},     {{1, 2}, -50, "9 1 2"},
        {{}, 5, "9"},
    };
    for (const auto& c : cases) {
        Numbers list(c.start);
        EXPECT_TRUE(list.Insert(as_value(9), c.index));
        EXPECT_EQ(numbers(list), c.result);
        list.Add(10);  // the tail is where it should be
        EXPECT_EQ(numbers(list), std::string(c.result) + " 10");
    }
}

TEST(Collection, PopsFromTheHead) {
    Numbers list{1, 2};
    EXPECT_EQ(as_number(list.Pop()), 1);
    EXPECT_EQ(as_number(list.Pop()), 2);
    EXPECT_EQ(list.Pop(), nullptr);
    EXPECT_EQ(list.Entries(), 0);
    list.Add(3);
    EXPECT_EQ(numbers(list), "3");
}

TEST(Collection, RemovesTheFirstOccurrence) {
    Numbers list{1, 2, 1, 3};
    EXPECT_EQ(as_number(list.Remove(as_value(1))), 1);
    EXPECT_EQ(numbers(list), "2 1 3");
    EXPECT_EQ(list.Remove(as_value(99)), nullptr);
    list.Add(2);
    list.Remove_Indexed_Item(3);  // finds the value 2 at the head
    EXPECT_EQ(numbers(list), "1 3 2");
    EXPECT_EQ(list.Remove_Indexed_Item(3), nullptr);
    list.Remove(as_value(2));
    list.Add(4);
    EXPECT_EQ(numbers(list), "1 3 4");
}

TEST(Collection, FindsByIndexValueAndProcedure) {
    Numbers list{5, 6, 7};
    EXPECT_EQ(as_number(list.Get_Indexed_Entry(2)), 7);
    for (long index : {-1L, 3L, 1L << 40})
        EXPECT_EQ(list.Get_Indexed_Entry(index), nullptr);
    EXPECT_EQ(list.Contains(as_value(6)), 1);
    EXPECT_EQ(list.Contains(as_value(8)), -1);
    auto above = [](void* value, unsigned long limit) {
        return as_number(value) > static_cast<long>(limit) ? 1ul : 0ul;
    };
    EXPECT_EQ(as_number(list.Contains_Ex(above, as_value(5))), 6);
    EXPECT_EQ(list.Contains_Ex(above, as_value(7)), nullptr);
}

TEST(Collection, ValuesCanBeReplacedInPlace) {
    Numbers list{1, 2};
    *static_cast<void**>(list.contentsOfItem(1)) = as_value(9);
    EXPECT_EQ(numbers(list), "1 9");
    EXPECT_EQ(list.contentsOfItem(2), nullptr);
    EXPECT_EQ(list.contentsOfItem(-1), nullptr);
    EXPECT_EQ(list.GetListItem(0)->next, list.GetListItem(1));
}

TEST(Collection, CopiesAreOwnedAndReadAsNullWhenTheyGo) {
    const long before = test::live_allocations();
    {
        CCollection list;
        int source = 42;
        void* copy = list.Add_Volatile(&source, sizeof source);
        ASSERT_NE(copy, nullptr);
        source = 0;
        EXPECT_EQ(*static_cast<int*>(copy), 42);
        EXPECT_TRUE(list.Push_Volatile(&source, sizeof source));
        EXPECT_EQ(list.Pop(), nullptr);
        EXPECT_EQ(list.Entries(), 1);
        EXPECT_EQ(list.Remove(copy), nullptr);
        EXPECT_EQ(list.Entries(), 0);
        list.Add_String("left to the destructor");
    }
    EXPECT_EQ(test::live_allocations(), before);
}

TEST(Collection, PopVolatileMovesWhatFits) {
    CCollection list;
    char buffer[8] = "-------";
    int copied = -1;
    EXPECT_FALSE(list.Pop_Volatile(buffer, 8, &copied));
    list.Add(1);
    EXPECT_FALSE(list.Pop_Volatile(buffer, 8, &copied));
    EXPECT_EQ(list.Entries(), 1);
    EXPECT_EQ(copied, -1);
    list.Push_Volatile("abcdef", 6);
    EXPECT_TRUE(list.Pop_Volatile(buffer, 3, &copied));
    EXPECT_EQ(std::string(buffer), "abc----");
    EXPECT_EQ(copied, 3);
    list.Push_Volatile("xyz", 3);
    EXPECT_TRUE(list.Pop_Volatile(buffer, -1, &copied));
    EXPECT_EQ(std::string(buffer), "abc----");
    EXPECT_EQ(copied, 0);
    list.Push_Volatile("xyz", 3);
    EXPECT_TRUE(list.Pop_Volatile(buffer, 100, nullptr));
    EXPECT_EQ(std::string(buffer), "xyz----");
}

TEST(Collection, RefusesCopiesOfImpossibleSizes) {
    CCollection list;
    for (long size : {-1L, 1L << 31, 1L << 40}) {
        EXPECT_EQ(list.Add_Volatile("x", size), nullptr);
        EXPECT_FALSE(list.Push_Volatile("x", size));
    }
    EXPECT_EQ(list.Add_Volatile(nullptr, 4), nullptr);
    EXPECT_FALSE(list.Add_String(static_cast<char const*>(nullptr)));
    EXPECT_FALSE(list.Contains_String(static_cast<char16_t const*>(nullptr)));
    EXPECT_NE(list.Add_Volatile("", 0), nullptr);
    EXPECT_EQ(list.Entries(), 1);
}

template <class Char>
void check_texts(Char const* one, Char const* two, Char const* missing) {
    CCollection list;
    EXPECT_TRUE(list.Add_String(two));
    EXPECT_TRUE(list.Push_String(one));
    EXPECT_TRUE(list.Add_String(two));
    EXPECT_EQ(std::basic_string<Char>(static_cast<Char*>(list.Peek())), one);
    EXPECT_TRUE(list.Contains_String(two));
    EXPECT_FALSE(list.Contains_String(missing));
    EXPECT_FALSE(list.Remove_String(missing));
    EXPECT_TRUE(list.Remove_String(two));
    EXPECT_TRUE(list.Contains_String(two));
    EXPECT_EQ(list.Entries(), 2);
}

TEST(Collection, KeepsTextsOfBothWidths) {
    check_texts("one", "two", "tw");
    check_texts(u"one", u"two", u"tw");
}

std::vector<void*> freed;
void note_freed(void* memory) {
    freed.push_back(memory);
    if (freed.size() == 2) test::fault();
}

TEST(Collection, ClearingAsPointersSurvivesAFaultingFreeProcedure) {
    const test::ReportCollector collector;
    Numbers list{16, 0, 32, 48};
    freed.clear();
    list.Set_Mem_Procs(Default_Allocation_ProcPtr, note_freed);
    list.Clear_List_As_Pointers();
    EXPECT_EQ(freed, (std::vector<void*>{as_value(16), as_value(32), as_value(48)}));
    EXPECT_EQ(collector.names(), u"CCollection::Clear_List_As_Pointers");
    EXPECT_EQ(list.Entries(), 0);
}

TEST(Collection, ClonesCopyTheValuesAndShallowClonesShareThem) {
    long values[] = {1, 2};
    CCollection list;
    list.Add(&values[0]);
    list.Add(nullptr);
    list.Add(&values[1]);
    CCollection* clone = list.Clone(sizeof(long));
    CCollection* shallow = list.ShallowClone();
    ASSERT_TRUE(clone != nullptr && shallow != nullptr);
    values[1] = 9;
    EXPECT_EQ(*static_cast<long*>(clone->Get_Indexed_Entry(2)), 2);
    EXPECT_EQ(clone->Get_Indexed_Entry(1), nullptr);
    EXPECT_EQ(*static_cast<long*>(shallow->Get_Indexed_Entry(2)), 9);
    list.ShallowClone(*shallow);
    EXPECT_EQ(shallow->Entries(), 6);
    list.ShallowClone(list);
    EXPECT_EQ(list.Entries(), 6);
    EXPECT_EQ(list.Clone(-1), nullptr);
    clone->Clear_List_As_Pointers();
    delete clone;
    delete shallow;
}

TEST(Collection, CloneWithoutMemoryGivesNullAndLeavesNothing) {
    long value = 1;
    CCollection list;
    for (int i = 0; i < 3; ++i)
        list.Add(&value);
    const long before = test::live_allocations();
    for (std::size_t successes = 0; successes < 4; ++successes) {
        const test::FailingAllocator failing(successes);
        EXPECT_EQ(list.Clone(sizeof value), nullptr) << successes;
    }
    EXPECT_EQ(test::live_allocations(), before);
    EXPECT_EQ(list.Entries(), 3);
}

TEST(Collection, FailedCopiesLeaveTheListAsItWas) {
    Numbers list{1};
    {
        const test::FailingAllocator failing;
        EXPECT_EQ(list.Add_Volatile("abc", 4), nullptr);
        EXPECT_FALSE(list.Push_Volatile("abc", 4));
        EXPECT_FALSE(list.Add_String(u"abc"));
    }
    EXPECT_EQ(numbers(list), "1");
}

int com_allocations = 0;
void* counting_allocate(unsigned long size) { return ++com_allocations, ::operator new(size); }
int counted_frees = 0;
void counting_free(void* memory) { ++counted_frees, ::operator delete(memory); }

TEST(Collection, MovesItsCopiesToSharedMemoryOnce) {
    CCollection list;
    list.Set_Mem_Procs(counting_allocate, counting_free);
    list.Add_String("abc");
    list.Add(7);
    counted_frees = 0;
    list.Use_COM_Memory();
    list.Use_COM_Memory();
    EXPECT_EQ(counted_frees, 1);
    EXPECT_STREQ(static_cast<char*>(list.Peek()), "abc");
    EXPECT_EQ(as_number(list.Get_Tail_Value()), 7);
    list.Clear();
    EXPECT_EQ(counted_frees, 1);
}

TEST(Collection, CopiesThatCannotBeMovedGoBackWhereTheyCameFrom) {
    const long before = test::live_allocations();
    {
        CCollection list;
        list.Set_Mem_Procs(counting_allocate, counting_free);
        for (char const* text : {"abc", "def", "ghi"})
            list.Add_String(text);
        counted_frees = 0;
        {
            const test::FailingAllocator failing(1);
            EXPECT_THROW(list.Use_COM_Memory(), int);
        }
        EXPECT_EQ(counted_frees, 1);
        EXPECT_TRUE(list.Remove_String("ghi"));
        EXPECT_EQ(counted_frees, 2);
        EXPECT_TRUE(list.Contains_String("def"));
    }
    EXPECT_EQ(counted_frees, 3);
    EXPECT_EQ(test::live_allocations(), before);
}

TEST(Collection, AssignmentSharesTheItems) {
    alignas(CCollection) std::byte storage[sizeof(CCollection)];
    Numbers source{1, 2};
    auto* target = new (storage) CCollection;  // never destroyed: only one of the two may be
    *target = source;
    EXPECT_EQ(numbers(*target), "1 2");
    EXPECT_EQ(target->Peek(), source.Peek());
    EXPECT_EQ(target->Entries(), 2);
    detail::collection_destroyed();
}

TEST(Collection, TagTellsLivingListsFromOthers) {
    alignas(CCollection) std::byte storage[sizeof(CCollection)];
    auto* list = new (storage) CCollection;
    EXPECT_TRUE(CCollection::Validate_Object(list));
    list->~CCollection();
    EXPECT_FALSE(CCollection::Validate_Object(list));
    EXPECT_EQ(*reinterpret_cast<std::uint32_t*>(storage), kTagDestroyed);
    EXPECT_FALSE(CCollection::Validate_Object(nullptr));
    EXPECT_FALSE(CCollection::Validate_Object(reinterpret_cast<CCollection*>(0x7FFFFFFFF000)));
}

}  // namespace
}  // namespace tarnwillow
