// The fast reader against the literal one, on random texts made of what the rules turn on.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "literalReader.h"
#include "parsing.h"

namespace tarnwillow::test {

namespace {

std::string readable(const std::u16string& text) {
    std::string narrow;
    for (const char16_t c : text)
        narrow += c == 0 ? '@' : static_cast<char>(c);
    return narrow;
}

void expect_same_attributes(CXMLParser& parser, const LiteralElement& element) {
    char16_t value[512];
    int size = 7;
    if (element.attributes.empty()) {
        EXPECT_EQ(parser.Get_Current_Node_Attribute(u"a", value, &size), ERROR_NOT_FOUND);
        EXPECT_EQ(size, 0);
    }
    int index = 0;
    char16_t stored[256];
    for (const auto& attribute : element.attributes) {
        const std::u16string& name = attribute.first;
        EXPECT_EQ(parser.Get_Current_Node_Attribute_At(index++, stored, value), S_OK);
        EXPECT_EQ(stored, name);
        EXPECT_EQ(value, attribute.second);
        const auto first = std::find_if(element.attributes.begin(), element.attributes.end(),
                                        [&](const auto& other) { return other.first == name; });
        EXPECT_EQ(attribute_of(parser, name), first->second) << readable(name);
    }
    EXPECT_EQ(parser.Get_Current_Node_Attribute_At(index, stored, value), ERROR_NOT_FOUND);
}

void expect_same(CXMLParser& parser, const LiteralElement& element) {
    EXPECT_EQ(name_of(parser), element.name);
    EXPECT_EQ(data_of(parser), element.has_data ? element.data : u"<null>");
    EXPECT_EQ(parser.Current_Node_Has_Children(), !element.children.empty());
    expect_same_attributes(parser, element);
    if (parser.Move_To_Child(nullptr) != S_OK) return;
    for (std::size_t i = 0; i < element.children.size(); ++i) {
        expect_same(parser, *element.children[i]);
        const bool last = i + 1 == element.children.size();
        EXPECT_EQ(parser.Move_To_Sibling(nullptr), last ? ERROR_NOT_FOUND : S_OK);
    }
    parser.Move_To_Parent();
}

void compare(const std::u16string& text) {
    SCOPED_TRACE(readable(text));
    const LiteralDocument wanted = read_literally(text);
    CXMLParser parser;
    ASSERT_EQ(load(parser, text), wanted.status);
    ASSERT_EQ(parser.Move_To_Child(nullptr) == S_OK, !wanted.root.children.empty());
    if (wanted.root.children.empty()) return;
    expect_same(parser, *wanted.root.children[0]);
    EXPECT_EQ(parser.Move_To_Sibling(nullptr), ERROR_NOT_FOUND);
}

template <class Piece, std::size_t count>
void compare_random_texts(Piece const (&pieces)[count], std::size_t most, int rounds) {
    std::mt19937 random(20260117);
    for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        std::u16string text = u"<";
        for (std::size_t left = random() % most; left > 0; --left)
            text += pieces[random() % count];
        compare(text);
    }
}

}  // namespace

TEST(XmlDifferential, SingleCharacters) {
    constexpr char16_t kAlphabet[] = {u'<',  u'<', u'>', u'>', u'/', u'/', u'a', u'b',  u'=',
                                      u'\'', u'"', u' ', u'!', u'-', u'-', u'?', u'\n', u'\0'};
    compare_random_texts(kAlphabet, 28, 150000);
}

TEST(XmlDifferential, PiecesOfDocuments) {
    constexpr std::u16string_view kPieces[] = {u"<a>",
                                               u"</a>",
                                               u"<b>",
                                               u"</b>",
                                               u"<a/>",
                                               u"</a >",
                                               u"<b c='1'>",
                                               u" c=\"2\"",
                                               u"<!--",
                                               u"-->",
                                               u"<?x",
                                               u"?>",
                                               u"<a ",
                                               u"/>",
                                               u"=",
                                               u"'",
                                               u"text",
                                               u" ",
                                               u"<ab>",
                                               u"</ab>",
                                               u"<",
                                               u"\nc='3'",
                                               u"</",
                                               u"/x",
                                               u"<?y?>",
                                               u"<!--z-->",
                                               u"<long-name-of-eight-and-more>",
                                               u"</long-name-of-eight-and-more>",
                                               u"0123456789 0123456789"};
    compare_random_texts(kPieces, 16, 150000);
}

// Tags of several hundred characters, with units that are ASCII in their lower or upper byte only.
TEST(XmlDifferential, LongTags) {
    constexpr std::u16string_view kPieces[] = {u" a='1'",
                                               u" name-1.x:y = \"value\"",
                                               u" b=\"it's\"",
                                               u" c='say \"so\"'",
                                               u" d=''",
                                               u" \u8022=\"\u8000\u2200\u2700\"",
                                               u" \u3D00\u3E3E='\u2722\u803E\uFFFF\u007F'",
                                               u" e='0123456789012345678901234567890123456789'",
                                               u" a-name-that-goes-on-and-on-and-on='x'",
                                               u"      ",
                                               u"/>",
                                               u"><b",
                                               u"></b>",
                                               u" f=g",
                                               u"'",
                                               u"\n"};
    compare_random_texts(kPieces, 40, 40000);
}

}  // namespace tarnwillow::test
