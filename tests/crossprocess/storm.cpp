// Processes that are killed in the midst of their work on what others share.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <random>
#include <set>
#include <string>

#include "crossprocess/atoms.h"
#include "support/childProcess.h"
#include "support/reports.h"
#include "support/runningChild.h"
#include "support/temporaryFolder.h"
#include "tarnwillow/crossprocess/CIPCSharedTable.h"
#include "tarnwillow/crossprocess/instanceControl.h"
#include "tarnwillow/crossprocess/instanceTable.h"
#include "tarnwillow/platform/headlessWindows.h"
#include "tarnwillow/platform/sharedMemory.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {
namespace {

/// The environment asks for more; a sanitizer's programs take ten times as long to start.
int kills() {
    char const* const number = std::getenv("TARNWILLOW_STORM_KILLS");
    return number != nullptr ? std::atoi(number) : address_checks() ? 100 : 1000;
}

/// Makes, changes and deletes atoms until it is killed.
TARNWILLOW_CHILD(table_storm) {
    CIPCSharedTable table;
    if (table.Initialize("storm") != 0) return 1;
    std::minstd_rand random(static_cast<unsigned>(getpid()));
    char data[512];
    answer("ready");
    for (;;) {
        const long id = random() % 64;
        std::memset(data, static_cast<int>('a' + id % 26), sizeof data);
        if (random() % 2 == 0)
            table.Set_Atom_Data(1, id, data, sizeof data, true);
        else
            table.Delete_Atom(1, id);
    }
}

/// Starts so many of one child, then kills the oldest again and again at a random moment. `look`
/// runs behind every kill, while the others go on.
template <class Look>
void storm(char const* name, Look look) {
    constexpr std::size_t kAtATime = 4;
    std::deque<std::unique_ptr<RunningChild>> children;
    std::mt19937 random(1);
    for (int killed = 0; killed < kills(); ++killed) {
        while (children.size() < kAtATime) {
            children.push_back(std::make_unique<RunningChild>(name));
            ASSERT_EQ(children.back()->line(), "ready");
        }
        usleep(random() % 300);  // the moment is what is tried here
        children.front()->kill();
        children.pop_front();
        ASSERT_NO_FATAL_FAILURE(look(killed));
    }
}

TEST(Storm, LeavesATableWholeForEverySurvivor) {
    const TemporaryFolder folder;
    {
        CIPCSharedTable table;
        ASSERT_EQ(table.Initialize("storm"), 0);
        struct Seen {
            detail::SharedTable copy;
            int looks;
        } seen{};
        // The bytes are looked at from within a walk, which holds the mutex.
        const auto look = [](long, long, char* data, void* context) {
            auto& mine = *static_cast<Seen*>(context);
            auto const* const atom = reinterpret_cast<detail::SharedAtom const*>(
                data - offsetof(detail::SharedAtom, data));
            std::memcpy(&mine.copy, reinterpret_cast<char const*>(atom - atom->index) - 1036,
                        sizeof mine.copy);
            ++mine.looks;
            return false;
        };
        storm("table_storm", [&](int) {
            table.Set_Atom_Data(1, 1000, "here", 5, true);
            table.Iterate_Atoms(1, look, &seen);
            ASSERT_EQ(fault_of(seen.copy), "");
        });
        EXPECT_EQ(seen.looks, kills());
    }
    CIPCSharedTable table;
    ASSERT_EQ(table.Initialize("storm"), 0);
    EXPECT_EQ(table.Get_Atom_Count(), 0) << "all are dead: the next one starts with nothing";
}

/// Starts one of three programs again and again.
TARNWILLOW_CHILD(instance_storm) {
    const HWND window = New_Headless_Window("storm");
    answer("ready");
    for (unsigned turn = static_cast<unsigned>(getpid());; ++turn) {
        First_Instance("storm", std::to_string(turn % 3).c_str(), window);
        Instance_Available("storm", nullptr);
        if (turn % 16 == 0) Update_Instance("storm", window);
    }
}

/// The records, read while other programs come, go and die.
struct Records {
    std::multiset<std::string> living;  // "application qualifier"
    bool torn = false;

    static bool note(char const* application, char const* qualifier, char const* title, HWND,
                     bool alive, void* context) {
        auto& mine = *static_cast<Records*>(context);
        const std::string_view known = " witness storm ";
        for (std::string text : {application, title})
            mine.torn |= known.find(" " + text + " ") == std::string_view::npos;
        if (alive) mine.living.insert(std::string(application) + " " + qualifier);
        return true;
    }
};

TEST(Storm, LeavesTheInstancesOfTheLiving) {
    const TemporaryFolder folder;
    detail::instance_table().detach();
    ASSERT_EQ(detail::instance_table().attach(), 0);
    const HWND window = New_Headless_Window("witness");
    ASSERT_TRUE(First_Instance("witness", "", window));
    storm("instance_storm", [&](int) {
        ASSERT_TRUE(Instance_Available("witness", ""));
        Records records;
        ASSERT_GE(List_Instances(Records::note, &records), 1);
        ASSERT_FALSE(records.torn);
        for (const std::string& pair : records.living)
            ASSERT_EQ(records.living.count(pair), 1U) << pair;
    });
    for (char const* qualifier : {"0", "1", "2"})
        EXPECT_TRUE(First_Instance("storm", qualifier, window)) << "the one before is dead";
    detail::instance_table().detach();
    platform::leave_headless_windows();
    ASSERT_EQ(detail::instance_table().attach(), 0);
    EXPECT_EQ(List_Instances(Records::note, nullptr), 0) << "gone with the last user";
    detail::instance_table().detach();
}

}  // namespace
}  // namespace tarnwillow::test
