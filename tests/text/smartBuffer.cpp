#include "tarnwillow/text/CSmartBuffer.h"

#include <algorithm>
#include <cstring>

#include "support/failingAllocator.h"
#include "support/reports.h"
#include "tarnwillow/platform/memoryBlock.h"
#include "text/bufferFixture.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;
using test::ReportCollector;

class SmartBuffer : public test::BufferTest {};

TEST_F(SmartBuffer, StartsWithNothing) {
    EXPECT_EQ(limits(), "0/0/0");
    EXPECT_EQ(buffer.Current_Ptr(), nullptr);
    EXPECT_EQ(static_cast<char*>(buffer), nullptr);
    EXPECT_EQ(buffer.Char_At_Current_Offset(), 0);
    EXPECT_EQ(buffer.Char_At_Current_OffsetW(), 0);
    EXPECT_TRUE(buffer.At_End());
    EXPECT_FALSE(buffer.Is_Unicode_File());
    EXPECT_EQ(buffer.Move_To("", true, false), 0);
    EXPECT_EQ(buffer.Move_To("x", true, false), -1);
    EXPECT_EQ(buffer.Delete(0), 0);
    EXPECT_EQ(buffer.Clear(), 0);
}

TEST_F(SmartBuffer, InitializesAgainWithoutOldData) {
    load("old data");
    EXPECT_EQ(buffer.Initialize(3), 0);
    EXPECT_EQ(limits(), "0/0/3");
    EXPECT_EQ(storage(), std::string(3, '\0'));
}

TEST_F(SmartBuffer, KeepsDataAndZerosWhateverSizeItGrowsTo) {
    load("end");
    unsigned long written_at = 0;
    for (unsigned long size = 1UL << 20; size < 100UL << 20; size *= 4) {
        ASSERT_EQ(buffer.Check_Size_Requirements(size), 0);
        const unsigned long capacity = buffer.Get_Current_Buffer_Max_Size();
        char const* const bytes = buffer;
        EXPECT_EQ(std::string_view(bytes + written_at, 5), std::string_view("end\0\0", 5));
        EXPECT_EQ(bytes[capacity / 2], 0);
        EXPECT_EQ(bytes[capacity - 1], 0);
        written_at = capacity - 3;
        ASSERT_EQ(buffer.Move_To(written_at), 0);
        ASSERT_EQ(buffer.Write("end", 3), 0);
    }
    EXPECT_EQ(buffer.Check_Size_Requirements(0xFFFFFFFF), E_OUTOFMEMORY);
    EXPECT_EQ(data().substr(written_at), "end");
}

TEST_F(SmartBuffer, RefusesSizesThatCannotBe) {
    load("kept");
    EXPECT_EQ(buffer.Initialize(-1), E_OUTOFMEMORY);
    EXPECT_EQ(data(), "kept");
    EXPECT_EQ(buffer.Initialize(0x100000000), E_OUTOFMEMORY);
    EXPECT_EQ(limits(), "0/0/0");
    load("kept");
    const FailingAllocator none;
    EXPECT_EQ(buffer.Check_Size_Requirements(5), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Check_Size_Requirements(0x80000000), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Check_Size_Requirements(~0UL), E_OUTOFMEMORY);
    EXPECT_EQ(limits(), "0/4/4");
}

TEST_F(SmartBuffer, ClearKeepsTheCapacity) {
    load("abc");
    EXPECT_EQ(buffer.Clear(), 0);
    EXPECT_EQ(limits(), "0/0/3");
    EXPECT_EQ(storage(), std::string(3, '\0'));
}

TEST_F(SmartBuffer, GrowsToTwiceTheLargerOfNeedAndCapacity) {
    load("0123456789");
    EXPECT_EQ(buffer.Check_Size_Requirements(10), 0);
    EXPECT_EQ(limits(), "0/10/10");
    buffer.Move_To(9);
    EXPECT_EQ(buffer.Check_Size_Requirements(2), 0);
    EXPECT_EQ(limits(), "9/10/20");
    EXPECT_EQ(buffer.Check_Size_Requirements(30), 0);
    EXPECT_EQ(limits(), "9/10/60");
    EXPECT_EQ(storage(), "0123456789" + std::string(50, '\0'));
}

TEST_F(SmartBuffer, CursorMovesWithinTheCapacity) {
    buffer.Initialize(100);
    buffer.Write("0123456789", 10);
    EXPECT_EQ(buffer.Move_To(50), 0);
    EXPECT_EQ(buffer.Move_To(101), -1);
    EXPECT_EQ(buffer.Move_To(~0UL), -1);
    EXPECT_EQ(buffer.Move_From_Offset(51), -1);
    EXPECT_EQ(buffer.Move_From_Offset(-51), -1);
    EXPECT_EQ(buffer.Move_From_Offset(0x7FFFFFFFFFFFFFFF), -1);
    EXPECT_EQ(buffer.Move_From_Offset(-0x7FFFFFFFFFFFFFFF - 1), -1);
    EXPECT_EQ(limits(), "50/10/100");
    EXPECT_FALSE(buffer.At_End());
    EXPECT_EQ(buffer.Move_From_Offset(50), 0);
    EXPECT_TRUE(buffer.At_End());
}

TEST_F(SmartBuffer, ShowsTheCharacterAtTheCursor) {
    load("abc");
    EXPECT_EQ(buffer.Char_At_Current_Offset(), 'a');
    buffer.Move_To(1);
    EXPECT_EQ(buffer.Char_At_Current_OffsetW(), 'b' + 256 * 'c');
    EXPECT_EQ(std::string_view(buffer.Current_Ptr(), 2), "bc");
    buffer.Move_To(2);
    EXPECT_EQ(buffer.Char_At_Current_OffsetW(), 0);
    buffer.Move_To(3);
    EXPECT_EQ(buffer.Char_At_Current_Offset(), 0);
}

TEST_F(SmartBuffer, SeesTheMarkOnlyInFourBytes) {
    load(std::string_view("\xFF\xFE\0", 3));
    EXPECT_FALSE(buffer.Is_Unicode_File());
    load(std::string_view("\xFF\xFE\0\0", 4));
    buffer.Move_To(4);
    EXPECT_TRUE(buffer.Is_Unicode_File());
    load("\xFE\xFF..");
    EXPECT_FALSE(buffer.Is_Unicode_File());
}

// A producer that gives a text in chunks, and can lie about each of them.
struct Source {
    std::string_view text;
    long chunk;
    long extra = 0;
    int fault_at = -1;
    int calls = 0;

    static bool produce(int phase, void* destination, long* size, long user) {
        auto& self = *reinterpret_cast<Source*>(user);
        if (phase == 0) {
            *size = self.chunk;
            return destination == nullptr && self.chunk != 0;
        }
        if (self.calls++ == self.fault_at) test::fault();
        const auto count = std::min(self.text.size(), static_cast<std::size_t>(self.chunk));
        std::memcpy(destination, self.text.data(), count);
        self.text.remove_prefix(count);
        *size = static_cast<long>(count) + self.extra;
        return !self.text.empty();
    }
    long as_user() { return reinterpret_cast<long>(this); }
};

TEST_F(SmartBuffer, TakesWhatAProducerGives) {
    Source source{"one two three", 4};
    EXPECT_EQ(buffer.Initialize_From_Callback(2, Source::produce, source.as_user()), 0);
    EXPECT_EQ(data(), "one two three");
    EXPECT_EQ(limits(), "13/13/16");
    EXPECT_EQ(source.calls, 4);
}

TEST_F(SmartBuffer, NoChunkSizeMeansNoData) {
    Source source{"unseen", 0};
    EXPECT_EQ(buffer.Initialize_From_Callback(5, Source::produce, source.as_user()), 0);
    EXPECT_EQ(limits(), "0/0/5");
    EXPECT_EQ(source.calls, 0);
}

TEST_F(SmartBuffer, AProducerThatLiesStaysWithinTheCapacity) {
    Source more{"abcd", 4, 1000};
    EXPECT_EQ(buffer.Initialize_From_Callback(10, Source::produce, more.as_user()), 0);
    EXPECT_EQ(limits(), "10/10/10");
    Source less{"abcdefgh", 4, -1000};
    EXPECT_EQ(buffer.Initialize_From_Callback(10, Source::produce, less.as_user()), 0);
    EXPECT_EQ(limits(), "0/0/10");
    for (const long chunk : {-1L, 0x100000000}) {
        Source refused{"abcd", chunk};
        EXPECT_EQ(buffer.Initialize_From_Callback(1, Source::produce, refused.as_user()),
                  E_OUTOFMEMORY);
        EXPECT_EQ(refused.calls, 0);
    }
    EXPECT_EQ(buffer.Initialize_From_Callback(-1, Source::produce, more.as_user()), E_OUTOFMEMORY);
}

// The heap gives memory that somebody has used before.
TEST_F(SmartBuffer, ZerosStandBehindWhatAProducerGave) {
    ReportCollector collector;
    for (const int fault_at : {-1, 2}) {
        void* used = platform::resize_heap(nullptr, 3000);
        std::memset(used, 'u', 3000);
        platform::free_heap(used);
        Source source{"one two three", 1000, 0, fault_at};
        if (fault_at > 0) source.chunk = 4;
        buffer.Initialize_From_Callback(20, Source::produce, source.as_user());
        ASSERT_NE(data(), "");
        EXPECT_EQ(storage().find_first_not_of('\0', data().size()), std::string::npos);
    }
}

TEST_F(SmartBuffer, AFaultInTheProducerIsReportedAndKeepsWhatCame) {
    ReportCollector collector;
    Source source{"one two three", 4, 0, 2};
    EXPECT_EQ(buffer.Initialize_From_Callback(0, Source::produce, source.as_user()),
              DISP_E_EXCEPTION);
    EXPECT_EQ(data(), "one two ");
    EXPECT_EQ(buffer.Initialize_From_Callback(0, nullptr, 0), DISP_E_EXCEPTION);
    ASSERT_EQ(collector.names(),
              u"CSmartBuffer::Initialize_From_Callback,CSmartBuffer::Initialize_From_Callback");
    EXPECT_EQ(collector.reports()[0].level, ExceptionLevelHandled);
}

}  // namespace
}  // namespace tarnwillow
