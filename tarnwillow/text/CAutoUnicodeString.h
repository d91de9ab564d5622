#pragma once

#include <cstddef>
#include <memory>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Wide text for the length of a scope, from text of either width. Up to 255 bytes of narrow text
/// take no allocation.
class TARNWILLOW_API CAutoUnicodeString {
public:
    /// Holds a converted copy; null gives null. Throws `long`: E_OUTOFMEMORY.
    explicit CAutoUnicodeString(char const* source);

    /// Hands out `source` itself, which stays the caller's and must outlive the object.
    explicit CAutoUnicodeString(char16_t const* source);

    /// Holds null.
    explicit CAutoUnicodeString(std::nullptr_t) {}

    CAutoUnicodeString(const CAutoUnicodeString&) = delete;
    CAutoUnicodeString& operator=(const CAutoUnicodeString&) = delete;

    /// The text, terminated; the object's, or the caller's if it was handed through.
    operator char16_t*() const { return text; }  // NOLINT(google-explicit-constructor)

private:
    static constexpr std::size_t kSmallRoom = 256;

    char16_t small[kSmallRoom] = {};
    std::unique_ptr<char16_t[]> heap;
    char16_t* text = nullptr;
};

}  // namespace tarnwillow
