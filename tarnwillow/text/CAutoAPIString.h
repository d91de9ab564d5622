#pragma once

#include <cstddef>
#include <memory>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Text in the width of the system's interfaces, which is wide, for the length of a scope. The
/// operators of narrow type hand out the same wide text behind a narrow pointer, for interfaces
/// that take text as bytes. Up to 127 bytes of narrow text take no allocation.
class TARNWILLOW_API CAutoAPIString {
public:
    /// Holds a converted copy; null gives null. Throws `long`: E_OUTOFMEMORY.
    explicit CAutoAPIString(char const* source);

    /// Hands out `source` itself, which stays the caller's and must outlive the object.
    explicit CAutoAPIString(char16_t const* source);

    /// Holds null.
    explicit CAutoAPIString(std::nullptr_t) {}

    CAutoAPIString(const CAutoAPIString&) = delete;
    CAutoAPIString& operator=(const CAutoAPIString&) = delete;

    // NOLINTBEGIN(google-explicit-constructor)
    /// The text, terminated; the object's, or the caller's if it was handed through.
    operator char16_t*() const { return text; }
    operator char*() const { return reinterpret_cast<char*>(text); }
    operator unsigned char*() const { return reinterpret_cast<unsigned char*>(text); }
    // NOLINTEND(google-explicit-constructor)

private:
    static constexpr std::size_t kSmallRoom = 256 / sizeof(char16_t);

    char16_t small[kSmallRoom] = {};
    std::unique_ptr<char16_t[]> heap;
    char16_t* text = nullptr;
};

}  // namespace tarnwillow
