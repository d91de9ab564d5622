#include "tarnwillow/network/adapterAddress.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "network/client.h"
#include "support/childProcess.h"
#include "tarnwillow/network/CSnmpTableWalker.h"
#include "tarnwillow/platform/adapters.h"

namespace tarnwillow::test {

namespace {

// An agent is loaded once in a process: so each case has one of its own.

/// Prints two answers, which must come at one place.
TARNWILLOW_CHILD(adapters) {
    char16_t const* const first = Get_Mac_Address();
    std::printf("first %s\n", narrowed(first).c_str());
    try {
        const CSnmpTableWalker walker;
    } catch (int thrown) {
        std::printf("thrown %d\n", thrown);
    }
    return Get_Mac_Address() == first ? 0 : 1;
}

/// What a child saw of the agent in `folder` with that table.
ChildResult run_with(const char* folder, const std::string& table) {
    setenv("LD_LIBRARY_PATH", folder, 1);
    setenv("TEST_ADAPTERS", table.c_str(), 1);
    ChildResult result = run_child("adapters");
    unsetenv("LD_LIBRARY_PATH");
    unsetenv("TEST_ADAPTERS");
    return result;
}

struct Answer {
    std::string address;
    int queries;
};

std::size_t count_of(const std::string& text, const std::string& what) {
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += what.size())
        ++count;
    return count;
}

/// The address, and how many rows were asked for in each of the two walks.
Answer answer_of(const std::string& table) {
    const ChildResult child = run_with(TEST_AGENT_FOLDER, table);
    EXPECT_EQ(child.exit_code, 0) << child.output;
    EXPECT_EQ(count_of(child.output, "init"), 1U) << child.output;
    const std::size_t at = child.output.find("first ");
    return {child.output.substr(at + 6, child.output.find('\n', at) - at - 6),
            static_cast<int>(count_of(child.output, "query 161") / 2)};
}

void expect(const std::string& table, const std::string& address, int queries) {
    const Answer answer = answer_of(table);
    EXPECT_EQ(answer.address, address) << table;
    EXPECT_EQ(answer.queries, queries) << table;
}

}  // namespace

TEST(AdapterAddress, IsThatOfTheFirstEthernetAdapterThatIsUp) {
    expect("n24 1,6 1 0a0b0c0d0e0f,6 1 111111111111", "0a0b0c0d0e0f", 2);
    expect("n6 2 111111111111,71 1 222222222222,6 1 ffeeddccbbaa", "ffeeddccbbaa", 3);
    expect("n6 1 000000000000,6 1 111111111111", "", 1);
    expect("n6 1 444553540102,6 1 111111111111", "", 1);
    expect("n6 1 0102030405,6 1 111111111111", "", 1);
}

TEST(AdapterAddress, IsThatOfTheLastAdapterIfNoneWillDo) {
    expect("n6 2 111111111111,71 1 222222222222", "222222222222", 3);
    expect("n6 2 111111111111,24 1", "", 3);
    expect("n", "", 1);
}

TEST(AdapterAddress, IsEmptyWithAnAgentThatDoesNotWork) {
    expect("f6 1 111111111111", "", 1);
    expect("s6 1 111111111111", "", 1);
    const ChildResult child = run_with(TEST_PARTIAL_AGENT_FOLDER, "n6 1 111111111111");
    EXPECT_EQ(child.output, "first \nthrown -1\n");
}

TEST(AdapterAddress, ComesFromTheSystemWithoutAnAgent) {
    std::string expected;
    for (const platform::Adapter& adapter : platform::list_adapters()) {
        char digits[13] = "";
        const std::uint8_t* const a = adapter.address;
        std::snprintf(digits, sizeof digits, "%02x%02x%02x%02x%02x%02x", a[0], a[1], a[2], a[3],
                      a[4], a[5]);
        const bool none = std::string(digits) == "000000000000" || adapter.address_size != 6;
        expected = none ? "" : digits;
        if (adapter.kind == 6 && adapter.state == 1) break;
    }
    EXPECT_EQ(narrowed(Get_Mac_Address()), expected);
}

TEST(Adapters, AreListedWithTheLoopback) {
    std::uint32_t last = 0;
    bool loopback = false;
    for (const platform::Adapter& adapter : platform::list_adapters()) {
        EXPECT_GT(adapter.index, last);
        last = adapter.index;
        loopback = loopback || (adapter.kind == 24 && adapter.state == 1);
    }
    EXPECT_TRUE(loopback);
}

namespace {

struct Walked {
    std::string events;
    long stop_after = 100;
};

bool note(AsnAny* value, long code, void* user) {
    auto& walked = *static_cast<Walked*>(user);
    if (value != nullptr)
        walked.events += "v" + std::to_string(code);
    else if (code == CSnmpTableWalker::kGoOn)
        return walked.stop_after-- > 0;
    else
        walked.events += "e" + std::to_string(code);
    return value == nullptr || code != 8;
}

constexpr unsigned long kIndexColumn[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1, 0};
constexpr unsigned long kTypeColumn[] = {1, 3, 6, 1, 2, 1, 2, 2, 1, 3, 0};

class Walker : public testing::Test {
protected:
    Walker() { walker.Create_Variable_List(&list); }
    ~Walker() override { walker.Free_Variable_List(list); }

    CSnmpTableWalker walker;
    CCollection* list = nullptr;
};

}  // namespace

TEST_F(Walker, TellsRowsAndTheirColumns) {
    walker.Add_Variable(list, kIndexColumn, 7);
    walker.Add_Variable(list, kTypeColumn, 8);
    walker.Add_Variable(list, kTypeColumn, 9);
    Walked walked;
    walked.stop_after = 1;
    EXPECT_EQ(walker.Walk_Table(list, note, &walked), 0);
    EXPECT_EQ(walked.events, "e1e3v7v8e4e5") << "the rest of a refused row is skipped";
    Walked whole;
    EXPECT_EQ(walker.Walk_Table(list, note, &whole), 0);
    EXPECT_EQ(count_of(whole.events, "e3"), platform::list_adapters().size());
}

TEST_F(Walker, RefusesWhatIsNoListOrIdentifier) {
    unsigned long oid[34] = {};
    std::fill_n(oid, 32, 1);
    EXPECT_EQ(walker.Add_Variable(list, oid, 1), 0);
    oid[32] = 1;
    EXPECT_EQ(walker.Add_Variable(list, oid, 1), E_INVALIDARG);
    EXPECT_EQ(walker.Add_Variable(list, nullptr, 1), E_INVALIDARG);
    auto* const bad = reinterpret_cast<CCollection*>(8);
    EXPECT_EQ(walker.Add_Variable(bad, kTypeColumn, 1), E_INVALIDARG);
    EXPECT_EQ(walker.Walk_Table(bad, note, nullptr), E_INVALIDARG);
    EXPECT_EQ(walker.Free_Variable_List(bad), E_INVALIDARG);
    CCollection empty;
    EXPECT_EQ(walker.Walk_Table(&empty, note, nullptr), E_INVALIDARG);
    EXPECT_EQ(walker.Walk_Table(list, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(Walker, SurvivesAProcedureThatFails) {
    walker.Add_Variable(list, kIndexColumn, 7);
    const auto failing = [](AsnAny*, long, void*) -> bool { throw 5L; };
    EXPECT_EQ(walker.Walk_Table(list, failing, nullptr), DISP_E_EXCEPTION);
}

}  // namespace tarnwillow::test
