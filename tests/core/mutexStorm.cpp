// Processes that share one named mutex and are killed at random moments.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <vector>

#include "support/reports.h"
#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/core/publicMutex.h"
#include "tarnwillow/platform/lastError.h"

namespace tarnwillow {
namespace {

using namespace test;

constexpr char kName[] = "storm";
constexpr int kProcesses = 6;

// What the processes share beside the mutex, each in a mapping that the fork hands on.
struct Board {
    std::atomic<long> inside;     // who is in the guarded stretch: a process's id, or 0
    std::atomic<long> rounds;     // stretches that came to their end
    std::atomic<long> abandoned;  // times that a holder was told of a dead one
    std::atomic<long> wrong;      // two at a time, a recursion refused, a wait that failed
};

Board* new_board() {
    void* memory =
        mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) Board{};
}

// Whoever finds another one's mark must have been told that its maker died.
void guarded_stretch(Board& board, HANDLE lock, bool told_of_death) {
    const long before = board.inside.exchange(getpid());
    if (before != 0 && !told_of_death) ++board.wrong;
    if (look(lock) != WAIT_OBJECT_0) ++board.wrong;  // the recursion
    if (board.inside != getpid()) ++board.wrong;
    if (!ReleaseMutex(lock)) ++board.wrong;
    board.inside = 0;
    ++board.rounds;
}

[[noreturn]] void live(Board& board) {
    for (;;) {
        const Handle lock(CreatePublicMutex(kName));
        for (int i = 0; i < 20; ++i) {
            const std::uint32_t result = wait(lock, kPatience);
            if (result == WAIT_ABANDONED) ++board.abandoned;
            if (result != WAIT_OBJECT_0 && result != WAIT_ABANDONED) {
                ++board.wrong;
                continue;
            }
            guarded_stretch(board, lock, result == WAIT_ABANDONED);
            if (!ReleaseMutex(lock)) ++board.wrong;
        }
    }
}

// The child starts without a use of the mutex, so that it comes and goes as a user.
pid_t new_process(Board& board, Handle& keeper) {
    const pid_t process = fork();
    if (process != 0) return process;
    keeper.close();
    live(board);
}

void kill_and_wait(pid_t process) {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

int kills_wanted() {
    char const* wanted = std::getenv("TARNWILLOW_STORM_KILLS");
    if (wanted != nullptr) return std::atoi(wanted);
    return address_checks() ? 200 : 1000;
}

// Half of the time the one who holds the mutex, else any.
pid_t victim(const Board& board, const std::vector<pid_t>& processes, std::mt19937& random) {
    if (random() % 2 == 0)
        for (int look = 0; look < 1000; ++look) {
            const auto holder = static_cast<pid_t>(board.inside.load());
            if (std::find(processes.begin(), processes.end(), holder) != processes.end())
                return holder;
        }
    return processes[random() % processes.size()];
}

void storm(Board& board, int kills) {
    Handle keeper(CreatePublicMutex(kName));  // else a dead holder could be the last user
    std::vector<pid_t> processes;
    std::mt19937 random(static_cast<unsigned>(kills));
    for (int i = 0; i < kProcesses; ++i)
        processes.push_back(new_process(board, keeper));
    for (int i = 0; i < kills; ++i) {
        usleep(random() % 2000);
        const pid_t dead = victim(board, processes, random);
        kill_and_wait(dead);
        std::replace(processes.begin(), processes.end(), dead, new_process(board, keeper));
    }
    keeper.close();
    for (const pid_t process : processes)
        kill_and_wait(process);
}

TEST(MutexStorm, LeavesNobodyStuckAndNothingAttached) {
    const TemporaryFolder folder;
    Board& board = *new_board();
    const int kills = kills_wanted();
    storm(board, kills);
    EXPECT_EQ(board.wrong, 0);
    EXPECT_GT(board.rounds, kills);
    EXPECT_GT(board.abandoned, kills / 50);
    RecordProperty("rounds", static_cast<int>(board.rounds));
    RecordProperty("abandoned", static_cast<int>(board.abandoned));
    const Handle lock(CreatePublicMutex(kName));
    EXPECT_EQ(GetLastError(), 0u) << "the last death left the mutex in use";
    EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    ReleaseMutex(lock);
    munmap(&board, sizeof board);
}

}  // namespace
}  // namespace tarnwillow
