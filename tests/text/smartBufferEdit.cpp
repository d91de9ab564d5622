#include <sys/mman.h>

#include <random>

#include "support/failingAllocator.h"
#include "text/bufferFixture.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;

class SmartBufferEdit : public test::BufferTest {
protected:
    std::string replaced(std::string_view text, char const* find, char const* with,
                         bool all = true) {
        load(text);
        EXPECT_EQ(buffer.Search_And_Replace(find, with, all), 0);
        return data();
    }
};

TEST_F(SmartBufferEdit, WriteOverwritesAndRaisesTheEnd) {
    load("abcdef");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Write("XY"), 0);
    EXPECT_EQ(data(), "abXYef");
    EXPECT_EQ(limits(), "4/6/6");
    EXPECT_EQ(buffer.Write(u"zz"), 0);
    EXPECT_EQ(limits(), "8/8/12");
    EXPECT_EQ(buffer.Write(nullptr, 0), 0);
    EXPECT_EQ(buffer.Write("a", -1), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Write(static_cast<char const*>(nullptr)), E_INVALIDARG);
    EXPECT_EQ(buffer.Write(nullptr, 3), E_INVALIDARG);
    EXPECT_EQ(limits(), "8/8/12");
}

TEST_F(SmartBufferEdit, WritesFromAnotherBuffer) {
    CSmartBuffer source;
    load(source, "0123456789");
    source.Move_To(4);
    EXPECT_EQ(buffer.Write(source, 0), 0);
    EXPECT_EQ(source.Get_Current_Offset(), 4U);
    EXPECT_EQ(buffer.Write(source, 3), 0);
    EXPECT_EQ(source.Get_Current_Offset(), 7U);
    EXPECT_EQ(buffer.Write(source, 4L), -1);
    EXPECT_EQ(buffer.Write(source, -1), E_OUTOFMEMORY);
    EXPECT_EQ(data(), "0123456789456");
    EXPECT_EQ(cursor(), 13U);
}

TEST_F(SmartBufferEdit, TakesFromItself) {
    load("abcdef");
    buffer.Move_To(6);
    EXPECT_EQ(buffer.Write(buffer, 0), 0);
    EXPECT_EQ(data(), "abcdefabcdef");
    load("abcdef");
    buffer.Move_To(3);
    EXPECT_EQ(buffer.Insert(&buffer), 0);
    EXPECT_EQ(data(), "abcabcdefdef");
    load("abcdef");
    buffer.Move_To(1);
    EXPECT_EQ(buffer.Insert(static_cast<char*>(buffer) + 2, 3), 0);
    EXPECT_EQ(data(), "acdebcdef");
    load("abcdef");
    EXPECT_EQ(buffer.Write(buffer, 4), 0);
    EXPECT_EQ(limits(), "4/6/6");
    EXPECT_EQ(buffer.Write(buffer, 3), -1);
    EXPECT_EQ(data(), "abcdef");
}

TEST_F(SmartBufferEdit, DataRightBehindTheStorageIsTheCallers) {
    constexpr long kMapped = 32L << 20, kSize = 4096;
    buffer.Initialize(kMapped);
    buffer.Move_To(kMapped);
    void* const behind = mmap(static_cast<char*>(buffer) + kMapped, kSize, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    ASSERT_NE(behind, MAP_FAILED);
    *static_cast<char*>(behind) = 'x';
    EXPECT_EQ(buffer.Write(behind, kSize), 0);
    EXPECT_EQ(static_cast<char*>(buffer)[kMapped], 'x');
    munmap(behind, kSize);
}

TEST_F(SmartBufferEdit, NullTerminateStoresOneByte) {
    load("ab");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Null_Terminate(false), 0);
    EXPECT_EQ(limits(), "2/2/4");
    EXPECT_EQ(buffer.Null_Terminate(true), 0);
    EXPECT_EQ(limits(), "3/3/4");
    EXPECT_STREQ(static_cast<char*>(buffer), "ab");
}

TEST_F(SmartBufferEdit, InsertKeepsTheTailAndGrowsByItsOwnSteps) {
    load("abef");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Insert("cd", 2), 0);
    EXPECT_EQ(data(), "abcdef");
    EXPECT_EQ(limits(), "4/6/10");
    EXPECT_EQ(buffer.Insert(std::string(100, '-').c_str(), 100), 0);
    EXPECT_EQ(data(), "abcd" + std::string(100, '-') + "ef");
    EXPECT_EQ(limits(), "104/106/190");
    EXPECT_EQ(buffer.Insert("x", -1), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Insert("x", 0x100000000), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Insert(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(buffer.Insert(nullptr), E_INVALIDARG);
    EXPECT_EQ(limits(), "104/106/190");
}

TEST_F(SmartBufferEdit, InsertBehindTheDataFillsTheGap) {
    buffer.Initialize(10);
    buffer.Write("abcdef");
    buffer.Move_To(1);
    buffer.Delete(4);
    buffer.Move_To(5);
    EXPECT_EQ(buffer.Insert("xy", 2), 0);
    EXPECT_EQ(data(), std::string("af\0\0\0xy", 7));
    buffer.Move_To(9);
    EXPECT_EQ(buffer.Insert("", 0), 0);
    EXPECT_EQ(limits(), "9/9/10");
    buffer.Move_To(10);
    EXPECT_EQ(buffer.Insert("z", 1), 0);
    EXPECT_EQ(data(), std::string("af\0\0\0xy\0\0\0z", 11));
    EXPECT_EQ(limits(), "11/11/20");
    buffer.Move_To(15);
    EXPECT_EQ(buffer.Write(""), 0);
    EXPECT_EQ(limits(), "15/15/20");
}

TEST_F(SmartBufferEdit, DeleteNeverTakesMoreThanThereIs) {
    load("abcdef");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Delete(5), -1);
    EXPECT_EQ(buffer.Delete(-1), -1);
    EXPECT_EQ(buffer.Delete(3), 0);
    EXPECT_EQ(data(), "abf");
    EXPECT_EQ(limits(), "2/3/6");
    buffer.Move_To(6);
    EXPECT_EQ(buffer.Delete(1), -1);
}

TEST_F(SmartBufferEdit, AFailedGrowthChangesNothing) {
    load(std::string_view("abc\0", 4));
    buffer.Move_To(1);
    const FailingAllocator none;
    EXPECT_EQ(buffer.Write("0123456789"), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Insert("0123456789", 10), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Insert(&buffer), E_OUTOFMEMORY);
    EXPECT_EQ(limits(), "1/4/4");
    for (char const* find : {"a", static_cast<char const*>(buffer)}) {
        buffer.Move_To(4);
        EXPECT_EQ(buffer.Null_Terminate(true), E_OUTOFMEMORY);
        EXPECT_EQ(buffer.Search_And_Replace(find, "bb", true), 0);
        EXPECT_EQ(limits(), "0/4/4") << "only the cursor has moved";
    }
    EXPECT_EQ(data(), std::string("abc\0", 4));
}

TEST_F(SmartBufferEdit, ReplacesWithoutRescanning) {
    EXPECT_EQ(replaced("aa", "a", "aa"), "aaaa");
    EXPECT_EQ(limits(), "4/4/6");
    EXPECT_EQ(replaced("aaa", "aa", "b"), "ba");
    EXPECT_EQ(limits(), "1/2/3");
    EXPECT_EQ(replaced("one two one", "one", "ONE", false), "ONE two one");
    EXPECT_EQ(cursor(), 3U);
    EXPECT_EQ(replaced("one two one", "one", ""), " two ");
    EXPECT_EQ(cursor(), 5U);
}

TEST_F(SmartBufferEdit, ReplacingNothingOnlyMovesTheCursor) {
    load("abc");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Search_And_Replace("", "x", true), 0);
    EXPECT_EQ(limits(), "2/3/3");
    EXPECT_EQ(buffer.Search_And_Replace("A", "x", true), 0);
    EXPECT_EQ(limits(), "0/3/3");
    EXPECT_EQ(buffer.Search_And_Replace(u"a", u"x", true), E_UNEXPECTED);
    EXPECT_EQ(buffer.Search_And_Replace("a", nullptr, true), E_INVALIDARG);
    EXPECT_EQ(data(), "abc");
}

TEST_F(SmartBufferEdit, ReplacesWideTextAtWideSteps) {
    load(std::u16string_view(u"x\u0161\u6100\u0161"));
    EXPECT_EQ(buffer.Search_And_Replace("x", "y", true), E_UNEXPECTED);
    EXPECT_EQ(buffer.Search_And_Replace(u"\u0161", u"ab", true), 0);
    EXPECT_EQ(wide_data(), u"xab\u6100ab");
    EXPECT_EQ(cursor(), 12U);
}

TEST_F(SmartBufferEdit, ReplacesWithTextsOfItsOwn) {
    load(std::string_view("ab\0xyz\0ab ab", 12));
    char* text = buffer;
    EXPECT_EQ(buffer.Search_And_Replace(text, text + 3, true), 0);
    EXPECT_EQ(data(), std::string("xyz\0xyz\0xyz xyz", 15));
}

// Find, delete and insert, one by one.
void replace_one_by_one(test::OpenBuffer& in, const std::string& find, const std::string& with) {
    in.Move_To(0);
    while (in.Move_To(find.c_str(), false, false) == 0) {
        in.Delete(static_cast<long>(find.size()));
        in.Insert(with.data(), static_cast<long>(with.size()));
    }
}

TEST_F(SmartBufferEdit, ReplacingIsAsIfOneByOne) {
    std::mt19937 random(20260101);
    const auto text = [&random](std::size_t at_least, std::size_t at_most) {
        std::string made(at_least + random() % (at_most - at_least + 1), ' ');
        for (char& c : made)
            c = "abc"[random() % 3];
        return made;
    };
    for (int round = 0; round < 3000; ++round) {
        const bool many = round % 50 == 0;  // more than are replaced at a time
        const std::string content = text(0, many ? 6000 : 300), find = text(1, 4);
        const std::string with = text(0, round % 7 == 0 ? 100 : 6);
        load(content);
        test::OpenBuffer slow;
        load(slow, content);
        replace_one_by_one(slow, find, with);
        ASSERT_EQ(buffer.Search_And_Replace(find.c_str(), with.c_str(), true), 0);
        ASSERT_EQ(data(), bytes(slow, slow.Get_End_Of_Data())) << find << " by " << with;
        ASSERT_EQ(cursor(), slow.Get_Current_Offset());
        ASSERT_EQ(buffer.Get_Current_Buffer_Max_Size(), slow.Get_Current_Buffer_Max_Size());
    }
}

}  // namespace
}  // namespace tarnwillow
