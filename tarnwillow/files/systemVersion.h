// The rules by which versions of the system are named and compared, apart from which one this is.
#pragma once

#include "tarnwillow/files/privileges.h"
#include "tarnwillow/platform/account.h"

namespace tarnwillow::detail {

constexpr unsigned long platform_1_flags(const platform::SystemVersion& version) {
    if (version.major != 4) return 0;
    switch (version.minor) {
        case 0:
            return OsVersionPlatform1Minor0;
        case 10:
            return OsVersionPlatform1Minor10;
        case 90:
            return OsVersionPlatform1Minor90;
        default:
            return 0;
    }
}

constexpr unsigned long platform_2_flags(const platform::SystemVersion& version) {
    if (version.major > 6) return OsVersionPlatform2 | OsVersionBeyondMajor6;
    if (version.major == 6) return OsVersionPlatform2 | OsVersionMajor6;
    if (version.major < 5) return OsVersionPlatform2;
    return OsVersionPlatform2 | (version.minor > 0 ? OsVersionMajor5Later : OsVersionMajor5);
}

/// 0 for a platform that is neither 1 nor 2.
constexpr unsigned long version_flags(const platform::SystemVersion& version) {
    if (version.platform == 1) return platform_1_flags(version);
    return version.platform == 2 ? platform_2_flags(version) : 0;
}

/// False for a platform that is neither 1 nor 2.
constexpr bool reaches(const platform::SystemVersion& version, int minimum_1, int minimum_2) {
    if (version.platform != 1 && version.platform != 2) return false;
    const auto flags = static_cast<int>(version_flags(version));
    return flags >= (version.platform == 1 ? minimum_1 : minimum_2);
}

}  // namespace tarnwillow::detail
