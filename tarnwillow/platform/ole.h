// The OLE family: interface root, counted strings, task memory and the shell's string form. Values
// and calls of automation stand in dispatch.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// 128 bits; the first three fields are numbers in the machine's byte order.
struct _GUID {
    /// The fields in the order in which a text has them.
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    /// Whether all 128 bits are the same.
    friend bool operator==(const _GUID&, const _GUID&) = default;
};
using GUID = _GUID;
static_assert(sizeof(GUID) == 16 && offsetof(GUID, Data4) == 8);

/// Root of all reference-counted interfaces; the order of the slots is fixed.
class IUnknown {
public:
    /// Stores the interface of that number with a reference for the caller; E_NOINTERFACE and null
    /// if the object has none.
    virtual std::int32_t QueryInterface(GUID const& id, void** object) = 0;
    /// One reference more, or one less; the object goes with the last. Gives how many are left, as
    /// a hint for a developer.
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;

protected:
    ~IUnknown() = default;
};

inline constexpr GUID IID_NULL{};
inline constexpr GUID IID_IUnknown{0, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// A string that carries its length in the four bytes in front of it and may hold zeros. A type of
/// its own would break callers who pass it as text, so it is a plain pointer.
using BSTR = char16_t*;

/// A copy of a terminated text, or of `length` units (zeros if `text` is null), terminated. Null
/// for a null text or without memory. Freed with SysFreeString.
TARNWILLOW_API BSTR SysAllocString(char16_t const* text);
TARNWILLOW_API BSTR SysAllocStringLen(char16_t const* text, std::uint32_t length);

/// Frees a string of the two functions above; null is ignored.
TARNWILLOW_API void SysFreeString(BSTR string);

/// Length in units, terminator not counted; 0 for null.
TARNWILLOW_API std::uint32_t SysStringLen(BSTR string);

/// Length in bytes, terminator not counted; 0 for null.
TARNWILLOW_API std::uint32_t SysStringByteLen(BSTR string);

/// Memory that one component allocates and another frees. Null if there is none.
TARNWILLOW_API void* CoTaskMemAlloc(std::size_t bytes);
TARNWILLOW_API void CoTaskMemFree(void* memory);

/// How a shell call hands out a text (the field uType of STRRET).
inline constexpr std::uint32_t STRRET_WSTR = 0;    ///< pOleStr, owned, from CoTaskMemAlloc
inline constexpr std::uint32_t STRRET_OFFSET = 1;  ///< uOffset, into an item that is not at hand
inline constexpr std::uint32_t STRRET_CSTR = 2;    ///< cStr, in place

/// A text as a shell call hands it out.
struct STRRET {
    /// Which of the fields has the text.
    std::uint32_t uType;
    union {
        char16_t* pOleStr;
        std::uint32_t uOffset;
        char cStr[260];
    };
};

}  // namespace tarnwillow
