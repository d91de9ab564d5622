#include <memory>

#include "support/failingAllocator.h"
#include "tarnwillow/xml/CXMLParser.h"
#include "text/bufferFixture.h"

namespace tarnwillow {
namespace {

using test::FailingAllocator;

class SmartBufferConvert : public test::BufferTest {
protected:
    /// Status of the hand-off; the parser, if any, is deleted.
    long parse() {
        CXMLParser* parser = nullptr;
        const long result = buffer.Create_XML_Parser(&parser);
        EXPECT_EQ(result == 0, parser != nullptr);
        const std::unique_ptr<CXMLParser> owner(parser);
        return result;
    }
};

TEST_F(SmartBufferConvert, DoublesPlainText) {
    buffer.Initialize(5);
    buffer.Write("abc");
    buffer.Move_To(1);
    EXPECT_EQ(buffer.Convert_To_Unicode(), 0);
    EXPECT_EQ(limits(), "2/6/10");
    EXPECT_EQ(wide_data(), u"abc");
    EXPECT_EQ(storage().substr(6), std::string(4, '\0'));
    EXPECT_EQ(buffer.Move_To("a", true, false), 0) << "the width of searches must not change";
}

TEST_F(SmartBufferConvert, HalvesPlainText) {
    load(std::u16string_view(u"abc"));
    buffer.Move_To(3);
    EXPECT_EQ(buffer.Convert_To_Asci(), 0);
    EXPECT_EQ(limits(), "1/3/5");
    EXPECT_EQ(data(), "abc");
    EXPECT_EQ(storage().substr(3), std::string(2, '\0'));
}

TEST_F(SmartBufferConvert, KeepsCursorAndEndWithTheirCharacters) {
    const std::string_view text = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";
    const unsigned long units[] = {0, 1, 1, 2, 2, 2, 3, 3, 3, 3, 5, 6};
    for (unsigned long at = 0; at <= text.size(); ++at) {
        load(text);
        buffer.Move_To(at);
        ASSERT_EQ(buffer.Convert_To_Unicode(), 0);
        EXPECT_EQ(wide_data(), u"a\u00E9\u20AC\U0001F600z");
        EXPECT_EQ(limits(), std::to_string(2 * units[at]) + "/12/22") << at;
    }
    const unsigned long offsets[] = {0, 1, 3, 6, 6, 10, 11};
    for (unsigned long unit = 0; unit <= 6; ++unit) {
        load(std::u16string_view(u"a\u00E9\u20AC\U0001F600z"));
        buffer.Move_To(2 * unit);
        ASSERT_EQ(buffer.Convert_To_Asci(), 0);
        EXPECT_EQ(data(), text);
        EXPECT_EQ(limits(), std::to_string(offsets[unit]) + "/11/11") << unit;
    }
}

TEST_F(SmartBufferConvert, KeepsACursorBehindTheData) {
    buffer.Initialize(12);
    buffer.Write("\xC3\xA9");
    buffer.Move_To(5);
    EXPECT_EQ(buffer.Convert_To_Unicode(), 0);
    EXPECT_EQ(limits(), "8/2/24");
    EXPECT_EQ(buffer.Convert_To_Asci(), 0);
    EXPECT_EQ(limits(), "5/2/14");
}

TEST_F(SmartBufferConvert, BrokenTextBecomesReplacementsAndNoneIsCut) {
    load(
        "\xFF"
        "a\xE2\x82");
    EXPECT_EQ(buffer.Convert_To_Unicode(), 0);
    EXPECT_EQ(wide_data(), u"\uFFFDa\uFFFD");
    EXPECT_EQ(storage().substr(6), std::string(2, '\0'));
    load(std::u16string(40, u'\xD800'));
    EXPECT_EQ(buffer.Convert_To_Asci(), 0);
    EXPECT_EQ(buffer.Get_End_Of_Data(), 120U);
    EXPECT_EQ(data().substr(117), "\xEF\xBF\xBD");
}

TEST_F(SmartBufferConvert, TheMarkGoesAndTheCursorFollows) {
    for (const auto& [before, after] : {std::pair{0, 0}, {1, 0}, {2, 0}, {4, 1}, {6, 2}}) {
        load(std::u16string_view(u"\uFEFFab"));
        buffer.Move_To(static_cast<unsigned long>(before));
        EXPECT_EQ(buffer.Convert_To_Asci(), 0);
        EXPECT_EQ(limits(), std::to_string(after) + "/2/5");
        EXPECT_EQ(data(), "ab");
    }
    load(std::u16string_view(u"\uFEFF\0", 2));
    buffer.Clear();
    buffer.Write(u"\uFEFF");
    buffer.Move_To(0);
    EXPECT_EQ(buffer.Convert_To_Asci(), 0);
    EXPECT_EQ(limits(), "0/0/4");
}

TEST_F(SmartBufferConvert, FailuresChangeNothing) {
    EXPECT_EQ(buffer.Convert_To_Unicode(), E_INVALIDARG);
    EXPECT_EQ(buffer.Convert_To_Asci(), E_INVALIDARG);
    load("x");
    EXPECT_EQ(buffer.Convert_To_Asci(), E_INVALIDARG);
    load(std::u16string_view(u"\uFEFFab"));
    const FailingAllocator none;
    EXPECT_EQ(buffer.Convert_To_Unicode(), E_OUTOFMEMORY);
    EXPECT_EQ(buffer.Convert_To_Asci(), E_OUTOFMEMORY);
    EXPECT_EQ(limits(), "0/6/6");
    EXPECT_EQ(wide_data(), u"\uFEFFab");
}

TEST_F(SmartBufferConvert, ParsesFromTheCursorBehindAMark) {
    load(std::u16string_view(u"\uFEFF<a><b/></a>"));
    EXPECT_EQ(parse(), 0);
    buffer.Move_To(2);
    EXPECT_EQ(parse(), 0);
    EXPECT_EQ(limits(), "2/24/24");
    load(std::u16string_view(u"\uFEFF\uFEFF<a></a>"));
    buffer.Move_To(2);
    EXPECT_NE(parse(), 0) << "only a mark at the start is one";
    load("<a></a>");
    EXPECT_EQ(parse(), E_INVALIDARG) << "narrow text must be converted first";
    EXPECT_EQ(buffer.Create_XML_Parser(nullptr), E_INVALIDARG);
}

TEST_F(SmartBufferConvert, ParsesAtOddOffsetsAndNothingBehindTheData) {
    const std::u16string text = u"<a></a>";
    buffer.Write("-", 1);
    buffer.Write(text.c_str());
    buffer.Move_To(1);
    EXPECT_EQ(parse(), 0);
    buffer.Move_To(buffer.Get_Current_Buffer_Max_Size());
    EXPECT_EQ(parse(), E_INVALIDARG);
    buffer.Move_To(1);
    const FailingAllocator none;
    EXPECT_EQ(parse(), E_OUTOFMEMORY);
}

}  // namespace
}  // namespace tarnwillow
