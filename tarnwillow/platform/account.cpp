#include "tarnwillow/platform/account.h"

#include <grp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <vector>

namespace tarnwillow::platform {

namespace {

constexpr std::size_t kFirstRoom = 1024;
constexpr std::size_t kMostRoom = std::size_t{16} << 20;

// The entry holds the names of all members, so the room that it needs has no limit of its own.
bool find_group(char const* name, gid_t* id) {
    for (std::vector<char> room(kFirstRoom); room.size() <= kMostRoom;
         room.resize(2 * room.size())) {
        group entry{};
        group* found = nullptr;
        const int error = getgrnam_r(name, &entry, room.data(), room.size(), &found);
        if (error == ERANGE || error == EINTR) continue;
        if (found != nullptr) *id = found->gr_gid;
        return found != nullptr;
    }
    return false;
}

// Another thread may change the groups between the two calls; then the second one fails.
bool in_supplementary_groups(gid_t id) {
    const int count = getgroups(0, nullptr);
    if (count <= 0) return false;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    const int got = getgroups(count, groups.data());
    return got > 0 && std::find(groups.begin(), groups.begin() + got, id) != groups.begin() + got;
}

}  // namespace

bool acts_as_administrator() { return geteuid() == 0; }

bool acts_for_group(char const* name) {
    try {
        gid_t id = 0;
        return find_group(name, &id) && (id == getegid() || in_supplementary_groups(id));
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace tarnwillow::platform
