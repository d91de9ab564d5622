#include "tarnwillow/containers/CSimpleTree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/reports.h"
#include "tarnwillow/core/guard.h"

namespace tarnwillow::test {

namespace {

/// A tree and a cursor on it. The data of a node is one letter.
class SimpleTree : public testing::Test {
protected:
    void* add(char letter, bool move = false) { return cursor->Add_Child(datum(letter), 1, move); }

    /// Adds what "ab(cd)e" says: letters, and in brackets the children of the one before.
    void build(const std::string& text) {
        void* last = nullptr;
        for (const char c : text) {
            if (c == '(')
                cursor->Move_To_Node(last);
            else if (c == ')')
                cursor->Move_To_Parent();
            else
                nodes[static_cast<unsigned char>(c)] = last = add(c);
        }
        cursor->Move_To_Root();
    }

    void* root() {
        cursor->Move_To_Root();
        return cursor->Get_Node();
    }

    /// What a walk below a node visits, and "!" if it gives false.
    std::string walk(void* top) {
        std::string seen;
        const bool whole = tree->Walk_Subtree(
            top,
            [](void* data, long, void*, void* context) {
                *static_cast<std::string*>(context) += letter_of(data);
                return true;
            },
            &seen);
        return whole ? seen : seen + "!";
    }

    static void* datum(char letter) { return &letters[static_cast<unsigned char>(letter)]; }
    static char letter_of(void* data) {
        return data == nullptr ? '.' : static_cast<char>(static_cast<char*>(data) - letters);
    }
    void* node(char letter) { return nodes[static_cast<unsigned char>(letter)]; }

    static char letters[256];
    std::unique_ptr<CSimpleTree> tree{New_Simple_Tree()};
    std::unique_ptr<CSimpleTreeCursor> cursor{tree->New_Cursor()};
    void* nodes[256] = {};
};

char SimpleTree::letters[256];

const auto kNoNode = reinterpret_cast<void*>(-1);

}  // namespace

TEST_F(SimpleTree, WalksNodesBeforeTheirChildren) {
    build("ab(cd(e)f)g");
    EXPECT_EQ(walk(root()), ".abcdefg");
    EXPECT_EQ(walk(node('b')), "bcdef");
    EXPECT_EQ(walk(node('a')), "a");
}

TEST_F(SimpleTree, CursorMovesGiveTheDataOfWhereTheyLead) {
    build("a(bc)d");
    EXPECT_EQ(cursor->Move_To_First_Child(), datum('a'));
    EXPECT_EQ(cursor->Move_To_Last_Child(), datum('c'));
    EXPECT_EQ(cursor->Move_To_Next_Sibling(), nullptr);
    EXPECT_EQ(cursor->Move_To_First_Child(), nullptr);
    EXPECT_EQ(cursor->Get_Data(), datum('c'));
    EXPECT_EQ(cursor->Move_To_First_Sibling(), datum('b'));
    EXPECT_EQ(cursor->Move_To_Parent(), datum('a'));
    EXPECT_EQ(cursor->Move_To_Next_Sibling(), datum('d'));
    EXPECT_FALSE(cursor->Has_Children());
}

TEST_F(SimpleTree, ACursorAboveTheRootStandsOnNothing) {
    EXPECT_EQ(cursor->Move_To_First_Sibling(), nullptr);
    EXPECT_EQ(cursor->Move_To_Parent(), nullptr);
    EXPECT_EQ(cursor->Get_Node(), kNoNode);
    EXPECT_EQ(add('a'), nullptr);
    EXPECT_EQ(cursor->Get_Size(), -1);
    EXPECT_FALSE(cursor->Has_Children());
    cursor->Move_To_Root();
    EXPECT_NE(add('a'), nullptr);
}

TEST_F(SimpleTree, AddingMovesTheCursorIfTold) {
    add('a');
    add('b', true);
    add('c');
    EXPECT_EQ(walk(root()), ".abc");
    EXPECT_EQ(cursor->Move_To_Last_Child(), datum('b'));
    EXPECT_EQ(cursor->Move_To_First_Child(), datum('c'));
}

TEST_F(SimpleTree, NewDataReplacesTheOld) {
    build("a");
    cursor->Move_To_First_Child();
    cursor->Set_Data(nullptr, -1);
    EXPECT_EQ(cursor->Get_Data(), datum('a'));
    EXPECT_EQ(cursor->Get_Size(), 1);
    cursor->Set_Data(datum('z'), 26);
    EXPECT_EQ(cursor->Get_Data(), datum('z'));
    EXPECT_EQ(cursor->Get_Size(), 26);
}

TEST_F(SimpleTree, RememberedPositionsAreAStack) {
    build("a(b)c");
    EXPECT_EQ(cursor->Pop_Position(true), nullptr);
    cursor->Move_To_First_Child();
    cursor->Push_Position();
    cursor->Move_To_First_Child();
    cursor->Push_Position();
    cursor->Move_To_Root();
    EXPECT_EQ(cursor->Pop_Position(true), datum('b'));
    const std::unique_ptr<CSimpleTreeCursor> clone(cursor->Clone());
    EXPECT_EQ(clone->Pop_Position(true), nullptr);
    EXPECT_EQ(clone->Get_Data(), datum('b'));
    EXPECT_EQ(cursor->Pop_Position(false), datum('b'));
    EXPECT_EQ(cursor->Pop_Position(true), nullptr);
}

TEST_F(SimpleTree, DeletingTakesTheSubtreeAndLeavesTheSiblings) {
    build("ab(cd)ef");
    tree->Delete_Node(node('b'));
    EXPECT_EQ(walk(root()), ".aef");
    tree->Delete_Node(node('f'));
    build("g");
    EXPECT_EQ(walk(root()), ".aeg");
}

TEST_F(SimpleTree, MovingAppendsTheSubtree) {
    build("a(bc)d(e)");
    tree->Move_Node(node('a'), node('d'));
    EXPECT_EQ(walk(root()), ".deabc");
    tree->Move_Node(node('b'), node('a'));
    EXPECT_EQ(walk(root()), ".deacb");
}

TEST_F(SimpleTree, TheRootStaysAndNothingMovesBelowItself) {
    build("a(b(c))d");
    tree->Move_Node(root(), node('d'));
    tree->Delete_Node(root());
    tree->Move_Node(node('a'), node('a'));
    tree->Move_Node(node('a'), node('c'));
    EXPECT_EQ(walk(root()), ".abcd");
}

TEST_F(SimpleTree, PointersToAnythingElseAreRefused) {
    build("a(b)c");
    const std::unique_ptr<CSimpleTree> other(New_Simple_Tree());
    const std::unique_ptr<CSimpleTreeCursor> there(other->New_Cursor());
    void* const foreign = there->Add_Child(nullptr, 0, false);
    const GuardPage page(8);
    std::uint64_t unrelated[8] = {};
    tree->Delete_Node(node('c'));
    for (void* bad : {foreign, node('c'), static_cast<void*>(unrelated), kNoNode,
                      static_cast<void*>(nullptr), static_cast<void*>(page.end())}) {
        EXPECT_EQ(cursor->Move_To_Node(bad), nullptr);
        EXPECT_EQ(walk(bad), "!");
        tree->Move_Node(bad, node('a'));
        tree->Move_Node(node('b'), bad);
        tree->Delete_Node(bad);
    }
    EXPECT_EQ(walk(root()), ".ab");
    EXPECT_TRUE(there->Has_Children());
}

TEST_F(SimpleTree, ACursorOnADeletedNodeStandsOnNothing) {
    build("a(b)");
    cursor->Move_To_Node(node('b'));
    cursor->Push_Position();
    tree->Delete_Node(node('a'));
    EXPECT_EQ(cursor->Get_Data(), nullptr);
    EXPECT_EQ(cursor->Move_To_Parent(), nullptr);
    EXPECT_EQ(cursor->Pop_Position(true), nullptr);
    EXPECT_EQ(cursor->Add_Child(nullptr, 0, false), nullptr);
}

TEST_F(SimpleTree, ACursorOutlivesItsTree) {
    build("a(b)");
    cursor->Move_To_Node(node('b'));
    tree.reset();
    EXPECT_EQ(cursor->Get_Data(), nullptr);
    EXPECT_EQ(cursor->Move_To_Root(), nullptr);
    EXPECT_EQ(cursor->Move_To_Node(node('a')), nullptr);
    EXPECT_EQ(add('c'), nullptr);
}

TEST_F(SimpleTree, AWalkStopsAtTheFirstFalse) {
    build("a(bc)d");
    std::string seen;
    const auto until_b = [](void* data, long, void*, void* context) {
        *static_cast<std::string*>(context) += letter_of(data);
        return letter_of(data) != 'b';
    };
    EXPECT_FALSE(tree->Walk_Subtree(root(), until_b, &seen));
    EXPECT_EQ(seen, ".ab");
    tree->Walk_To_Root(node('c'), until_b, &seen);
    EXPECT_EQ(seen, ".abca");
    tree->Walk_To_Root(node('b'), until_b, &seen);
    tree->Walk_To_Root(root(), until_b, &seen);
    EXPECT_EQ(seen, ".abcab");
}

TEST_F(SimpleTree, AGuidedWalkFollowsTheAnswers) {
    build("ab(cd(e)f)g");
    std::string seen;
    tree->Walk_Guided(
        node('a'),
        [](void* data, long, void*, void* context) {
            *static_cast<std::string*>(context) += letter_of(data);
            const char letter = letter_of(data);
            return letter == 'e' ? 3 : letter == 'b' || letter == 'd' ? 2 : 0;
        },
        &seen);
    EXPECT_EQ(seen, "abcde");
}

TEST_F(SimpleTree, AWalkSurvivesTheDeletionOfWhatItVisits) {
    build("a(b)c(d)e");
    struct Context {
        CSimpleTree* tree;
        CSimpleTreeCursor* cursor;
        std::string seen;
    } context{tree.get(), cursor.get(), {}};
    const auto replace = [](void* data, long, void* visited, void* pointer) {
        auto& use = *static_cast<Context*>(pointer);
        use.seen += letter_of(data);
        if (letter_of(data) != 'a' && letter_of(data) != 'd') return true;
        use.tree->Delete_Node(visited);
        use.cursor->Add_Child(datum('n'), 1, false);
        return true;
    };
    EXPECT_TRUE(tree->Walk_Subtree(root(), replace, &context));
    EXPECT_EQ(context.seen, ".acdenn");
    EXPECT_EQ(walk(root()), ".cenn");
}

TEST_F(SimpleTree, AWalkStaysBelowItsTopWhateverIsMoved) {
    build("a(bc(d)e)f(g)h");
    struct Context {
        CSimpleTree* tree;
        void *b, *c, *f;
        std::string seen;
    } context{tree.get(), node('b'), node('c'), node('f'), {}};
    const auto move = [](void* data, long, void*, void* pointer) {
        auto& use = *static_cast<Context*>(pointer);
        use.seen += letter_of(data);
        if (letter_of(data) == 'b') use.tree->Move_Node(use.b, use.f);
        if (letter_of(data) == 'd') use.tree->Move_Node(use.c, use.f);
        return true;
    };
    EXPECT_TRUE(tree->Walk_Subtree(node('a'), move, &context));
    EXPECT_EQ(context.seen, "abcd");
    EXPECT_EQ(walk(root()), ".aefgbcdh");
}

TEST_F(SimpleTree, AFaultInAWalkEndsTheWalk) {
    build("a");
    probe_guard(
        [this] {
            const auto faulty = [](void*, long, void*, void*) { return fault(), true; };
            tree->Walk_Subtree(root(), faulty, nullptr);
        },
        no_recovery);
    tree->Delete_Node(node('a'));
    EXPECT_EQ(add('b'), node('a'));  // as behind any walk
}

TEST_F(SimpleTree, DestroyCallbacksRunInOrderBeforeTheNodesGo) {
    build("abc");
    static std::string seen;
    seen.clear();
    const auto note = [](CSimpleTree* dying, void* data) {
        const std::unique_ptr<CSimpleTreeCursor> own(dying->New_Cursor());
        seen += std::string(static_cast<char*>(data)) + letter_of(own->Move_To_First_Child());
    };
    char first[] = "1", second[] = "2", third[] = "3";
    tree->Add_Destroy_Callback(note, first);
    void* const removed = tree->Add_Destroy_Callback(note, second);
    tree->Add_Destroy_Callback([](CSimpleTree*, void*) { throw 5L; }, nullptr);
    tree->Add_Destroy_Callback(note, third);
    tree->Remove_Destroy_Callback(removed);
    tree.reset();
    EXPECT_EQ(seen, "1a3a");
}

TEST_F(SimpleTree, LongChainsAndDeepOnesNeedNoStack) {
    constexpr int kMany = 1000000;
    void* const wide = add('w');
    void* const deep = add('d');
    for (void* start : {wide, deep}) {
        cursor->Move_To_Node(start);
        for (int i = 0; i < kMany; ++i)
            add('x', start == deep);
    }
    EXPECT_EQ(walk(root()).size(), 2U * kMany + 3);
    tree->Delete_Node(deep);
    tree->Delete_Node(wide);
    EXPECT_EQ(walk(root()), ".");
}

TEST(SimpleTreeMemory, NoMemoryGivesNull) {
    {
        const FailingAllocator none;
        EXPECT_EQ(New_Simple_Tree(), nullptr);
    }
    const std::unique_ptr<CSimpleTree> tree(New_Simple_Tree());
    const std::unique_ptr<CSimpleTreeCursor> cursor(tree->New_Cursor());
    const FailingAllocator none;
    EXPECT_EQ(tree->New_Cursor(), nullptr);
    EXPECT_EQ(cursor->Clone(), nullptr);
    EXPECT_EQ(cursor->Add_Child(nullptr, 0, false), nullptr);
}

}  // namespace tarnwillow::test
