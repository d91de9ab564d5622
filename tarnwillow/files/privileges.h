// What the process may do on this system, and which generation of the system it is.
//
// Nothing here keeps state, logs or throws; every operation may run on any thread. The answers are
// those of the moment: a process may change its user and groups.
#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Bits of CheckOsVersion. A higher bit means a later system.
enum OsVersionFlags : unsigned long {
    OsVersionPlatform1Minor0 = 1,   ///< platform 1, version 4.0
    OsVersionPlatform1Minor10 = 2,  ///< platform 1, version 4.10
    OsVersionPlatform1Minor90 = 4,  ///< platform 1, version 4.90
    OsVersionPlatform2 = 8,         ///< platform 2, every version
    OsVersionMajor5 = 16,           ///< platform 2, version 5.0
    OsVersionMajor5Later = 32,      ///< platform 2, later versions 5
    OsVersionMajor6 = 64,           ///< platform 2, versions 6
    OsVersionBeyondMajor6 = 128,    ///< platform 2, versions above 6
};

/// Integrity levels of a process.
inline constexpr unsigned long kMediumIntegrity = 0x2000;
inline constexpr unsigned long kHighIntegrity = 0x3000;

/// Whether the process acts for the administrator: its effective uid is 0.
TARNWILLOW_API bool User_Has_Administrator_Priviledges();

/// Whether the process has the rights of at least one of the first `levels` of three groups:
/// administrators (effective uid 0), power users (the group sudo or wheel), users (everybody). So 1
/// asks for an administrator, 2 admits power users too, 3 and more admit everybody, 0 and less
/// nobody. May read the system's group database.
TARNWILLOW_API bool Test_User_Priviledges(int levels);

/// Opens services to every user; `names` ends with null. ERROR_ACCESS_DENIED (5) for a process that
/// does not act for the administrator. Otherwise E_UNEXPECTED, since there is no service manager
/// here whose access lists could be opened; no name is looked at.
TARNWILLOW_API long Grant_Users_Full_Service_Access(char const* const* names);

/// Integrity level of the process: 0x3000 if it acts for uid 0, else 0x2000. `token` is null for
/// the calling process; other tokens do not exist on this system, so their level cannot be read: 0.
TARNWILLOW_API unsigned long GetVistaProcessIntegriteLevel(void* token);

/// Sets `flags` to the OsVersionFlags of this system, which are 72: platform 2, major 6.
TARNWILLOW_API void CheckOsVersion(unsigned long& flags);

/// True: the flags of CheckOsVersion hold OsVersionMajor6.
TARNWILLOW_API bool IsVista();

/// True: platform 2, major 6 or more.
TARNWILLOW_API bool IsVistaOrGreater();

/// False: the flags of CheckOsVersion do not hold OsVersionBeyondMajor6.
TARNWILLOW_API bool IsWin7();

/// False: platform 2, but below major 7.
TARNWILLOW_API bool IsWin7OrGreater();

/// Whether the flags of CheckOsVersion are, as a number, at least the minimum for this system's
/// platform: `minimum_2` here, `minimum_1` on platform 1.
TARNWILLOW_API bool Min_System_Version(int minimum_1, int minimum_2);

}  // namespace tarnwillow
