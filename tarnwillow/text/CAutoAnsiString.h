#pragma once

#include <cstddef>
#include <memory>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// Narrow text for the length of a scope, from text of either width. Up to 255 units of wide text
/// take no allocation.
///
/// A copy has one byte of room for each wide unit. So wide text beyond ASCII, which needs more, is
/// refused: use UnicodeToAnsi with room of your own where such text may come.
class TARNWILLOW_API CAutoAnsiString {
public:
    /// Holds a converted copy; null gives null. Throws `long`: E_OUTOFMEMORY, or
    /// HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) for text that needs more bytes than units.
    explicit CAutoAnsiString(char16_t const* source);

    /// Hands out `source` itself, which stays the caller's and must outlive the object.
    explicit CAutoAnsiString(char const* source);

    /// Holds null.
    explicit CAutoAnsiString(std::nullptr_t) {}

    CAutoAnsiString(const CAutoAnsiString&) = delete;
    CAutoAnsiString& operator=(const CAutoAnsiString&) = delete;

    // NOLINTBEGIN(google-explicit-constructor)
    /// The text, terminated; the object's, or the caller's if it was handed through.
    operator char*() const { return text; }
    operator char const*() const { return text; }
    operator unsigned char*() const { return reinterpret_cast<unsigned char*>(text); }
    operator unsigned char const*() const { return reinterpret_cast<unsigned char*>(text); }
    // NOLINTEND(google-explicit-constructor)

private:
    static constexpr std::size_t kSmallRoom = 256;

    char small[kSmallRoom] = {};
    std::unique_ptr<char[]> heap;
    char* text = nullptr;
};

}  // namespace tarnwillow
