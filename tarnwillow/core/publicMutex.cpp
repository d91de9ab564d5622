#include "tarnwillow/core/publicMutex.h"

#include <cstdint>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/mutexes.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/waits.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kNameRoom = 256;

void clean(char16_t* name) {
    for (; *name != 0; ++name)
        if (wide::find(u"\\/<>*?:\"|", *name) != nullptr) *name = u'_';
}

void* create(char16_t* name) {
    clean(name);
    return CreateMutexW(nullptr, false, name);
}

}  // namespace

void* CreatePublicMutex(char const* name) {
    char16_t text[kNameRoom] = {};
    // Cut as wide text, so that both forms of a long name are cut at the same character.
    if (name != nullptr) platform::narrow_to_wide(name, std::strlen(name), text, kNameRoom - 1);
    return create(text);
}

void* CreatePublicMutex(char16_t const* name) {
    char16_t text[kNameRoom] = {};
    if (name != nullptr) wide::copy(text, kNameRoom, name);
    return create(text);
}

void* CreatePublicMutex(std::nullptr_t) { return CreatePublicMutex(u""); }

long Get_Mutex(void* mutex, long timeout) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        const auto result = WaitForSingleObject(mutex, static_cast<std::uint32_t>(timeout));
        if (result == WAIT_OBJECT_0 || result == WAIT_ABANDONED) return S_OK;
        if (result == WAIT_TIMEOUT) return ERROR_SERVICE_REQUEST_TIMEOUT;
    }
    return ERROR_INVALID_HANDLE;
}

}  // namespace tarnwillow
