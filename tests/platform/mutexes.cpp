#include "tarnwillow/platform/mutexes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "support/temporaryFolder.h"
#include "support/waiting.h"
#include "tarnwillow/platform/lastError.h"

namespace tarnwillow {
namespace {

using namespace test;

class Mutexes : public testing::Test {
protected:
    TemporaryFolder folder;

    std::size_t files() const {
        const auto path = folder.path() / "runtime";
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path),
                                                      std::filesystem::directory_iterator()));
    }
};

// Runs `body` in a forked child; its result is the child's exit code.
template <class Body>
int in_child(Body body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int state = -1;
    waitpid(child, &state, 0);
    return WIFEXITED(state) ? WEXITSTATUS(state) : -1;
}

TEST_F(Mutexes, OfOneNameAreOneInBothWidths) {
    const Handle narrow(CreateMutexA(nullptr, true, "Straße"));
    EXPECT_EQ(GetLastError(), 0u);
    const Handle wide(CreateMutexW(nullptr, true, u"Straße"));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const Handle opened(OpenMutexA(MUTEX_ALL_ACCESS, false, "Straße"));
    EXPECT_TRUE(ReleaseMutex(wide));
    EXPECT_FALSE(ReleaseMutex(opened));
    EXPECT_EQ(GetLastError(), ERROR_NOT_OWNER);
    EXPECT_EQ(OpenMutexA(MUTEX_ALL_ACCESS, false, "strasse"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILE_NOT_FOUND);
}

TEST_F(Mutexes, AreRecursive) {
    const Handle lock = mutex(u"recursive");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(wait(lock), WAIT_OBJECT_0);
    std::thread([&] { EXPECT_EQ(look(lock), WAIT_TIMEOUT); }).join();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_FALSE(ReleaseMutex(lock));
    std::thread([&] {
        EXPECT_EQ(look(lock), WAIT_OBJECT_0);
        ReleaseMutex(lock);
    }).join();
}

TEST_F(Mutexes, GoToWhoWaitsForThem) {
    for (char16_t const* name : {u"waited for", static_cast<char16_t const*>(nullptr)}) {
        const Handle lock = mutex(name);
        Holder holder(lock);
        EXPECT_EQ(wait(lock, kMoment), WAIT_TIMEOUT);
        std::thread later([&] { holder.release(); });
        EXPECT_EQ(wait(lock), WAIT_OBJECT_0);
        later.join();
        ReleaseMutex(lock);
    }
}

TEST_F(Mutexes, TellTheNextHolderOnceThatTheyWereAbandoned) {
    const Handle lock = mutex(u"abandoned");
    abandon(lock);
    EXPECT_EQ(wait(lock), WAIT_ABANDONED);
    EXPECT_EQ(wait(lock), WAIT_OBJECT_0);
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_EQ(wait(lock), WAIT_OBJECT_0);
    ReleaseMutex(lock);
    EXPECT_EQ(in_child([&] {
                  wait(lock), wait(lock);
                  raise(SIGKILL);
                  return 0;
              }),
              -1);
    EXPECT_EQ(wait(lock), WAIT_ABANDONED);
    EXPECT_TRUE(ReleaseMutex(lock));
    EXPECT_FALSE(ReleaseMutex(lock));
}

TEST_F(Mutexes, GoWithTheirLastUser) {
    Handle first = mutex(u"vanishing");
    Handle second = mutex(u"vanishing");
    first.close();
    EXPECT_EQ(files(), 1u);
    second.close();
    EXPECT_EQ(files(), 0u);
    const Handle third = mutex(u"vanishing");
    EXPECT_EQ(GetLastError(), 0u);
}

TEST_F(Mutexes, GoWithAUserThatIsKilled) {
    in_child([] {
        wait(CreateMutexW(nullptr, false, u"killed"));
        raise(SIGKILL);
        return 0;
    });
    EXPECT_EQ(files(), 1u);
    EXPECT_EQ(OpenMutexW(MUTEX_ALL_ACCESS, false, u"killed"), nullptr);
    EXPECT_EQ(files(), 0u);
    const Handle lock = mutex(u"killed");
    EXPECT_EQ(GetLastError(), 0u);
    EXPECT_EQ(look(lock), WAIT_OBJECT_0);
    ReleaseMutex(lock);
}

// The mutex is made, opened, closed and removed all the time, and keeps the threads apart.
TEST_F(Mutexes, ComeAndGoInManyThreadsAtOnce) {
    long counter = 0;  // plain: the mutex is its only protection
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            for (int turn = 0; turn < 200; ++turn) {
                const Handle lock = mutex(u"busy");
                wrong += wait(lock) != WAIT_OBJECT_0;
                ++counter;
                wrong += !ReleaseMutex(lock);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(counter, 1600);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(files(), 0u);
}

TEST_F(Mutexes, HeldByAThreadGoOnWithoutAHandle) {
    Handle lock = mutex(u"held");
    wait(lock);
    lock.close();
    const Handle again = mutex(u"held");
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    std::thread([&] { EXPECT_EQ(look(again), WAIT_TIMEOUT); }).join();
    EXPECT_TRUE(ReleaseMutex(again));
}

TEST_F(Mutexes, OfAParentAreNotHeldByItsChild) {
    const Handle named = mutex(u"parent");
    const Handle nameless = mutex();
    wait(named), wait(nameless);
    EXPECT_EQ(in_child([&] {
                  int wrong = 0;
                  for (const HANDLE lock : {HANDLE{named}, HANDLE{nameless}})
                      wrong += ReleaseMutex(lock) || look(lock) != WAIT_TIMEOUT;
                  return wrong;
              }),
              0);
    EXPECT_TRUE(ReleaseMutex(named) && ReleaseMutex(nameless));
    // The child is a user of its own: it keeps the mutex when the parent goes, and the other way.
    EXPECT_EQ(in_child([&] { return CloseHandle(named) ? 0 : 1; }), 0);
    const Handle again = mutex(u"parent");
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
}

TEST_F(Mutexes, AreShutAgainstLinksAndOtherFiles) {
    mutex(u"maker");
    const auto file = [&](char const* name) { return folder.path() / "runtime" / name; };
    write_file(folder.file("target"), "content");
    std::filesystem::create_symlink(folder.path() / "target", file("tarnwillow-mutex-link"));
    EXPECT_EQ(CreateMutexW(nullptr, false, u"link"), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(read_file(folder.file("target")), "content");
    mkfifo(file("tarnwillow-mutex-pipe").c_str(), 0666);
    EXPECT_EQ(CreateMutexW(nullptr, false, u"pipe"), nullptr);
}

TEST_F(Mutexes, HaveFilesOfTheirOwnForEveryName) {
    const std::u16string names[] = {u"a/b",
                                    u"a%2Fb",
                                    u"..",
                                    std::u16string(259, u'x'),
                                    std::u16string(258, u'x'),
                                    std::u16string(259, u'\x20AC')};
    std::vector<Handle> locks;
    for (const std::u16string& name : names) {
        locks.push_back(mutex(name.c_str()));
        EXPECT_EQ(GetLastError(), 0u);
    }
    EXPECT_EQ(files(), std::size(names));
    EXPECT_EQ(CreateMutexW(nullptr, false, std::u16string(260, u'x').c_str()), nullptr);
    EXPECT_EQ(GetLastError(), ERROR_FILENAME_EXCED_RANGE);
    EXPECT_EQ(CreateMutexA(nullptr, false, std::string(260, 'x').c_str()), nullptr);
}

// Both accounts meet in the folder that any account may write to.
TEST_F(Mutexes, AreOpenToEveryAccount) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to become another account";
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    const Handle lock = mutex(u"open");
    Holder holder(lock);
    EXPECT_EQ(in_child([&] {
                  if (setuid(65534) != 0) return 1;
                  const Handle own = mutex(u"open");
                  if (GetLastError() != ERROR_ALREADY_EXISTS || look(own) != WAIT_TIMEOUT) return 2;
                  mutex(u"made by the other");
                  return GetLastError() == 0 ? 0 : 3;
              }),
              0);
    const auto other = std::filesystem::status(folder.path() / "runtime");
    EXPECT_TRUE((other.permissions() & std::filesystem::perms::sticky_bit) !=
                std::filesystem::perms::none);
}

}  // namespace
}  // namespace tarnwillow
