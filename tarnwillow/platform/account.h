// The account that the process acts for, and the generation of the system under it.
#pragma once

namespace tarnwillow::platform {

/// Whether the effective user is the system's administrator, uid 0. Any thread.
bool acts_as_administrator();

/// Whether the process acts with the rights of the group of that name: by its effective group or by
/// a supplementary one. False for a group that the system does not know, and without memory. It may
/// read the group database, so it may wait and must not be called in a signal handler.
bool acts_for_group(char const* name);

/// A system in the terms in which callers compare generations: family, then release within it.
struct SystemVersion {
    unsigned platform;  ///< 1 for the older family, 2 for the newer
    unsigned major;
    unsigned minor;
};

/// What this layer stands in for: its services are those of platform 2, major 6, whatever the
/// kernel below calls itself.
inline constexpr SystemVersion kSystemVersion{2, 6, 0};

}  // namespace tarnwillow::platform
