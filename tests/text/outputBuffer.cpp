#include <gtest/gtest.h>
#include <sys/resource.h>

#include <climits>
#include <cstring>
#include <thread>
#include <vector>

#include "support/childProcess.h"
#include "support/guardPage.h"
#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/waits.h"
#include "tarnwillow/text/COutputBuffer.h"
#include "tarnwillow/text/CWOutputBuffer.h"
#include "text/bothWidths.h"

namespace tarnwillow {
namespace {

using test::narrowed;

/// The buffer's own counts, which only a derived class sees.
template <class Buffer>
struct Open : Buffer {
    using Buffer::Allocated;
    using Buffer::Free_Space;
    using Buffer::Grow;
    using Buffer::Keep_Buffer;
};

template <class Char>
struct BufferOf {
    using Type = COutputBuffer;
};
template <>
struct BufferOf<char16_t> {
    using Type = CWOutputBuffer;
};

template <class Char>
class OutputBuffer : public testing::Test {
protected:
    using Buffer = Open<typename BufferOf<Char>::Type>;

    static std::basic_string<Char> units(std::string_view text) {
        return {text.begin(), text.end()};
    }
    static std::string text_of(const Buffer& of) {
        return narrowed(static_cast<Char const*>(static_cast<Char*>(of)));
    }
    std::string text() { return text_of(buffer); }

    /// What HTML a text becomes.
    static std::string html(std::string_view text) {
        Buffer from, to;
        from << units(text).c_str();
        from.Convert_To_HTML(to);
        return to.String_Len() > 0 ? text_of(to) : "";
    }

    Buffer buffer;
};
TYPED_TEST_SUITE(OutputBuffer, test::Widths);

TYPED_TEST(OutputBuffer, HasNoStorageBeforeItsFirstText) {
    TypeParam* const null = nullptr;
    this->buffer << this->units("").c_str() << TypeParam{0} << null;
    EXPECT_EQ(static_cast<TypeParam*>(this->buffer), nullptr);
    EXPECT_EQ(this->buffer.String_Len(), 0);
    this->buffer.Truncate(0);
    this->buffer << this->units("a").c_str();
    this->buffer.Reset();
    EXPECT_EQ(static_cast<TypeParam*>(this->buffer), nullptr);
    EXPECT_EQ(this->buffer.Allocated, 0);
}

TYPED_TEST(OutputBuffer, TakesTextCharactersAndNumbers) {
    const auto text = this->units("text");
    this->buffer << 1 << text.c_str() << TypeParam{'x'} << short{-1} << ' ' << 0 << ' ';
    EXPECT_EQ(this->text(), "1textx-1 0 ");
    EXPECT_EQ(this->buffer.String_Len(), 11);
}

TYPED_TEST(OutputBuffer, PrintsNumbersBySizeAndSign) {
    this->buffer << static_cast<unsigned short>(65535) << ' ' << static_cast<short>(-1) << ' '
                 << 4294967295U << ' ' << 4294967295UL << ' ' << 5U << ' ' << 5ULL << ' ' << INT_MIN
                 << ' ' << -1L << ' ' << LLONG_MIN << ' ' << 4294967296UL << ' ' << ULLONG_MAX;
    EXPECT_EQ(this->text(),
              "65535 -1 -1 -1 5 5 -2147483648 -1 -9223372036854775808 4294967296 "
              "18446744073709551615");
}

TYPED_TEST(OutputBuffer, KeepsLongTextsWhole) {
    const std::string text(20000, 'x');
    this->buffer << this->units(text).c_str();
    EXPECT_EQ(this->text(), text);
    for (int i = 0; i < 30000; ++i)
        this->buffer << TypeParam{'y'};
    EXPECT_EQ(this->text(), text + std::string(30000, 'y'));
}

TYPED_TEST(OutputBuffer, CountsItsAllocationInEqualSteps) {
    this->buffer << TypeParam{'x'};
    EXPECT_EQ(this->buffer.Allocated, 10241);
    EXPECT_EQ(this->buffer.Free_Space, 10239);
    this->buffer << this->units(std::string(10240, 'x')).c_str();
    EXPECT_EQ(this->buffer.Allocated, 2 * 10241);
    EXPECT_EQ(this->buffer.Free_Space, 0);
    this->buffer << this->units(std::string(30000, 'x')).c_str();
    EXPECT_EQ(this->buffer.Allocated, 4 * 10241);
    EXPECT_EQ(this->buffer.Free_Space, 10240 - 30000);
    this->buffer << TypeParam{'x'};
    EXPECT_EQ(this->buffer.Allocated, 5 * 10241);
    EXPECT_EQ(this->buffer.Free_Space, 10239);
}

TYPED_TEST(OutputBuffer, CutsFromTheEnd) {
    this->buffer << this->units("ab").c_str();
    for (int count : {3, -1, INT_MIN, INT_MAX})
        this->buffer.Truncate(count);
    EXPECT_EQ(this->text(), "ab");
    this->buffer << this->units("cd").c_str();
    this->buffer.Truncate(3);
    EXPECT_EQ(this->text(), "a");
    EXPECT_EQ(this->buffer.Free_Space, 10240 - 4) << "cutting gives no room back";
}

TYPED_TEST(OutputBuffer, AppendsItself) {
    this->buffer << this->units(std::string(10000, 'x')).c_str();
    this->buffer << this->buffer;
    EXPECT_EQ(this->text(), std::string(20000, 'x'));
    this->buffer << static_cast<TypeParam*>(this->buffer) + 19999;
    EXPECT_EQ(this->buffer.String_Len(), 20001);
}

TYPED_TEST(OutputBuffer, BecomesHtml) {
    struct {
        char const* text;
        char const* html;
    } const cases[] = {
        {"", ""},
        {"a\r\nb", "a<br>b"},
        {"\nb", "b"},
        {"a\nb", "ab"},
        {"ab\nc", "ab<br>c"},
        {"\r\r", "<br><br>"},
        {"a<b>", "a&lt;b&gt;"},
        {"R&D", "R&amp;D"},
        {"R&&D", "R&D"},
        {"100%%", "100%"},
        {"%b%x%/b%", "<b>x</b>"},
        {"%", "<"},
        {"&", "&amp;"},
        {"a&&&b", "a&&amp;b"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(this->html(c.text), c.html) << c.text;
}

TYPED_TEST(OutputBuffer, BecomesHtmlBehindItself) {
    this->buffer << this->units("a%i%&").c_str();
    this->buffer.Convert_To_HTML(this->buffer);
    EXPECT_EQ(this->text(), "a%i%&a<i>&amp;");
}

TYPED_TEST(OutputBuffer, LeavesItsStorageToWhoAsksForThat) {
    TypeParam* text;
    {
        typename TestFixture::Buffer kept;
        kept << this->units("kept").c_str();
        kept.Keep_Buffer = true;
        text = kept;
    }
    EXPECT_EQ(narrowed(static_cast<TypeParam const*>(text)), "kept");
    std::free(text);
}

TYPED_TEST(OutputBuffer, TakesAppendsFromManyThreads) {
    const auto word = this->units("word ");
    std::vector<std::thread> threads;
    const auto append = [&] {
        for (int line = 0; line < 5000; ++line)
            this->buffer << word.c_str();
    };
    for (int i = 0; i < 3; ++i)
        threads.emplace_back(append);
    append();
    for (std::thread& thread : threads)
        thread.join();
    std::string all;
    for (int i = 0; i < 20000; ++i)
        all += "word ";
    EXPECT_EQ(this->text(), all);
}

TEST(OutputBuffers, ConvertTheOtherWidth) {
    COutputBuffer narrow;
    narrow << u"wide " << u'x' << u'\u00FC' << static_cast<unsigned char>(65);
    EXPECT_STREQ(narrow,
                 "wide x\xC3\xBC"
                 "A");
    EXPECT_THROW(narrow << u"\u00FC", long) << "more bytes than units";
    CWOutputBuffer wide;
    wide << "f\xC3\xBCr " << 'a' << '\xFC';
    EXPECT_EQ(static_cast<char16_t*>(wide), std::u16string(u"f\u00FCr a\uFFFD"));
}

template <class Buffer, class Value>
concept Appends = requires(Buffer& buffer, Value value) {
    buffer << value;
};
template <class Buffer>
concept TakesNoForeignWidth =
    !Appends<Buffer, wchar_t*> && !Appends<Buffer, wchar_t const*> && !Appends<Buffer, wchar_t> &&
    !Appends<Buffer, char32_t> && !Appends<Buffer, char8_t> && !Appends<Buffer, void*> &&
    !std::is_copy_constructible_v<Buffer> && !std::is_copy_assignable_v<Buffer>;
static_assert(TakesNoForeignWidth<COutputBuffer> && TakesNoForeignWidth<CWOutputBuffer>);

TEST(BinaryAppend, CountsZerosAndTerminates) {
    Open<COutputBuffer> buffer;
    buffer.Append_Binary_Data("\1\0\2", 3);
    buffer.Append_Binary_Data(nullptr, 5);
    buffer.Append_Binary_Data("x", 0);
    EXPECT_EQ(buffer.String_Len(), 3);
    EXPECT_EQ(std::memcmp(static_cast<char*>(buffer), "\1\0\2", 4), 0);
    EXPECT_EQ(buffer.Allocated, 3 + 10240 + 1) << "a step beside its own size";
    const std::string much(30000, 'x');
    buffer.Append_Binary_Data(much.data(), much.size());
    EXPECT_EQ(buffer.String_Len(), 30003);
    EXPECT_EQ(static_cast<char*>(buffer)[30003], 0);
    COutputBuffer html;
    buffer.Convert_To_HTML(html);
    EXPECT_EQ(static_cast<char*>(html), "\1\2" + much) << "zeros append nothing";
}

/// The status that `body` throws, 0 for none.
template <class Body>
long thrown_by(Body body) {
    try {
        body();
    } catch (long status) {
        return status;
    }
    return 0;
}

TEST(OutputBuffers, RefuseWhatComesNear31Bits) {
    COutputBuffer buffer;
    buffer << "a";
    for (unsigned long count : {0x7FFFFFFFUL, 0x80000000UL, 0x100000001UL, ULONG_MAX})
        EXPECT_EQ(thrown_by([&] { buffer.Append_Binary_Data("x", count); }), E_OUTOFMEMORY);
    EXPECT_STREQ(buffer << "b", "ab");
}

TARNWILLOW_CHILD(text_without_memory) {
    Open<COutputBuffer> buffer;
    buffer << "a";
    rlimit all;
    getrlimit(RLIMIT_AS, &all);
    const rlimit little{64 << 20, all.rlim_max};
    setrlimit(RLIMIT_AS, &little);
    const int before = buffer.Allocated;
    if (buffer.Grow(1 << 30) != E_OUTOFMEMORY || buffer.Allocated != before) return 1;
    if (thrown_by([&] { buffer.Append_Binary_Data("x", 1 << 30); }) != E_OUTOFMEMORY) return 2;
    setrlimit(RLIMIT_AS, &all);
    // Another thread gets the section, so the failed append has left it.
    std::thread([&] { buffer << "b"; }).join();
    return std::strcmp(buffer, "ab") == 0 ? 0 : 3;
}

TEST(OutputBuffers, ThrowWithoutMemoryAndStayAsTheyWere) {
    if (test::address_checks()) GTEST_SKIP() << "a sanitizer needs all addresses";
    EXPECT_EQ(test::run_child("text_without_memory").exit_code, 0);
}

/// The mutex of one class of buffers, as some program of the product has to make it.
class BufferMutexes : public testing::Test {
protected:
    template <class Buffer>
    static void take_turns(char const* name) {
        EXPECT_FALSE(Buffer::Mutex_Lock_All_Buffers(true)) << "nobody has made it";
        const HANDLE mutex = CreateMutexA(nullptr, false, name);
        EXPECT_TRUE(Buffer::Mutex_Lock_All_Buffers(true));
        EXPECT_TRUE(Buffer::Mutex_Lock_All_Buffers(true)) << "held already";
        std::thread([&] {
            EXPECT_EQ(WaitForSingleObject(mutex, 0), static_cast<std::uint32_t>(WAIT_TIMEOUT));
        }).join();
        EXPECT_TRUE(Buffer::Mutex_Lock_All_Buffers(false));
        std::thread([&] {
            EXPECT_EQ(WaitForSingleObject(mutex, 0), WAIT_OBJECT_0);
            ReleaseMutex(mutex);
        }).join();
        EXPECT_TRUE(Buffer::Mutex_Lock_All_Buffers(false));
        CloseHandle(mutex);
        EXPECT_FALSE(Buffer::Mutex_Lock_All_Buffers(true)) << "no handle is left";
    }

    test::TemporaryFolder folder;
};

TEST_F(BufferMutexes, AreOpenedAndNeverMade) {
    take_turns<COutputBuffer>("__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX");
    take_turns<CWOutputBuffer>("__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX_W");
}

TEST(OutputBuffers, AreFreeAfterAFaultInTheData) {
    COutputBuffer buffer;
    const test::GuardPage page(1);
    const bool failed = probe_guard(
        [&] {
            buffer.Append_Binary_Data(page.begin(), 4096);
            return false;
        },
        [] { return true; });
    EXPECT_TRUE(failed);
    std::thread([&] { buffer << "other"; }).join();
    EXPECT_STREQ(buffer, "other");
}

}  // namespace
}  // namespace tarnwillow
