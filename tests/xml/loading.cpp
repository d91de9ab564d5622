#include <gtest/gtest.h>

#include <vector>

#include "parsing.h"
#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/reports.h"

namespace tarnwillow::test {

namespace {

std::u16string repeated(std::u16string_view text, int count) {
    std::u16string all;
    for (int i = 0; i < count; ++i)
        all += text;
    return all;
}

/// What a derived class may do.
class OpenParser : public CXMLParser {
public:
    using CXMLParser::Load_Node;
    using CXMLParser::Prepare_Buffer;
};

}  // namespace

TEST(XmlLoading, TellsGoodDocumentsFromBadOnes) {
    const struct {
        std::u16string_view text;
        long status;
    } cases[] = {
        {u"<a/>", S_OK},        {u"<a/", S_OK},
        {u"<a/>\r\n\t ", S_OK}, {u"<a/><!-- end -->", S_OK},
        {u"<a/><!--", S_OK},    {u"<a/><!-- end", E_INVALIDARG},
        {u"<?a", E_INVALIDARG}, {u" <a/>", E_INVALIDARG},
        {u"a", E_INVALIDARG},   {u"<a", E_INVALIDARG},
        {u"<a>", E_INVALIDARG}, {u"<a b='x", E_INVALIDARG},
        {u"<a b'x'>", E_FAIL},  {u"<a><b c\"", E_FAIL},
        {u"<a><b></a>", S_OK},
    };
    for (const auto& [text, status] : cases)
        EXPECT_EQ(status_of(text), status) << std::string(text.begin(), text.end());
}

TEST(XmlLoading, BuildsTheTree) {
    const struct {
        std::u16string_view text, outline, data;
    } cases[] = {
        {u"<a/>", u"a", u"<null>"},
        {u"<a>x</a>", u"a", u"x"},
        {u"<a><b/>x</a>", u"a(b)", u"<b/>x"},
        {u"<a>&lt;</a>", u"a", u"&lt;"},
        {u"<a></a >x</a>", u"a", u"</a >x"},
        {u"<a></A></a>", u"a", u"</A>"},
        {u"<a><b></a>", u"a(b)", u""},
        {u"<a><b>y<c/>x</a>", u"a(b(c) c)", u"<b>y<c/>x"},
        {u"<?xml version=\"1.0\"?>\r\n<a>x</a>", u"a", u"x"},
        {u"<?a?><!--b--><c>x<!-- y -->z</c>", u"c", u"xz"},
        {u"<a><!--b--><!--c--></a>", u"a(!--c--)", u""},
        {u"<a><![CDATA[x]]></a>", u"a(![CDATA[x]])", u""},
    };
    for (const auto& [text, tree, data] : cases) {
        const auto parser = parsed(text);
        EXPECT_EQ(outline(*parser), tree);
        EXPECT_EQ(data_of(*parser), data) << std::string(text.begin(), text.end());
    }
}

TEST(XmlLoading, ReadsAttributes) {
    const auto parser =
        parsed(u"<a b = 'x' c=\"y'z\" d e='1'\nf='2' g/hi='3' j='' k=l='4' M='5' m='6'>t</a>");
    for (const auto& [name, value] :
         std::vector<std::pair<std::u16string, std::u16string>>{{u"b", u"x"},
                                                                {u"c", u"y'z"},
                                                                {u"de", u"1"},
                                                                {u"\nf", u"2"},
                                                                {u"gi", u"3"},
                                                                {u"j", u""},
                                                                {u"k", u"4"},
                                                                {u"m", u"5"},
                                                                {u"d", u"<none>"}})
        EXPECT_EQ(attribute_of(*parser, name), value);
}

TEST(XmlLoading, ManyAttributesStayInOrder) {
    std::u16string text = u"<a";
    for (char16_t i = 0; i < 5000; ++i)
        text += u" n='" + std::u16string(1, u'A' + i) + u"'";
    const auto parser = parsed(text + u"/>");
    char16_t name[256], value[512];
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(parser->Get_Current_Node_Attribute_At(i, name, value), S_OK);
        ASSERT_EQ(value[0], u'A' + i);
    }
    EXPECT_EQ(parser->Get_Current_Node_Attribute_At(5000, name, value), ERROR_NOT_FOUND);
}

TEST(XmlLoading, LimitsLengths) {
    const std::u16string name = repeated(u"n", 255);
    const std::u16string value = repeated(u"v", 511);
    EXPECT_EQ(status_of(u"<" + name + u"/>"), S_OK);
    EXPECT_EQ(status_of(u"<" + name + u"n/>"), E_INVALIDARG);
    for (const std::u16string spacing : {u"", u"\n"}) {  // the second is not in one piece
        const std::u16string start = u"<a " + spacing + u" ";
        const std::u16string short_name = repeated(u"n", 254);
        EXPECT_EQ(status_of(start + short_name + u"='" + value + u"'/>"), S_OK);
        EXPECT_EQ(status_of(start + name + u"n='v'/>"), E_INVALIDARG);
        EXPECT_EQ(status_of(start + u"n='" + value + u"v'/>"), E_INVALIDARG);
        EXPECT_EQ(status_of(start + name + u"n/>"), S_OK);
    }
}

TEST(XmlLoading, KeepsWhatWasReadBeforeAFailure) {
    CXMLParser parser;
    EXPECT_EQ(load(parser, u"<a><b c='1'/><d e='2' f\"3\"></a>"), E_FAIL);
    parser.Move_To_Child(nullptr);
    EXPECT_EQ(outline(parser), u"a(b d)");
    parser.Move_To_Child(u"d");
    EXPECT_EQ(attribute_of(parser, u"e"), u"<none>");
    EXPECT_EQ(load(parser, u"<" + repeated(u"n", 300) + u"/>"), E_INVALIDARG);
    parser.Move_To_Child(nullptr);
    EXPECT_EQ(name_of(parser), repeated(u"n", 255));
}

TEST(XmlLoading, LimitsNesting) {
    EXPECT_EQ(status_of(repeated(u"<a>", 256) + repeated(u"</a>", 256)), S_OK);
    EXPECT_EQ(status_of(repeated(u"<a>", 257) + repeated(u"</a>", 257)), E_INVALIDARG);
    EXPECT_EQ(status_of(u"<a>" + repeated(u"<b></b>", 5000) + u"</a>"), S_OK);
}

TEST(XmlLoading, BoundsReadingAgain) {
    EXPECT_EQ(status_of(repeated(u"<a>", 8) + u"x"), S_OK);
    EXPECT_EQ(status_of(repeated(u"<a>", 60) + u"x"), E_INVALIDARG);
    const std::u16string dense = repeated(u"<b/>", 50000);
    EXPECT_EQ(status_of(u"<a><a>" + dense), S_OK);
    EXPECT_EQ(status_of(repeated(u"<a>", 8) + dense), E_INVALIDARG) << "34 times 50,000 elements";
}

TEST(XmlLoading, RefusesBadArguments) {
    CXMLParser parser;
    const GuardPage page(8);
    auto* const bad = reinterpret_cast<char16_t const*>(page.end());
    EXPECT_EQ(parser.Initialize(nullptr, 4), E_INVALIDARG);
    EXPECT_EQ(parser.Initialize(u"<a/>", -1), E_INVALIDARG);
    EXPECT_EQ(parser.Initialize(bad, 0), E_INVALIDARG);
    EXPECT_EQ(parser.Initialize(bad, 4), DISP_E_EXCEPTION);
    std::u16string_view(u"<a/>").copy(page.as<char16_t>(), 4);
    if (!address_checks()) {
        EXPECT_EQ(parser.Initialize(page.as<char16_t>(), 5), DISP_E_EXCEPTION);
    }
    EXPECT_EQ(parser.Initialize(page.as<char16_t>(), 4), S_OK);
}

TEST(XmlLoading, ItsPartsNeedADocument) {
    OpenParser parser;
    EXPECT_EQ(parser.Prepare_Buffer(), E_UNEXPECTED);
    EXPECT_EQ(load(parser, u"<?a b"), E_INVALIDARG);
    EXPECT_EQ(parser.Load_Node(), E_UNEXPECTED);
    EXPECT_EQ(load(parser, u"<a/>"), S_OK);
    parser.Move_To_Parent();
    EXPECT_EQ(parser.Load_Node(), E_UNEXPECTED) << "off the tree";
}

TEST(XmlLoading, EveryAllocationMayFail) {
    const std::u16string text = u"<a b='1'\n c='2'><d/></a>";
    const long before = live_allocations();
    for (std::size_t successes = 0;; ++successes) {
        CXMLParser parser;
        const FailingAllocator failing(successes);
        const long result = load(parser, text);
        if (failing.refused() == 0) break;
        ASSERT_EQ(result, E_OUTOFMEMORY) << successes;
    }
    EXPECT_EQ(live_allocations(), before);
}

TEST(XmlLoading, LargeDocumentsAreWhole) {
    const std::u16string text =
        u"<?xml?><r>" + repeated(u"<i n='v'>some text<!-- note --></i>\n", 200000) + u"</r>";
    const auto parser = parsed(text);
    int count = 0;
    for (long more = parser->Move_To_Child(nullptr); more == S_OK;
         more = parser->Move_To_Sibling(nullptr), ++count) {
        ASSERT_EQ(data_of(*parser), u"some text");
        ASSERT_EQ(attribute_of(*parser, u"n"), u"v");
    }
    EXPECT_EQ(count, 200000);
}

}  // namespace tarnwillow::test
