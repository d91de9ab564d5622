#include "tarnwillow/platform/sharedMemory.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>

#include "tarnwillow/platform/forkLocks.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/namedObject.h"
#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

class Section : public platform::HandleObject {
public:
    Section() : HandleObject(platform::ObjectKind::section) {}
    platform::NamedObject object;
};

/// The views of the process: each keeps its section.
struct Views {
    std::mutex lock;
    std::map<void const*, std::shared_ptr<Section>> sections;
};

Views& views() {
    static Views the_views;
    static const bool noted = platform::note_fork_lock(the_views.lock, nullptr);
    static_cast<void>(noted);
    return the_views;
}

/// The empty name is a name as well, of a kind of its own: files have none.
std::shared_ptr<Section> open_section(unsigned long size, char const* name) {
    const bool empty = name == nullptr || *name == 0;
    const std::u16string wide = empty ? u"empty" : platform::widened(name);
    auto section = std::make_shared<Section>();
    const std::uint32_t error =
        section->object.open({empty ? "unnamed" : "section", wide.c_str(), size, true, nullptr});
    return error == 0 ? section : nullptr;
}

void add_view(const std::shared_ptr<Section>& section) {
    const std::lock_guard hold(views().lock);
    views().sections.emplace(section->object.content(), section);
}

/// Null without success.
std::shared_ptr<Section> make_section(unsigned long size, char const* name, HANDLE* mapping) {
    try {
        auto section = open_section(size, name);
        if (section == nullptr) return nullptr;
        const HANDLE handle = mapping != nullptr ? platform::open_handle(section) : nullptr;
        if (mapping != nullptr && handle == nullptr) return nullptr;
        if (mapping != nullptr) *mapping = handle;
        add_view(section);
        return section;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

/// Takes the section out under the lock and lets it go behind it.
bool remove_view(void const* view) {
    std::shared_ptr<Section> last;
    const std::lock_guard hold(views().lock);
    const auto found = views().sections.find(view);
    if (found == views().sections.end()) return false;
    last = std::move(found->second);
    views().sections.erase(found);
    return true;
}

}  // namespace

void* CreateSharedMemory(unsigned long size, char const* name, HANDLE* mapping) {
    if (size == 0) throw E_OUTOFMEMORY;
    const auto section = make_section(size, name, mapping);
    if (section == nullptr) throw E_OUTOFMEMORY;
    SetLastError(section->object.created() ? 0 : static_cast<std::uint32_t>(ERROR_ALREADY_EXISTS));
    return section->object.content();
}

bool UnmapViewOfFile(void const* view) {
    if (remove_view(view)) return true;
    SetLastError(static_cast<std::uint32_t>(ERROR_INVALID_ADDRESS));
    return false;
}

}  // namespace tarnwillow
