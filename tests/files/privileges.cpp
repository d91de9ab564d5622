#include "tarnwillow/files/privileges.h"

#include <grp.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "support/childProcess.h"
#include "tarnwillow/files/systemVersion.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {
namespace {

using platform::SystemVersion;

constexpr gid_t kNoGroup = 65534;
constexpr uid_t kNobody = 65534;

gid_t id_of(char const* group_name) {
    const group* entry = getgrnam(group_name);
    return entry != nullptr ? entry->gr_gid : kNoGroup;
}

/// Only an administrator can become an ordinary user.
bool become_nobody(gid_t supplementary) {
    return setgroups(1, &supplementary) == 0 && setgid(kNoGroup) == 0 && setuid(kNobody) == 0;
}

}  // namespace

/// Prints, for an ordinary user with that one group, the answers to levels -1 to 4.
TARNWILLOW_CHILD(answer_as_nobody) {
    const std::string group_name(argument);
    if (!become_nobody(group_name.empty() ? kNoGroup : id_of(group_name.c_str()))) return 2;
    for (int levels = -1; levels <= 4; ++levels)
        std::printf("%d", Test_User_Priviledges(levels) ? 1 : 0);
    char const* const names[] = {"none", nullptr};
    std::printf(" %d %lx %ld", User_Has_Administrator_Priviledges() ? 1 : 0,
                GetVistaProcessIntegriteLevel(nullptr), Grant_Users_Full_Service_Access(names));
    return 0;
}

TEST(Privileges, OfTheAdministrator) {
    if (geteuid() != 0) GTEST_SKIP() << "this run is not root's";
    EXPECT_TRUE(User_Has_Administrator_Priviledges());
    EXPECT_FALSE(Test_User_Priviledges(0));
    EXPECT_TRUE(Test_User_Priviledges(1));
    EXPECT_EQ(GetVistaProcessIntegriteLevel(nullptr), 0x3000UL);
    char const* const names[] = {nullptr};
    EXPECT_EQ(Grant_Users_Full_Service_Access(names), E_UNEXPECTED);
}

TEST(Privileges, OfAnOrdinaryUser) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    EXPECT_EQ(test::run_child("answer_as_nobody").output, "000011 0 2000 5");
}

TEST(Privileges, OfAPowerUser) {
    if (geteuid() != 0) GTEST_SKIP() << "only root can become somebody else";
    if (id_of("sudo") == kNoGroup) GTEST_SKIP() << "this system has no group sudo";
    EXPECT_EQ(test::run_child("answer_as_nobody", "sudo").output, "000111 0 2000 5");
}

TEST(Privileges, AForeignTokenHasNoLevel) {
    int something = 0;
    EXPECT_EQ(GetVistaProcessIntegriteLevel(&something), 0UL);
}

TEST(SystemVersion, OfThisSystem) {
    unsigned long flags = 1;
    CheckOsVersion(flags);
    EXPECT_EQ(flags, 72UL);
    EXPECT_TRUE(IsVista() && IsVistaOrGreater());
    EXPECT_FALSE(IsWin7() || IsWin7OrGreater());
    EXPECT_TRUE(Min_System_Version(1000, 72));
    EXPECT_FALSE(Min_System_Version(0, 73));
    EXPECT_TRUE(Min_System_Version(0, -1));
}

TEST(SystemVersion, FlagsGrowWithTheGeneration) {
    const struct {
        SystemVersion version;
        unsigned long flags;
    } table[] = {{{1, 4, 0}, 1},  {{1, 4, 10}, 2},  {{1, 4, 90}, 4},   {{1, 4, 3}, 0},
                 {{1, 5, 0}, 0},  {{2, 4, 0}, 8},   {{2, 5, 0}, 24},   {{2, 5, 2}, 40},
                 {{2, 6, 3}, 72}, {{2, 7, 0}, 136}, {{2, 10, 0}, 136}, {{3, 6, 0}, 0}};
    for (const auto& row : table)
        EXPECT_EQ(detail::version_flags(row.version), row.flags)
            << row.version.platform << ' ' << row.version.major << '.' << row.version.minor;
}

TEST(SystemVersion, MinimumDependsOnThePlatform) {
    EXPECT_TRUE(detail::reaches({1, 4, 90}, 4, 1000));
    EXPECT_FALSE(detail::reaches({1, 4, 10}, 4, 0));
    EXPECT_TRUE(detail::reaches({2, 5, 0}, 1000, 16));
    EXPECT_FALSE(detail::reaches({2, 4, 0}, 0, 16));
    EXPECT_FALSE(detail::reaches({3, 6, 0}, 0, 0));
}

}  // namespace tarnwillow
