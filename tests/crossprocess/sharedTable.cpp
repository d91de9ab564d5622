#include "tarnwillow/crossprocess/CIPCSharedTable.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <set>
#include <thread>
#include <vector>

#include "crossprocess/atoms.h"
#include "support/childProcess.h"
#include "support/failingAllocator.h"
#include "support/guardPage.h"
#include "support/reports.h"
#include "support/runningChild.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/clock.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/sharedMemory.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::test {
namespace {

/// What only a derived class may do.
class OpenTable : public CIPCSharedTable {
public:
    using CIPCSharedTable::Clean_Up;
    using CIPCSharedTable::Get_Atom_Index;
    using CIPCSharedTable::Release_Atom;
};

std::string data_of(CIPCSharedTable& table, long type, long id) {
    char data[512 + 1] = {};
    return table.Get_Atom_Data(type, id, data, 512) ? data : "<none>";
}

bool set(CIPCSharedTable& table, long type, long id, std::string_view text) {
    return table.Set_Atom_Data(type, id, text.data(), static_cast<long>(text.size()), true);
}

/// The section's bytes, by another way than the table's operations.
class Bytes {
public:
    explicit Bytes(char const* name)
        : table(*static_cast<detail::SharedTable*>(
              CreateSharedMemory(sizeof(detail::SharedTable), name, nullptr))) {}
    ~Bytes() { UnmapViewOfFile(&table); }
    Bytes(const Bytes&) = delete;
    Bytes& operator=(const Bytes&) = delete;

    detail::SharedTable& table;
};

class SharedTable : public testing::Test {
protected:
    SharedTable() { EXPECT_EQ(table.Initialize("test"), 0); }
    std::string fault() { return fault_of(Bytes("test").table); }

    TemporaryFolder folder;
    OpenTable table;
};

TEST_F(SharedTable, HandsOutIndexesInOrder) {
    EXPECT_EQ(table.New_Atom(1, 1, "a", 2), 0);
    EXPECT_EQ(table.New_Atom(1, 2, "b", 2), 1);
    EXPECT_EQ(table.New_Atom(1, 1, "c", 2), -183);
    EXPECT_EQ(data_of(table, 1, 1), "a");
    EXPECT_EQ(table.Get_Atom_Index(1, 2), 1);
    EXPECT_EQ(table.Get_Atom_Index(2, 2), -1);
    EXPECT_EQ(table.Get_Atom_Count(), 2);
    EXPECT_EQ(fault(), "");
}

TEST_F(SharedTable, TakesJust256Atoms) {
    for (long i = 0; i < 256; ++i)
        ASSERT_EQ(table.New_Atom(i, -i, nullptr, 5), i);
    EXPECT_EQ(table.New_Atom(1000, 0, nullptr, 0), -1);
    EXPECT_EQ(table.New_Atom(5, -5, nullptr, 0), -1) << "full comes before known";
    EXPECT_FALSE(set(table, 1000, 0, "x"));
    EXPECT_TRUE(table.Delete_Atom(77));
    EXPECT_TRUE(set(table, 1000, 0, "x"));
    EXPECT_EQ(table.Get_Atom_Index(1000, 0), 77);
    EXPECT_EQ(fault(), "");
}

TEST_F(SharedTable, CopiesNoMoreThanThereIs) {
    const std::string much(1000, 'x');
    ASSERT_TRUE(set(table, 1, 1, much));
    char out[1000];
    std::memset(out, 'o', sizeof out);
    EXPECT_TRUE(table.Get_Atom_Data(1, 1, out, 1000));
    EXPECT_EQ(std::string_view(out, sizeof out), std::string(512, 'x') + std::string(488, 'o'));
    for (long size : {0L, -1L, LONG_MIN}) {
        EXPECT_TRUE(table.Get_Atom_Data(0, out + 990, size));
        EXPECT_TRUE(table.Set_Atom_Data(1, 1, "y", size, false));
        EXPECT_GE(table.New_Atom(2, size, "y", size), size < INT_MIN ? -1 : 0);
    }
    EXPECT_EQ(data_of(table, 1, 1)[0], 'x');
    EXPECT_EQ(out[990], 'o');
    EXPECT_TRUE(table.Get_Atom_Data(1, 1, nullptr, 512)) << "only a question";
}

TEST_F(SharedTable, KeepsWhatStandsBehindShorterData) {
    ASSERT_TRUE(set(table, 1, 1, "01234567890123456789"));
    ASSERT_TRUE(set(table, 1, 1, "abcdefghij"));
    EXPECT_EQ(data_of(table, 1, 1), "abcdefghij0123456789");
    EXPECT_TRUE(table.Set_Atom_Data(0, "ABC", 3));
    EXPECT_EQ(data_of(table, 1, 1), "ABCdefghij0123456789");
    EXPECT_TRUE(table.Delete_Atom(1, 1));
    EXPECT_TRUE(set(table, 2, 2, ""));
    EXPECT_EQ(data_of(table, 2, 2), "");
}

TEST_F(SharedTable, RefusesWhatIsNoAtom) {
    for (long index : {-1L, 0L, 255L, 256L, LONG_MAX, 1L << 32}) {
        EXPECT_FALSE(table.Get_Atom_Data(index, nullptr, 0)) << index;
        EXPECT_FALSE(table.Set_Atom_Data(index, "x", 1)) << index;
        EXPECT_FALSE(table.Delete_Atom(index)) << index;
        table.Release_Atom(index);
        EXPECT_FALSE(table.Get_Atom_Key(index, nullptr, nullptr)) << index;
    }
    EXPECT_FALSE(table.Set_Atom_Data(1, 1, "x", 1, false));
    EXPECT_FALSE(table.Delete_Atom(1, 1));
    ASSERT_TRUE(set(table, 1, 1, "x"));
    table.Release_Atom(1);
    EXPECT_EQ(table.Get_Atom_Count(), 1);
    table.Release_Atom(0);
    EXPECT_EQ(table.Get_Atom_Count(), 0);
    EXPECT_EQ(fault(), "");
}

TEST_F(SharedTable, RefusesKeysBeyond32Bits) {
    ASSERT_TRUE(set(table, 0, 0, "zero"));
    for (long key : {1L << 32, 0x80000000L, LONG_MIN, -0x80000001L}) {
        EXPECT_EQ(table.New_Atom(key, 0, "x", 1), -1);
        EXPECT_EQ(table.New_Atom(0, key, "x", 1), -1);
        EXPECT_FALSE(set(table, key, 0, "x"));
        EXPECT_FALSE(table.Get_Atom_Data(0, key, nullptr, 0));
        EXPECT_FALSE(table.Delete_Atom(key, 0));
    }
    EXPECT_TRUE(set(table, INT_MIN, INT_MAX, "edge"));
    long type = 0, id = 0;
    EXPECT_TRUE(table.Get_Atom_Key(1, &type, &id));
    EXPECT_EQ(type, INT_MIN);
    EXPECT_EQ(id, INT_MAX);
}

// Attaching.

TEST_F(SharedTable, StaysWithItsFirstName) {
    EXPECT_EQ(table.Initialize("test"), 0);
    EXPECT_EQ(table.Initialize(u"test"), 0);
    EXPECT_EQ(table.Initialize("other"), E_UNEXPECTED);
    EXPECT_EQ(table.Initialize(nullptr), E_UNEXPECTED);
    EXPECT_STREQ(table.Get_Table_Name(), "test");
}

TEST_F(SharedTable, HasADefaultNameAndAnEmptyOne) {
    CIPCSharedTable first, same, empty, same_empty;
    EXPECT_EQ(first.Initialize(), 0);
    EXPECT_EQ(same.Initialize("QV7162-GENERIC_ATOM_TABLE"), 0);
    EXPECT_EQ(empty.Initialize(static_cast<char16_t*>(nullptr)), 0);
    EXPECT_EQ(empty.Initialize(""), 0);
    EXPECT_EQ(empty.Initialize("x"), E_UNEXPECTED);
    EXPECT_EQ(same_empty.Initialize(u""), 0);
    EXPECT_TRUE(set(first, 1, 1, "a"));
    EXPECT_TRUE(set(empty, 1, 1, "b"));
    EXPECT_EQ(data_of(same, 1, 1), "a");
    EXPECT_EQ(data_of(same_empty, 1, 1), "b");
    EXPECT_EQ(data_of(table, 1, 1), "<none>");
}

TEST_F(SharedTable, IsMadeByItsFirstUser) {
    CIPCSharedTable second;
    EXPECT_FALSE(second.Made_Table()) << "detached";
    EXPECT_EQ(second.Initialize("test"), 0);
    EXPECT_TRUE(table.Made_Table());
    EXPECT_FALSE(second.Made_Table());
}

TEST_F(SharedTable, StaysDetachedWhereItFailsAndMayTryAgain) {
    OpenTable other;
    EXPECT_EQ(other.Initialize(std::string(256, 'n').c_str()), E_INVALIDARG);
    EXPECT_NE(other.Initialize(std::u16string(256, u'n').c_str()), 0);
    {
        const FailingAllocator none;
        EXPECT_THROW(other.Initialize("other"), long);
    }
    EXPECT_STREQ(other.Get_Table_Name(), "");
    EXPECT_EQ(other.New_Atom(1, 1, "x", 1), -1);
    EXPECT_EQ(other.Get_Atom_Count(), 0);
    EXPECT_EQ(other.Get_Atom_Index(1, 1), -1);
    EXPECT_FALSE(set(other, 1, 1, "x"));
    EXPECT_FALSE(other.Get_Atom_Data(0, nullptr, 0));
    EXPECT_FALSE(other.Delete_Atom(0));
    EXPECT_FALSE(other.Iterate_Atoms(1, nullptr, nullptr));
    EXPECT_EQ(other.Initialize(std::string(255, 'n').c_str()), 0);
    EXPECT_TRUE(set(other, 1, 1, "x"));
}

TEST_F(SharedTable, SharesItsAttachmentWithItsCopies) {
    ASSERT_TRUE(set(table, 1, 1, "a"));
    CIPCSharedTable copy = table;
    table.Clean_Up();
    EXPECT_EQ(table.Get_Atom_Count(), 0);
    EXPECT_EQ(data_of(copy, 1, 1), "a");
    EXPECT_EQ(table.Initialize("test"), 0);
    EXPECT_EQ(data_of(table, 1, 1), "a");
}

// Walks.

class SharedTableWalk : public SharedTable {
protected:
    SharedTableWalk() {
        for (long id = 1; id <= 6; ++id)
            table.New_Atom(1 + id % 2, id, nullptr, 0);  // 2 1 2 1 2 1
    }

    /// The ids that a walk over a type visits; `act` runs at each and may end the walk.
    template <class Act>
    std::string visited(long type, Act act) {
        struct Context {
            Act act;
            std::string ids;
        } context{act, {}};
        const auto callback = [](long, long id, char*, void* pointer) {
            auto& mine = *static_cast<Context*>(pointer);
            mine.ids += std::to_string(id) + " ";
            return mine.act(id);
        };
        EXPECT_FALSE(table.Iterate_Atoms(type, callback, &context));
        return context.ids;
    }
    std::string visited(long type) {
        return visited(type, [](long) { return true; });
    }
};

TEST_F(SharedTableWalk, VisitsOneTypeInOrder) {
    EXPECT_EQ(visited(2), "1 3 5 ");
    EXPECT_EQ(visited(1), "2 4 6 ");
    EXPECT_EQ(visited(3), "");
    EXPECT_EQ(visited(2 + (1L << 32)), "");
    EXPECT_EQ(visited(2, [](long id) { return id != 3; }), "1 3 ");
    EXPECT_EQ(visited(2), "1 3 5 ") << "anew behind one that was ended";
}

TEST_F(SharedTableWalk, GoesOnWhereAtomsAreDeleted) {
    EXPECT_EQ(visited(2, [this](long id) { return table.Delete_Atom(2, id); }), "1 3 5 ");
    EXPECT_EQ(visited(1,
                      [this](long id) {
                          table.Delete_Atom(1, id == 2 ? 4 : 1000);
                          return true;
                      }),
              "2 6 ");
    EXPECT_EQ(fault(), "");
}

TEST_F(SharedTableWalk, VisitsWhatIsMadeMeanwhile) {
    // Every atom makes way for another one, far more often than a table has places.
    const std::string ids = visited(2, [this](long id) {
        table.Delete_Atom(2, id);
        if (id < 2000) table.New_Atom(2, id + 6, nullptr, 0);
        return true;
    });
    EXPECT_EQ(std::count(ids.begin(), ids.end(), ' '), 335 + 334 + 334);
    EXPECT_EQ(fault(), "");
}

TEST_F(SharedTableWalk, NestsAndStepsBackWhereAnInnerOneDeletes) {
    std::string inner;
    EXPECT_EQ(visited(2,
                      [&](long id) {
                          inner += visited(1, [&](long inner_id) {
                              if (id == 3) table.Delete_Atom(2, 3);
                              return inner_id < 4;
                          });
                          return true;
                      }),
              "1 3 5 ");
    EXPECT_EQ(inner, "2 4 2 4 2 4 ");
}

TEST_F(SharedTableWalk, EndsAtAFaultAndLeavesTheTableUsable) {
    const ReportCollector reports;
    EXPECT_EQ(visited(2,
                      [](long) -> bool {
                          test::fault();
                          return true;
                      }),
              "1 ");
    EXPECT_EQ(visited(2, [](long) -> bool { throw 5L; }), "1 ");
    EXPECT_EQ(reports.names(), u"CIPCSharedTable::Iterate_Atoms,CIPCSharedTable::Iterate_Atoms");
    std::thread([this] { EXPECT_EQ(visited(2), "1 3 5 "); }).join();
    EXPECT_TRUE(table.Delete_Atom(2, 1)) << "no walk is left behind";
}

TEST_F(SharedTableWalk, EndsInARingOfLinks) {
    const Bytes bytes("test");
    bytes.table.atoms[5].next = 0;
    const std::string ids = visited(2);
    EXPECT_EQ(std::count(ids.begin(), ids.end(), ' '), 128);
    EXPECT_EQ(data_of(table, 9, 9), "<none>");
    EXPECT_EQ(table.New_Atom(9, 9, "x", 1), 6);
}

TEST_F(SharedTable, SurvivesMemoryThatIsTakenAway) {
    ASSERT_TRUE(set(table, 1, 1, "a"));
    const ReportCollector reports;
    for (const auto& file : std::filesystem::directory_iterator(folder.path() / "runtime"))
        if (file.path().filename().string().find("section") != std::string::npos)
            std::filesystem::resize_file(file, 0);
    EXPECT_FALSE(table.Get_Atom_Data(1, 1, nullptr, 0));
    EXPECT_EQ(table.Get_Atom_Count(), 0);
    EXPECT_EQ(reports.names(), u"CIPCSharedTable,CIPCSharedTable");
}

// Between processes and threads.

/// Answers "set TYPE ID TEXT", "get TYPE ID" and "name NAME" until its input ends.
TARNWILLOW_CHILD(table_user) {
    CIPCSharedTable table;
    if (table.Initialize(std::string(argument).c_str()) != 0) return 1;
    answer("ready");
    long type = 0, id = 0;
    char text[512];
    for (std::string request; read_request(&request);) {
        if (std::sscanf(request.c_str(), "set %ld %ld %511s", &type, &id, text) == 3)
            answer(set(table, type, id, text) ? "set" : "not set");
        else if (std::sscanf(request.c_str(), "get %ld %ld", &type, &id) == 2)
            answer(data_of(table, type, id));
    }
    return 0;
}

TEST_F(SharedTable, IsOneForAllProcesses) {
    RunningChild child("table_user", "test");
    ASSERT_EQ(child.line(), "ready");
    EXPECT_EQ(child.ask("set 1 1 mine"), "set");
    EXPECT_EQ(data_of(table, 1, 1), "mine");
    ASSERT_TRUE(set(table, 1, 2, "yours"));
    EXPECT_EQ(child.ask("get 1 2"), "yours");
    RunningChild stranger("table_user", "other");
    ASSERT_EQ(stranger.line(), "ready");
    EXPECT_EQ(stranger.ask("get 1 2"), "<none>");
    EXPECT_EQ(child.finish(), 0);
    EXPECT_EQ(data_of(table, 1, 1), "mine") << "atoms have no owner";
}

TEST_F(SharedTable, GoesWithItsLastUser) {
    {
        RunningChild first("table_user", "other");
        ASSERT_EQ(first.line(), "ready");
        EXPECT_EQ(first.ask("set 1 1 old"), "set");
        RunningChild second("table_user", "other");
        ASSERT_EQ(second.line(), "ready");
        first.kill();
        EXPECT_EQ(second.ask("get 1 1"), "old");
    }
    CIPCSharedTable other;
    ASSERT_EQ(other.Initialize("other"), 0);
    EXPECT_EQ(other.Get_Atom_Count(), 0);
}

/// Fills one atom with one byte after the other until it is killed.
TARNWILLOW_CHILD(table_writer) {
    CIPCSharedTable table;
    if (table.Initialize(std::string(argument).c_str()) != 0) return 1;
    answer("ready");
    char data[512];
    for (int round = 0;; ++round) {
        std::memset(data, round % 256, sizeof data);
        table.Set_Atom_Data(1, 1, data, sizeof data, true);
    }
}

TEST_F(SharedTable, IsReadWholeWhileOthersWrite) {
    ASSERT_TRUE(set(table, 1, 1, std::string(512, 'x')));
    RunningChild first("table_writer", "test");
    ASSERT_EQ(first.line(), "ready");
    std::set<char> seen;
    const std::uint32_t started = GetTickCount();
    const auto goes_on = [&] { return seen.size() < 3 && GetTickCount() - started < kPatience; };
    for (int round = 0; round < 100000 || goes_on(); ++round) {
        char data[512];
        ASSERT_TRUE(table.Get_Atom_Data(1, 1, data, sizeof data));
        ASSERT_EQ(std::memcmp(data, data + 1, sizeof data - 1), 0) << "two writes in one read";
        seen.insert(data[0]);
    }
    EXPECT_GE(seen.size(), 3U) << "nobody wrote";
}

TEST_F(SharedTable, IsReadByNobodyWhileTheMutexIsHeld) {
    ASSERT_TRUE(set(table, 1, 1, "x"));
    const Handle mutex(CreatePublicMutex("QV7162-test-ATOM_TABLE_MUTEX"));
    ASSERT_EQ(wait(mutex), WAIT_OBJECT_0);
    const Handle done = manual_event();
    std::thread reader([&] {
        EXPECT_TRUE(table.Get_Atom_Data(1, 1, nullptr, 0));
        SetEvent(done);
    });
    EXPECT_EQ(wait(done, kMoment), static_cast<std::uint32_t>(WAIT_TIMEOUT));
    EXPECT_TRUE(table.Get_Atom_Data(1, 1, nullptr, 0)) << "the holder itself";
    ReleaseMutex(mutex);
    EXPECT_EQ(wait(done), WAIT_OBJECT_0);
    reader.join();
}

TEST_F(SharedTable, ServesManyThreads) {
    std::vector<std::thread> threads;
    for (long type = 0; type < 8; ++type)
        threads.emplace_back([this, type] {
            for (long round = 0; round < 300; ++round) {
                EXPECT_TRUE(set(table, type, round % 20, std::to_string(round)));
                EXPECT_EQ(data_of(table, type, round % 20), std::to_string(round));
                if (round % 3 == 0) {
                    EXPECT_TRUE(table.Delete_Atom(type, round % 20));
                }
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(fault(), "");
}

}  // namespace
}  // namespace tarnwillow::test
