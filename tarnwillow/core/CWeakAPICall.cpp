#include "tarnwillow/core/CWeakAPICall.h"

#include <cstring>

#include "tarnwillow/platform/modules.h"

namespace tarnwillow {

CWeakAPICall::~CWeakAPICall() { unload(); }

CWeakAPICall::CWeakAPICall(CWeakAPICall const& other) { *this = other; }

CWeakAPICall& CWeakAPICall::operator=(CWeakAPICall const& other) {
    if (this == &other) return *this;
    unload();
    std::memcpy(library_name, other.library_name, sizeof library_name);
    if (other.module != nullptr) module = platform::share_module(other.module);
    return *this;
}

void* CWeakAPICall::Load_Call(char const* library, char const* procedure) {
    if (library == nullptr || procedure == nullptr) return nullptr;
    if (strnlen(library, kNameRoom) == kNameRoom) return nullptr;
    if (std::strcmp(library, library_name) != 0) load(library);
    return module != nullptr ? GetProcAddress(module, procedure) : nullptr;
}

void CWeakAPICall::load(char const* library) {
    unload();
    std::strcpy(library_name, library);
    module = LoadLibraryA(library);
}

void CWeakAPICall::unload() {
    if (module != nullptr) FreeLibrary(module);
    module = nullptr;
}

}  // namespace tarnwillow
