#include "tarnwillow/files/privileges.h"

#include "tarnwillow/files/systemVersion.h"
#include "tarnwillow/platform/account.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

using platform::kSystemVersion;

bool has_power() { return platform::acts_for_group("sudo") || platform::acts_for_group("wheel"); }

bool at_least(unsigned platform, unsigned major) {
    return kSystemVersion.platform == platform && kSystemVersion.major >= major;
}

bool has_flag(unsigned long flag) { return (detail::version_flags(kSystemVersion) & flag) != 0; }

}  // namespace

bool User_Has_Administrator_Priviledges() { return platform::acts_as_administrator(); }

bool Test_User_Priviledges(int levels) {
    if (levels >= 3) return true;
    if (levels >= 1 && platform::acts_as_administrator()) return true;
    return levels >= 2 && has_power();
}

long Grant_Users_Full_Service_Access(char const* const*) {
    return User_Has_Administrator_Priviledges() ? E_UNEXPECTED : ERROR_ACCESS_DENIED;
}

unsigned long GetVistaProcessIntegriteLevel(void* token) {
    if (token != nullptr) return 0;
    return platform::acts_as_administrator() ? kHighIntegrity : kMediumIntegrity;
}

void CheckOsVersion(unsigned long& flags) { flags = detail::version_flags(kSystemVersion); }

bool IsVista() { return has_flag(OsVersionMajor6); }
bool IsVistaOrGreater() { return at_least(2, 6); }
bool IsWin7() { return has_flag(OsVersionBeyondMajor6); }
bool IsWin7OrGreater() { return at_least(2, 7); }

bool Min_System_Version(int minimum_1, int minimum_2) {
    return detail::reaches(kSystemVersion, minimum_1, minimum_2);
}

}  // namespace tarnwillow
