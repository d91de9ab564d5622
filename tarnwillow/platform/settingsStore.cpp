#include "tarnwillow/platform/settingsStore.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>

#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::platform {

namespace {

constexpr char kFolderVariable[] = "TARNWILLOW_SETTINGS_DIR";
constexpr char kMachineFolder[] = "/var/lib/tarnwillow";
constexpr unsigned kFolderAccess = 0755;
constexpr unsigned kReadableByAll = 0644;
constexpr unsigned kOwnerOnly = 0600;

/// One hive file.
struct HiveFile {
    char const* name;
    bool of_user;
};
constexpr HiveFile kHiveFiles[] = {{"machine", false}, {"user", true}, {"users", false}};
constexpr std::size_t kHiveCount = std::size(kHiveFiles);

/// A predefined key, by the low half of its number.
struct Predefined {
    std::uint32_t number;
    std::size_t hive;
    char const* prefix;
};
constexpr Predefined kPredefined[] = {{0x80000000, 0, "Software\\Classes\\"},
                                      {0x80000001, 1, ""},
                                      {0x80000002, 0, ""},
                                      {0x80000003, 2, ""}};

struct Store {
    std::mutex lock;
    std::string folder;  // what the variable said when the hives were made
    std::shared_ptr<SettingsHive> hives[kHiveCount];
};

// Every living hive, also those that only handles keep alive. It is never destroyed: a handle that
// was left open takes its hive with it when all else is gone.
struct HiveList {
    std::mutex lock;
    SettingsHive* first = nullptr;
};
constinit HiveList all_hives;

Store& store() {
    static Store the_store;
    return the_store;
}

// A forked child has only the forking thread: nobody else may be inside the store at that moment.
void lock_for_fork() {
    store().lock.lock();
    all_hives.lock.lock();
    for (SettingsHive* hive = all_hives.first; hive != nullptr; hive = hive->next_hive())
        hive->prepare_fork();
}

void unlock_after_fork() {
    for (SettingsHive* hive = all_hives.first; hive != nullptr; hive = hive->next_hive())
        hive->finish_fork();
    all_hives.lock.unlock();
    store().lock.unlock();
}

[[maybe_unused]] const int fork_handlers =
    pthread_atfork(lock_for_fork, unlock_after_fork, unlock_after_fork);

char const* variable(char const* name) {
    char const* value = secure_getenv(name);
    return value != nullptr ? value : "";
}

// The folder that the variable names, or the default below the home folder.
std::string user_folder(char const* name, char const* below_home) {
    const std::string named = variable(name);
    if (!named.empty() && named.front() == '/') return named + "/tarnwillow";
    const std::string home = variable("HOME");
    return (home.empty() ? std::string("/nonexistent") : home) + below_home + "/tarnwillow";
}

std::string folder_of(const HiveFile& file) {
    const std::string named = variable(kFolderVariable);
    if (!named.empty()) return named;
    if (file.of_user) return user_folder("XDG_CONFIG_HOME", "/.config");
    if (make_folders(kMachineFolder, true)) return kMachineFolder;
    return user_folder("XDG_DATA_HOME", "/.local/share");
}

std::shared_ptr<SettingsHive> hive_at(std::size_t index) {
    Store& all = store();
    const std::lock_guard hold(all.lock);
    if (all.folder != variable(kFolderVariable)) {
        all.folder = variable(kFolderVariable);
        std::fill(std::begin(all.hives), std::end(all.hives), nullptr);
    }
    std::shared_ptr<SettingsHive>& hive = all.hives[index];
    if (hive == nullptr) {
        const HiveFile& file = kHiveFiles[index];
        hive = std::make_shared<SettingsHive>(folder_of(file) + "/" + file.name,
                                              file.of_user ? kOwnerOnly : kReadableByAll);
    }
    return hive;
}

class KeyHandle : public HandleObject {
public:
    explicit KeyHandle(const OpenKey& key) : HandleObject(ObjectKind::key), key_(key) {}
    const OpenKey& key() const { return key_; }

private:
    const OpenKey key_;
};

// Sign-extended or zero-extended.
const Predefined* find_predefined(HKEY key) {
    const auto value = reinterpret_cast<std::uintptr_t>(key);
    const std::uintptr_t high = value >> 32;
    if (high != 0 && high != 0xFFFFFFFF) return nullptr;
    const auto* found = std::find_if(
        std::begin(kPredefined), std::end(kPredefined),
        [&](const Predefined& known) { return known.number == static_cast<std::uint32_t>(value); });
    return found != std::end(kPredefined) ? found : nullptr;
}

}  // namespace

long find_open_key(HKEY key, OpenKey* found) {
    if (const Predefined* known = find_predefined(key)) {
        *found = {hive_at(known->hive), kRootKey, MAXIMUM_ALLOWED, known->prefix, true};
        return S_OK;
    }
    const auto object = find_object(key, ObjectKind::key);
    if (object == nullptr) return ERROR_INVALID_HANDLE;
    *found = static_cast<const KeyHandle&>(*object).key();
    return S_OK;
}

HKEY open_key_handle(const OpenKey& key) {
    return static_cast<HKEY>(open_handle(std::make_shared<KeyHandle>(key)));
}

long close_key_handle(HKEY key) {
    if (find_predefined(key) != nullptr) return S_OK;
    if (find_object(key, ObjectKind::key) == nullptr) return ERROR_INVALID_HANDLE;
    return close_handle(key) ? S_OK : ERROR_INVALID_HANDLE;
}

bool make_folders(const std::string& path, bool for_everyone) {
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        const std::string folder = path.substr(0, end);
        const bool made = mkdir(folder.c_str(), kFolderAccess) == 0;
        if (!made && errno != EEXIST) return false;
        if (made && for_everyone) chmod(folder.c_str(), kFolderAccess);
        if (end == std::string::npos) break;
    }
    struct stat about {};
    return stat(path.c_str(), &about) == 0 && S_ISDIR(about.st_mode);
}

namespace detail {

void enter_hive(SettingsHive* hive) {
    const std::lock_guard hold(all_hives.lock);
    hive->next_hive() = all_hives.first;
    all_hives.first = hive;
}

void leave_hive(SettingsHive* hive) {
    const std::lock_guard hold(all_hives.lock);
    SettingsHive** place = &all_hives.first;
    while (*place != hive)
        place = &(*place)->next_hive();
    *place = hive->next_hive();
}

void make_settings_store() { static_cast<void>(store()); }

}  // namespace detail
}  // namespace tarnwillow::platform
