// The object that native code hands to a script: it fills the object with named values and methods
// through these interfaces, and the script reaches it through IDispatch.
#pragma once

#include <concepts>
#include <cstddef>
#include <limits>
#include <utility>

#include "tarnwillow/automation/argumentTypes.h"
#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

inline constexpr GUID IID_IResultDispatchInterface{
    0x882F41E2, 0x802A, 0x4231, {0x90, 0xA6, 0xF8, 0xBF, 0x23, 0x8A, 0xD3, 0x0B}};
inline constexpr GUID IID_IResultDispatchInterface2{
    0x0AEE7E5C, 0x3931, 0x483B, {0xBC, 0x94, 0xAE, 0xD1, 0x45, 0x28, 0x12, 0x90}};

/// The values. Names are the same whatever the case of their ASCII letters, and only their first
/// 255 units count. A member keeps the name under which it was first set. Setting a member again
/// replaces its value and type, a method too; nothing removes a member.
///
/// Every Set_Property gives 0, E_INVALIDARG for a null name, or E_OUTOFMEMORY; a failure changes
/// nothing. An object belongs to one thread at a time; only references may be counted in several.
/// The order of the slots is fixed.
class IResultDispatchInterface : public IUnknown {
public:
    /// The value's bytes, by type: 4 or sizeof(long) for VT_I4 and VT_UI4, 8 for VT_I8, 2 for
    /// VT_BOOL, a terminated text for VT_BSTR, a pointer for VT_DISPATCH (a reference is taken),
    /// none for VT_NULL. Another type is kept, but no script can read it. E_INVALIDARG for
    /// another size, for null `data` where there must be some, and for VT_EMPTY.
    virtual long Set_Property(char16_t const* name, unsigned short type, void const* data,
                              unsigned long size) = 0;

    /// VT_DISPATCH with a reference of its own; VT_BOOL; VT_I8.
    virtual long Set_Property(char16_t const* name, IDispatch* object) = 0;
    virtual long Set_Property(char16_t const* name, bool value) = 0;
    virtual long Set_Property(char16_t const* name, long long value) = 0;

    /// VT_UI4, or VT_I8 for a number beyond 32 bits; E_INVALIDARG beyond 63.
    virtual long Set_Property(char16_t const* name, unsigned long value) = 0;

    /// VT_I4, or VT_I8 for a number beyond 32 bits.
    virtual long Set_Property(char16_t const* name, long value) = 0;

    /// A copy of the text; null is VT_NULL. Narrow text is UTF-8.
    virtual long Set_Property(char16_t const* name, char16_t* text) = 0;
    virtual long Set_Property(char16_t const* name, char* text) = 0;
    virtual long Set_Property(char16_t const* name, char16_t const* text) = 0;
    virtual long Set_Property(char16_t const* name, char const* text) = 0;

    /// Makes `out`, whose former content is not cleared, a VT_DISPATCH of this object with a
    /// reference of its own.
    virtual long Get_Dispatch_Variant(VARIANT* out) = 0;

    /// Appends this object to a script's array by its `push`; the status of that call.
    virtual long Push_To_Array(IDispatch* array) = 0;

    /// The other integers, by way of `long` or `unsigned long`; null is a text.
    template <std::signed_integral Number>
    long Set_Property(char16_t const* name, Number value) {
        return Set_Property(name, static_cast<long>(value));
    }
    template <std::unsigned_integral Number>
    long Set_Property(char16_t const* name, Number value) {
        return Set_Property(name, static_cast<unsigned long>(value));
    }
    long Set_Property(char16_t const* name, std::nullptr_t) {
        return Set_Property(name, static_cast<char16_t const*>(nullptr));
    }
    long Set_Property(char16_t const* name, std::floating_point auto value) = delete;
    template <class T>
    requires(!OneOf<T, char, char16_t> &&
             !std::convertible_to<T*, IDispatch*>) long Set_Property(char16_t const* name,
                                                                     T* value) = delete;

protected:
    ~IResultDispatchInterface() = default;
};

/// What a script's call of a method runs. The arguments and the place for the result are those of
/// IDispatch::Invoke; `object` is the one that has the method, and the two user values are those
/// that came with it. Gives a status. A fault in here becomes E_FAIL.
using ResultMethodProc = long (*)(DISPPARAMS* params, VARIANT* result, EXCEPINFO* exception,
                                  unsigned int* argument_error, IResultDispatchInterface* object,
                                  long first_user_value, long second_user_value);

/// The methods.
class IResultDispatchInterface2 : public IUnknown {
public:
    /// As Set_Property; E_INVALIDARG for a null procedure too.
    virtual long Set_Method(char16_t const* name, ResultMethodProc procedure, long first_user_value,
                            long second_user_value) = 0;

protected:
    ~IResultDispatchInterface2() = default;
};

/// A new object without members, with one reference for the caller; null without memory.
TARNWILLOW_API IResultDispatchInterface* CreateResultDispatch();

}  // namespace tarnwillow
