#include <gtest/gtest.h>

#include "parsing.h"

namespace tarnwillow::test {

namespace {

/// Loads a part of a document into a tree of its own, and notes what is called.
class XmlTreeLoad : public testing::Test {
protected:
    void SetUp() override { cursor.reset(tree->New_Cursor()); }

    long load_tree(CXMLParser& parser) {
        return parser.Load_Tree(cursor.get(), produce, notify, this);
    }

    static bool produce(CXMLParser* parser, XmlParserNodeType type, void** data, long* size,
                        void* user) {
        auto& test = *static_cast<XmlTreeLoad*>(user);
        const std::u16string name = name_of(*parser);
        test.seen += std::string(name.begin(), name.end());
        test.seen += type == XmlNodeWithChildren ? '+' : std::to_string(*size)[0];
        if (test.wanders) parser->Move_To_Root_Node();
        if (name == test.refused) return false;
        ++*size;  // found again at the next element of the level
        *data = test.marks + test.produced++;
        return true;
    }

    static bool notify(void* data, void* node, void* user) {
        auto& test = *static_cast<XmlTreeLoad*>(user);
        const std::unique_ptr<CSimpleTreeCursor> there(test.tree->New_Cursor());
        test.seen += there->Move_To_Node(node) == data ? "=" : "^";  // the node itself, or above it
        return false;
    }

    int nodes() {
        int count = -1;
        cursor->Move_To_Root();
        tree->Walk_Subtree(
            cursor->Get_Node(),
            [](void*, long, void*, void* context) {
                ++*static_cast<int*>(context);
                return true;
            },
            &count);
        return count;
    }

    std::unique_ptr<CSimpleTree> tree{New_Simple_Tree()};
    std::unique_ptr<CSimpleTreeCursor> cursor;
    std::string seen;
    std::u16string refused;
    bool wanders = false;
    int produced = 0;
    char marks[16];
};

}  // namespace

TEST_F(XmlTreeLoad, RebuildsTheDocument) {
    const auto parser = parsed(u"<a><b><c/><d/></b><e/></a>");
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_EQ(seen, "a+=b+=c0^d1^e1^");
    EXPECT_EQ(nodes(), 5);
    EXPECT_EQ(name_of(*parser), u"a");
}

TEST_F(XmlTreeLoad, TakesTheCurrentElementAndThoseBehindIt) {
    const auto parser = parsed(u"<a><b/><c/><d/></a>");
    parser->Move_To_Child(u"c");
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_EQ(seen, "c0^d1^");
    EXPECT_EQ(name_of(*parser), u"c");
}

TEST_F(XmlTreeLoad, ARefusalOnTheTopLevelCancels) {
    const auto parser = parsed(u"<a/>");
    refused = u"a";
    EXPECT_EQ(load_tree(*parser), ERROR_CANCELLED);
    EXPECT_EQ(nodes(), 0);
}

TEST_F(XmlTreeLoad, ARefusalBelowEndsThatLevelOnly) {
    const auto parser = parsed(u"<a><b><c/><d/><e/></b><f/></a>");
    refused = u"d";
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_EQ(seen, "a+=b+=c0^d1f1^");
    EXPECT_EQ(nodes(), 4);
}

TEST_F(XmlTreeLoad, AProducerThatMovesThePositionDoesNoHarm) {
    const auto parser = parsed(u"<a><b><c/></b><d/></a>");
    wanders = true;
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_EQ(nodes(), 4);
    refused = u"c";
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_EQ(nodes(), 4 + 3);
    EXPECT_EQ(name_of(*parser), u"a");
    parser->Move_To_Parent();
    parser->Move_To_Parent();
    EXPECT_EQ(load_tree(*parser), S_OK);
    EXPECT_FALSE(parser->Current_Node_Has_Children()) << "off the tree, as before";
}

TEST_F(XmlTreeLoad, NeedsAProducerAndAPlace) {
    const auto parser = parsed(u"<a/>");
    EXPECT_EQ(parser->Load_Tree(cursor.get(), nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(parser->Load_Tree(nullptr, produce, nullptr, this), E_INVALIDARG);
    EXPECT_EQ(parser->Load_Tree(cursor.get(), produce, nullptr, this), S_OK);
    cursor->Move_To_Root();
    cursor->Move_To_Parent();
    EXPECT_EQ(parser->Load_Tree(cursor.get(), produce, nullptr, this), E_OUTOFMEMORY);
}

}  // namespace tarnwillow::test
