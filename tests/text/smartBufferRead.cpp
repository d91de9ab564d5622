#include <cstring>
#include <vector>

#include "support/guardPage.h"
#include "support/reports.h"
#include "text/bufferFixture.h"

namespace tarnwillow {
namespace {

using test::ReportCollector;

class SmartBufferRead : public test::BufferTest {
protected:
    /// What Read_To copied, with its status: "text|status|count".
    std::string read_to(long count, char delimiter, bool advance = true) {
        char dest[32] = {};
        const long result = buffer.Read_To(dest, &count, delimiter, advance);
        return std::string(dest) + "|" + std::to_string(result) + "|" + std::to_string(count);
    }

    std::string line(long limit = 16, bool advance = true) {
        std::string dest(static_cast<std::size_t>(limit) + 1, '~');
        const long result = buffer.Next_Line(dest.data(), &limit, advance);
        EXPECT_EQ(dest.back(), '~') << "wrote behind the given size";
        if (result != 0) return std::to_string(result);
        EXPECT_EQ(std::strlen(dest.c_str()), static_cast<std::size_t>(limit));
        return dest.c_str();
    }
};

TEST_F(SmartBufferRead, ReadTakesAllOrNothing) {
    load("abcdef");
    char dest[8] = {};
    EXPECT_EQ(buffer.Read(dest, 4, false), 0);
    EXPECT_STREQ(dest, "abcd");
    EXPECT_EQ(cursor(), 0U);
    EXPECT_EQ(buffer.Read(dest, 4, true), 0);
    EXPECT_EQ(cursor(), 4U);
    for (const long count : {3L, -1L, 0x7FFFFFFFFFFFFFFF})
        EXPECT_EQ(buffer.Read(dest, count, true), -1);
    EXPECT_EQ(buffer.Read(nullptr, 2, true), E_INVALIDARG);
    EXPECT_EQ(cursor(), 4U);
    EXPECT_EQ(buffer.Read(dest, 2, true), 0);
    EXPECT_EQ(buffer.Read(dest, 1, true), -1);
}

TEST_F(SmartBufferRead, NothingIsReadBehindTheData) {
    buffer.Initialize(20);
    buffer.Write("abc");
    char dest[4];
    buffer.Move_To(10);
    EXPECT_EQ(buffer.Read(dest, 1, true), -1);
    EXPECT_EQ(buffer.Read(dest, 0, true), -1);
    EXPECT_EQ(read_to(4, ','), "|1168|4");
}

TEST_F(SmartBufferRead, ReadToEndsBehindTheDelimiter) {
    load("ab,c,rest");
    EXPECT_EQ(read_to(16, ',', false), "ab,|0|3");
    EXPECT_EQ(read_to(3, ','), "ab,|0|3");
    EXPECT_EQ(cursor(), 3U);
    EXPECT_EQ(read_to(1, ','), "c|122|1");
    EXPECT_EQ(read_to(0, ','), "|122|0");
    EXPECT_EQ(read_to(-5, ','), "|122|-5");
    EXPECT_EQ(read_to(16, ','), "c,|0|2");
    EXPECT_EQ(read_to(16, ','), "rest|1168|16");
    EXPECT_EQ(read_to(4, ','), "rest|122|4");
    EXPECT_EQ(cursor(), 5U);
    EXPECT_EQ(buffer.Read_To(nullptr, nullptr, ',', true), E_INVALIDARG);
}

TEST_F(SmartBufferRead, LinesEndAtCarriageReturnsAndAtTheCapacity) {
    load("a\nb\rc\r\nd");
    EXPECT_EQ(line(), "a\nb");
    EXPECT_EQ(line(), "c");
    EXPECT_EQ(line(), "d");
    EXPECT_TRUE(buffer.At_End());
    EXPECT_EQ(line(), "-1");
}

TEST_F(SmartBufferRead, ALineNeedsRoomForItsTerminator) {
    load("abc\r\nde");
    EXPECT_EQ(line(3), "122");
    EXPECT_EQ(line(0), "122");
    EXPECT_EQ(cursor(), 0U);
    EXPECT_EQ(line(4, false), "abc");
    EXPECT_EQ(cursor(), 0U);
    EXPECT_EQ(line(4), "abc");
    EXPECT_EQ(line(2), "122");
    EXPECT_EQ(line(3), "de");
}

TEST_F(SmartBufferRead, ALineWithoutASizeMustEndBeforeTheCapacity) {
    load("ab\rcd");
    char dest[8];
    EXPECT_EQ(buffer.Next_Line(dest, nullptr, true), 0);
    EXPECT_STREQ(dest, "ab");
    EXPECT_EQ(buffer.Next_Line(dest, nullptr, true), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(cursor(), 3U);
}

TEST_F(SmartBufferRead, LinesCanBeSkipped) {
    load("long line\r\ncd");
    long size = 0;
    EXPECT_EQ(buffer.Next_Line(nullptr, &size, true), ERROR_INSUFFICIENT_BUFFER);
    size = 2;
    EXPECT_EQ(buffer.Next_Line(nullptr, &size, true), 0);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(cursor(), 11U);
    EXPECT_EQ(buffer.Next_Line(nullptr, nullptr, true), 0);
    EXPECT_EQ(cursor(), 13U);
}

TEST_F(SmartBufferRead, PartsAreCopiedWithoutTheCursor) {
    load("abcdef");
    buffer.Move_To(5);
    char dest[8] = {};
    EXPECT_EQ(buffer.Head(2, dest), 0);
    EXPECT_STREQ(dest, "ab");
    EXPECT_EQ(buffer.Mid(1, 3, dest), 0);
    EXPECT_STREQ(dest, "bcd");
    EXPECT_EQ(buffer.Tail(3, dest), 0);
    EXPECT_STREQ(dest, "def");
    EXPECT_EQ(cursor(), 5U);
}

TEST_F(SmartBufferRead, PartsOutsideTheStorageAreReported) {
    load("abcdef");
    char dest[8];
    const ReportCollector collector;
    for (const int count : {7, -1, -2147483647 - 1, 2147483647}) {
        EXPECT_EQ(buffer.Head(count, dest), E_INVALIDARG);
        EXPECT_EQ(buffer.Mid(0, count, dest), E_INVALIDARG);
        EXPECT_EQ(buffer.Tail(count, dest), E_INVALIDARG);
    }
    EXPECT_EQ(buffer.Mid(-1, 1, dest), E_INVALIDARG);
    EXPECT_EQ(buffer.Mid(7, 0, dest), E_INVALIDARG);
    EXPECT_EQ(collector.reports().size(), 14U);
    EXPECT_EQ(collector.names().substr(0, 55),
              u"CSmartBuffer::Head,CSmartBuffer::Mid,CSmartBuffer::Tail");
}

TEST_F(SmartBufferRead, ABadDestinationIsReported) {
    load("abcdef");
    const ReportCollector collector;
    const test::GuardPage page(2);
    EXPECT_EQ(buffer.Head(3, nullptr), E_INVALIDARG);
    EXPECT_EQ(buffer.Tail(3, page.begin()), E_INVALIDARG);
    EXPECT_EQ(collector.names(), u"CSmartBuffer::Head,CSmartBuffer::Tail");
}

}  // namespace
}  // namespace tarnwillow
