// Automation: values with a type (VARIANT), argument lists, and the interface by which scripts and
// native code call each other. Results of the interface's operations are 32 bits wide; the
// library's own operations give them as `long`.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/api.h"
#include "tarnwillow/platform/ole.h"

namespace tarnwillow {

class IDispatch;

/// What a VARIANT holds.
using VARTYPE = std::uint16_t;

enum : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_USERDEFINED = 29,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
};

/// True is -1. Whoever gets any other value but 0 decides for himself.
using VARIANT_BOOL = std::int16_t;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

/// A value and its type. It owns a string and holds a reference on an object, but has neither
/// constructor nor destructor: VariantInit or `{}` begins its life, VariantClear ends it.
///
/// A VT_I4 is written over all eight bytes, by way of `llVal`, so that who is given the address of
/// the value may read a `long` there.
struct VARIANT {
    /// The type of the value, and three words without a meaning.
    VARTYPE vt;
    std::uint16_t wReserved1;
    std::uint16_t wReserved2;
    std::uint16_t wReserved3;
    union {
        long long llVal;
        unsigned long long ullVal;
        std::int32_t lVal;
        std::uint32_t ulVal;
        std::int16_t iVal;
        std::uint16_t uiVal;
        std::int8_t cVal;
        std::uint8_t bVal;
        std::int32_t intVal;
        std::uint32_t uintVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        std::int32_t scode;
        BSTR bstrVal;
        IDispatch* pdispVal;
        IUnknown* punkVal;
        void* byref;
    };
};
static_assert(sizeof(VARIANT) == 16 && offsetof(VARIANT, llVal) == 8);

/// Empties a variant without looking at what it holds.
inline void VariantInit(VARIANT* variant) { *variant = VARIANT{}; }

/// Frees the string or releases the object that a variant holds, and empties it. What a VT_BYREF
/// refers to is left alone. DISP_E_BADVARTYPE, with nothing changed, for an array or a type that
/// is none; E_INVALIDARG for null.
TARNWILLOW_API long VariantClear(VARIANT* variant);

/// Makes `dest`, whose former value is cleared, a copy: a string is duplicated with its zeros, an
/// object gets a reference. On failure `dest` is unchanged: DISP_E_BADVARTYPE as for VariantClear,
/// of either variant, E_OUTOFMEMORY, E_INVALIDARG for null. A variant may be copied to itself.
TARNWILLOW_API long VariantCopy(VARIANT* dest, VARIANT const* source);

/// For VariantChangeType: a VT_BOOL becomes the text "True" or "False" in place of "-1" or "0".
inline constexpr std::uint16_t VARIANT_ALPHABOOL = 2;

/// Makes `dest` the value of `source` in the type `vt`; both may be the same variant. On failure
/// `dest` is unchanged. The same value comes out whatever the locale.
///
/// The integers (of 8 to 64 bits), VT_R4, VT_R8, VT_BOOL and VT_BSTR become each other:
/// - fractions are rounded to the nearest integer, halves to the even one;
/// - a value outside the range of `vt`, and what is not a number, gives DISP_E_OVERFLOW;
/// - true becomes -1, or all ones without a sign; every number but 0 is true;
/// - a text must be one decimal number of at most 1,100 characters, with white space around it if
///   need be, or, for VT_BOOL, "true" or "false" in any case; else it gives DISP_E_TYPEMISMATCH;
/// - a number with a fraction becomes text of at most 15 digits (7 for VT_R4), with an exponent
///   where it is very large or small.
///
/// VT_EMPTY becomes 0, false or the empty text. Objects become VT_UNKNOWN or, if they have the
/// interface, VT_DISPATCH. Every other pair of different types gives DISP_E_TYPEMISMATCH, VT_NULL
/// among them; a `vt` or a source that no value of this library has gives DISP_E_BADVARTYPE.
TARNWILLOW_API long VariantChangeType(VARIANT* dest, VARIANT const* source, std::uint16_t flags,
                                      VARTYPE vt);

/// Number of a member; below 0 and 0 have fixed meanings.
using DISPID = std::int32_t;
inline constexpr DISPID DISPID_VALUE = 0;
inline constexpr DISPID DISPID_UNKNOWN = -1;
inline constexpr DISPID DISPID_PROPERTYPUT = -3;

/// The arguments of a call. `rgvarg` stands in reverse: the first argument written is its last
/// element. The caller owns everything.
struct DISPPARAMS {
    /// The values, last argument first.
    VARIANT* rgvarg;
    DISPID* rgdispidNamedArgs;  ///< names of the first `cNamedArgs` elements of rgvarg
    /// How many values, and how many of them have a name.
    std::uint32_t cArgs;
    std::uint32_t cNamedArgs;
};

/// What a failed call tells about itself. Who receives it frees the three strings.
struct EXCEPINFO {
    /// As the interface fixes them. `scode` is the status, unless `wCode` has a number of the
    /// object's own; the texts say who failed, why, and where to read on.
    std::uint16_t wCode;
    std::uint16_t wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    std::uint32_t dwHelpContext;
    void* pvReserved;
    std::int32_t (*pfnDeferredFillIn)(EXCEPINFO* exception);
    std::int32_t scode;
};

/// What a call is. A script's host may ask for a method and a property in one.
inline constexpr std::uint16_t DISPATCH_METHOD = 1;
inline constexpr std::uint16_t DISPATCH_PROPERTYGET = 2;
inline constexpr std::uint16_t DISPATCH_PROPERTYPUT = 4;

inline constexpr std::uint32_t LOCALE_USER_DEFAULT = 1024;
inline constexpr std::uint32_t LOCALE_SYSTEM_DEFAULT = 2048;

/// Descriptions of types, which no object of this library offers.
class ITypeInfo;

inline constexpr GUID IID_IDispatch{0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

/// An object whose members are found by name and called by number. The order of the slots is
/// fixed.
class IDispatch : public IUnknown {
public:
    /// Descriptions of the type: objects of this library have none.
    virtual std::int32_t GetTypeInfoCount(std::uint32_t* count) = 0;
    virtual std::int32_t GetTypeInfo(std::uint32_t index, std::uint32_t locale,
                                     ITypeInfo** info) = 0;

    /// Stores the number of each name. `names` are BSTRs.
    virtual std::int32_t GetIDsOfNames(GUID const& interface_id, char16_t** names,
                                       std::uint32_t count, std::uint32_t locale, DISPID* ids) = 0;

    /// Reads, writes or calls a member. `result`, an empty variant, becomes the caller's; it,
    /// `exception` and `argument_error` may be null.
    virtual std::int32_t Invoke(DISPID id, GUID const& interface_id, std::uint32_t locale,
                                std::uint16_t flags, DISPPARAMS* params, VARIANT* result,
                                EXCEPINFO* exception, std::uint32_t* argument_error) = 0;

protected:
    ~IDispatch() = default;
};

}  // namespace tarnwillow
