#pragma once

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Binds procedures of one library at a time by their names, where the library may be missing. The
/// procedures stay good only while the object lives and keeps to that library. An object belongs to
/// one thread at a time.
class TARNWILLOW_API CWeakAPICall {
public:
    CWeakAPICall() = default;
    ~CWeakAPICall();

    /// The copy has a reference of its own to the same library.
    CWeakAPICall(CWeakAPICall const& other);
    CWeakAPICall& operator=(CWeakAPICall const& other);

    /// Address of a procedure, or null. The library is loaded by the first call that names it, in
    /// place of the one before; one that failed to load is not tried again under the same name. A
    /// null name, or a library's name of 256 bytes or more, gives null and changes nothing.
    void* Load_Call(char const* library, char const* procedure);

private:
    static constexpr unsigned kNameRoom = 256;

    void load(char const* library);
    void unload();

    char library_name[kNameRoom] = {};
    HINSTANCE module = nullptr;
};

}  // namespace tarnwillow
