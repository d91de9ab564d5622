#include "text/bufferFixture.h"

namespace tarnwillow {
namespace {

class SmartBufferSearch : public test::BufferTest {
protected:
    static constexpr bool kFromStart = true;
    static constexpr bool kFromCursor = false;
    static constexpr bool kSkip = true;
    static constexpr bool kHere = false;

    /// Index of the entry found, or the status.
    long one_of(std::initializer_list<char const*> entries, char const* stop_at) {
        std::vector<char const*> list(entries);
        list.push_back(nullptr);
        int which = -7;
        const long result = buffer.Move_To_One_Of(list.data(), stop_at, &which);
        EXPECT_EQ(result != 0, which == -7);
        return result != 0 ? result : which;
    }
};

TEST_F(SmartBufferSearch, StartsAtTheCursorOrBehindIt) {
    load("ab-ab-ab");
    buffer.Move_To(3);
    EXPECT_EQ(buffer.Move_To("ab", kFromCursor, kHere), 0);
    EXPECT_EQ(cursor(), 3U);
    EXPECT_EQ(buffer.Move_To("ab", kFromCursor, kSkip), 0);
    EXPECT_EQ(cursor(), 6U);
    EXPECT_EQ(buffer.Move_To("ab", kFromCursor, kSkip), -1);
    EXPECT_EQ(cursor(), 6U);
    EXPECT_EQ(buffer.Move_To("ab", kFromStart, kSkip), 0);
    EXPECT_EQ(cursor(), 0U);
}

TEST_F(SmartBufferSearch, SeesOnlyTheData) {
    buffer.Initialize(40);
    buffer.Write("abcd");
    EXPECT_EQ(buffer.Move_To("abcde", kFromStart, kHere), -1);
    EXPECT_EQ(buffer.Move_To("", kFromCursor, kHere), 0);
    EXPECT_EQ(buffer.Move_To("", kFromCursor, kSkip), -1);
    buffer.Move_To(30);
    EXPECT_EQ(buffer.Move_To("", kFromCursor, kHere), -1);
    buffer.Move_To(1);
    EXPECT_EQ(buffer.Delete(3), 0);
    EXPECT_EQ(buffer.Move_To("d", kFromStart, kHere), -1);
}

TEST_F(SmartBufferSearch, BytesMayHoldZeros) {
    load(std::string_view("a\0b\0\0c", 6));
    const unsigned char zeros[] = {0, 0};
    EXPECT_EQ(buffer.Move_To(zeros, 2, kFromStart, kHere), 0);
    EXPECT_EQ(cursor(), 3U);
    EXPECT_EQ(buffer.Move_To(zeros, -1, kFromStart, kHere), -1);
    EXPECT_EQ(buffer.Move_To(nullptr, 2, kFromStart, kHere), E_INVALIDARG);
    EXPECT_EQ(buffer.Move_To(nullptr, 0, kFromStart, kHere), 0);
}

TEST_F(SmartBufferSearch, FoldsTheAsciiLettersOnly) {
    load(
        "[Stra\xC3\x9F"
        "E] {x}");
    EXPECT_EQ(buffer.Move_To_NCS("sTRA", kFromStart, kHere), 0);
    EXPECT_EQ(cursor(), 1U);
    EXPECT_EQ(buffer.Move_To_NCS("\xC3\x9F"
                                 "e]",
                                 kFromStart, kHere),
              0);
    EXPECT_EQ(buffer.Move_To_NCS("{S", kFromStart, kHere), -1);
    EXPECT_EQ(buffer.Move_To("sTRA", kFromStart, kHere), -1);
}

TEST_F(SmartBufferSearch, WideSearchesStepByUnits) {
    load(std::u16string_view(u"\u6161\u6100\u0161x\u0160X"));
    EXPECT_EQ(buffer.Move_To(u"\u0161", kFromStart, kHere), 0);
    EXPECT_EQ(cursor(), 4U);
    EXPECT_EQ(buffer.Move_To(u"x", kFromCursor, kSkip), 0);
    EXPECT_EQ(buffer.Move_To_NCS(u"X", kFromCursor, kSkip), 0);
    EXPECT_EQ(cursor(), 10U);
    EXPECT_EQ(buffer.Move_To_NCS(u"\u0161X", kFromStart, kHere), 0);
    EXPECT_EQ(cursor(), 4U);
    buffer.Move_To(1);
    EXPECT_EQ(buffer.Move_To(u"\u6161\u6100", kFromCursor, kHere), -1);
    EXPECT_EQ(buffer.Move_To(u"\u0061", kFromCursor, kHere), 0);
    EXPECT_EQ(cursor(), 1U);
}

TEST_F(SmartBufferSearch, RefusesTheOtherWidth) {
    load("abc");
    EXPECT_EQ(buffer.Move_To(u"a", kFromStart, kHere), E_UNEXPECTED);
    EXPECT_EQ(buffer.Move_To_NCS(u"a", kFromStart, kHere), E_UNEXPECTED);
    buffer.Set_Unicode(true);
    EXPECT_EQ(buffer.Move_To("a", kFromStart, kHere), E_UNEXPECTED);
    EXPECT_EQ(buffer.Move_To_NCS("a", kFromStart, kHere), E_UNEXPECTED);
    EXPECT_EQ(buffer.Move_To(reinterpret_cast<unsigned char const*>("a"), 1, kFromStart, kHere),
              E_UNEXPECTED);
    EXPECT_EQ(one_of({"b"}, nullptr), ERROR_NOT_FOUND);
}

TEST_F(SmartBufferSearch, TheFirstEntryThatOccursWins) {
    load("x far near; far");
    EXPECT_EQ(one_of({"none", "near", "far"}, nullptr), 1);
    EXPECT_EQ(cursor(), 6U);
    buffer.Move_To(0);
    EXPECT_EQ(one_of({"near", "far"}, ";"), 0);
    EXPECT_EQ(one_of({"near", "far"}, ";"), ERROR_NOT_FOUND);
    EXPECT_EQ(one_of({"near", "far"}, ""), 1);
    EXPECT_EQ(one_of({"far"}, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(buffer.Move_To_One_Of(nullptr, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(SmartBufferSearch, OneOfSeesBehindTheCursorUpToTheStop) {
    load("ab;;c");
    EXPECT_EQ(one_of({"a"}, nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(one_of({"b"}, "absent"), ERROR_NOT_FOUND);
    EXPECT_EQ(one_of({"c"}, ";"), ERROR_NOT_FOUND);
    EXPECT_EQ(cursor(), 0U);
    EXPECT_EQ(one_of({"c", ";;c"}, ";"), 1);
    EXPECT_EQ(cursor(), 2U);
    char const* const empty[] = {"", nullptr};
    EXPECT_EQ(buffer.Move_To_One_Of(empty, nullptr, nullptr), 0);
    EXPECT_EQ(cursor(), 3U);
}

}  // namespace
}  // namespace tarnwillow
