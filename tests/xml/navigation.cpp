#include <gtest/gtest.h>

#include "parsing.h"
#include "support/guardPage.h"
#include "support/reports.h"

namespace tarnwillow::test {

namespace {

const std::u16string_view kDocument = u"<r><a/><b i='1'/><b i='2'/><c k='v'>  x </c><e>   </e></r>";

}  // namespace

TEST(XmlNavigation, StartsAboveTheDocumentElement) {
    CXMLParser parser;
    EXPECT_EQ(parser.Move_To_Child(nullptr), ERROR_NOT_FOUND);
    ASSERT_EQ(load(parser, kDocument), S_OK);
    EXPECT_EQ(name_of(parser), u"<none>");
    EXPECT_TRUE(parser.Current_Node_Has_Children());
    EXPECT_EQ(parser.Move_To_Sibling(u"r"), ERROR_NOT_FOUND);
    EXPECT_EQ(parser.Move_To_Child(nullptr), S_OK);
    EXPECT_EQ(name_of(parser), u"r");
}

TEST(XmlNavigation, LeavesTheTreeAndComesBack) {
    const auto parser = parsed(kDocument);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(parser->Move_To_Parent(), S_OK);
    EXPECT_EQ(name_of(*parser), u"<none>");
    EXPECT_FALSE(parser->Current_Node_Has_Children());
    EXPECT_EQ(parser->Move_To_Child(nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(parser->Move_To_Sibling(u"a"), ERROR_NOT_FOUND);
    EXPECT_EQ(parser->Move_To_Root_Node(), S_OK);
    EXPECT_EQ(parser->Move_To_Child(u"R"), S_OK);
}

TEST(XmlNavigation, FindsChildrenByName) {
    const auto parser = parsed(kDocument);
    EXPECT_EQ(parser->Move_To_Child(u"x"), ERROR_NOT_FOUND);
    EXPECT_EQ(name_of(*parser), u"r");
    EXPECT_EQ(parser->Move_To_Child(u"C"), S_OK);
    EXPECT_EQ(name_of(*parser), u"c");
    EXPECT_EQ(parser->Move_To_Child(u"x"), ERROR_NOT_FOUND);
    EXPECT_EQ(name_of(*parser), u"c");
}

TEST(XmlNavigation, ASiblingByNameIsTheFirstOfThatName) {
    const auto parser = parsed(kDocument);
    parser->Move_To_Child(u"c");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(parser->Move_To_Sibling(u"b"), S_OK);
        EXPECT_EQ(attribute_of(*parser, u"i"), u"1");
    }
    EXPECT_EQ(parser->Move_To_Sibling(nullptr), S_OK);
    EXPECT_EQ(attribute_of(*parser, u"i"), u"2");
    EXPECT_EQ(parser->Move_To_Sibling(u"ab"), ERROR_NOT_FOUND);
    EXPECT_EQ(attribute_of(*parser, u"i"), u"2");
    parser->Move_To_Sibling(u"e");
    EXPECT_EQ(parser->Move_To_Sibling(nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(name_of(*parser), u"e");
}

TEST(XmlNavigation, CopiesDataAsFarAsThereIsRoom) {
    const auto parser = parsed(kDocument);
    parser->Move_To_Child(u"c");
    char16_t text[8] = {};
    int size = 0;
    EXPECT_EQ(parser->Get_Current_Node_Data(nullptr, &size, false), S_OK);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(parser->Get_Current_Node_Data(text, &size, false), S_OK);
    EXPECT_EQ(std::u16string_view(text, 4), u"  x ");
    size = 3;
    EXPECT_EQ(parser->Get_Current_Node_Data(text, &size, true), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 4);
    EXPECT_EQ(parser->Get_Current_Node_Data(text, &size, true), S_OK);
    EXPECT_EQ(std::u16string_view(text, static_cast<std::size_t>(size)), u"x");
    EXPECT_EQ(parser->Get_Current_Node_Data_String(nullptr, 4, true), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(parser->Get_Current_Node_Data_String(text, 5, false), S_OK);
    EXPECT_EQ(std::u16string(text), u"  x ");
    EXPECT_EQ(parser->Get_Current_Node_Data_String(text, 5, true), S_OK);
    EXPECT_EQ(std::u16string(text), u"x");
}

TEST(XmlNavigation, WhiteSpaceAloneTrimsToNothing) {
    const auto parser = parsed(kDocument);
    parser->Move_To_Child(u"e");
    char16_t text[8];
    int size = 8;
    EXPECT_EQ(parser->Get_Current_Node_Data(text, &size, true), S_OK);
    EXPECT_EQ(size, 0);
    EXPECT_EQ(parser->Get_Current_Node_Data_String(text, 8, true), S_OK);
    EXPECT_EQ(text[0], u'\0');
}

TEST(XmlNavigation, CopiesAttributesAsFarAsThereIsRoom) {
    const auto parser = parsed(u"<a short='abc' long='" + std::u16string(256, u'x') + u"'/>");
    char16_t value[512];
    int size = 2;
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"SHORT", nullptr, &size),
              ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"SHORT", nullptr, &size), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"SHORT", value, &size), S_OK);
    EXPECT_EQ(std::u16string(value), u"abc");
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"none", nullptr, &size), ERROR_NOT_FOUND);
    EXPECT_EQ(size, 3);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"short", value, nullptr), S_OK);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"long", value, nullptr),
              ERROR_INSUFFICIENT_BUFFER);
    parser->Move_To_Root_Node();
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"short", value, &size), ERROR_NOT_FOUND);
    EXPECT_EQ(size, 0);
}

TEST(XmlNavigation, BadPointersOfTheCallerAreStatuses) {
    const auto parser = parsed(kDocument);
    parser->Move_To_Child(u"c");
    int size = 8;
    char16_t text[512];
    EXPECT_EQ(parser->Get_Current_Node(nullptr), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Data(text, nullptr, true), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Data_String(nullptr, 8, true), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Raw_Data(nullptr, &size), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(nullptr, text, &size), E_INVALIDARG);
    if (address_checks()) return;
    const GuardPage page(8);
    auto* const bad = reinterpret_cast<char16_t*>(page.end());
    EXPECT_EQ(parser->Get_Current_Node(bad), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Data(bad, &size, true), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Data_String(bad, 8, false), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Attribute(u"k", bad, nullptr), E_INVALIDARG);
    EXPECT_EQ(parser->Get_Current_Node_Attribute_At(0, text, bad), E_INVALIDARG);
}

}  // namespace tarnwillow::test
