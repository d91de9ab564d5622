#pragma once

#include <concepts>
#include <cstddef>
#include <utility>

#include "tarnwillow/automation/argumentTypes.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

class CDispParamsMaster;
struct JScriptObjectMappings;

/// A script's object, or any other with an IDispatch, as native code uses it: properties by name
/// and type, and methods.
///
/// Every operation finds the member by its name anew. Without an object, operations that give a
/// status give E_UNEXPECTED. A name that the object does not know gives the object's status, as a
/// rule DISP_E_UNKNOWNNAME; null gives E_INVALIDARG, as any other null pointer does. Without
/// memory: E_OUTOFMEMORY.
///
/// One object runs one method at a time: the lock is held during the call, and a call that comes
/// back on the same thread passes. Properties and Reload_Dispatch take no lock.
class TARNWILLOW_API CDispatchMaster : public CAutoDeleteableObject {
public:
    /// Takes a reference of its own; null is no object. Whether calls are logged in detail is
    /// decided here, by log class 11.
    explicit CDispatchMaster(IDispatch* object);
    ~CDispatchMaster() override;
    CDispatchMaster(const CDispatchMaster&) = delete;
    CDispatchMaster& operator=(const CDispatchMaster&) = delete;

    /// Releases the object and takes another, or none for null. Always 0.
    long Reload_Dispatch(IDispatch* object);

    // Reading. DISP_E_TYPEMISMATCH for a property of a type that is not named. A failure leaves
    // `out` as it was, but for texts.

    /// VT_BSTR, a null one as the empty text, or VT_NULL with a capacity of 3 or more, which gives
    /// 0 and 0xFFFF as the first two units. `out` has room for `capacity` units and a terminator.
    /// Text is padded with zeros up to `capacity` units; text of exactly that length gets no
    /// terminator: zero the buffer beforehand. DISP_E_BUFFERTOOSMALL for a longer one. A failure
    /// leaves the empty text.
    long Get_Property(char16_t const* name, char16_t* out, unsigned int capacity);

    /// VT_BSTR as UTF-8. No more than `capacity` bytes are written, with a terminator if there is
    /// room. DISP_E_BUFFERTOOSMALL for a text with more units or bytes.
    long Get_Property(char16_t const* name, char* out, unsigned int capacity);

    /// VT_I4, or the number that a VT_BSTR begins with, 0 without one, within 32 bits.
    long Get_Property(char16_t const* name, long* out);

    /// VT_BOOL; every value but 0 is true.
    long Get_Property(char16_t const* name, bool* out);

    /// VT_DISPATCH with a reference for the caller, or VT_NULL as null.
    long Get_Property(char16_t const* name, IDispatch** out);

    /// The same without a reference: good as long as someone else holds the object. One that nobody
    /// else holds is gone, and null comes in its place.
    long Get_Property_Without_Reference(char16_t const* name, IDispatch** out);

    /// The VT_ number of what the property holds now.
    long Get_Property_Type(char16_t const* name, unsigned short* out);

    /// Whether the object knows the name up to its first "(", of which 511 units are looked at.
    bool Property_Available(char16_t const* name) { return Method_Available(name); }
    bool Method_Available(char16_t const* name);

    // Writing. The status is the object's.

    /// The variant as it is; it stays the caller's.
    long Set_Property(char16_t const* name, VARIANT const* value);

    /// VT_BSTR with a copy. Narrow text is UTF-8.
    long Set_Property(char16_t const* name, char16_t const* value);
    long Set_Property(char16_t const* name, char const* value);

    /// VT_I4; a number beyond 32 bits becomes the nearest within.
    long Set_Property(char16_t const* name, long value);
    template <std::integral Number>
    long Set_Property(char16_t const* name, Number value) {
        return Set_Property(name, saturated(value));
    }
    long Set_Property(char16_t const* name, std::floating_point auto value) = delete;

    /// VT_BOOL, -1 or 0.
    long Set_Property(char16_t const* name, bool value);
    template <NoValue T>
    long Set_Property(char16_t const* name, T* value) = delete;

    /// VT_NULL.
    long Set_Property(char16_t const* name, std::nullptr_t);

    // Calling.

    /// Calls a method and stores its result, if `result` is given, which becomes the caller's. A
    /// name may bring its arguments along, as in "Foo(1, 'abc', true)"; E_INVALIDARG if `params`
    /// has some too. "Foo()" is "Foo". What the method gives is the result; E_INVALIDARG if it
    /// faults or throws.
    long Invoke_Method(char16_t const* name, CDispParamsMaster* params, VARIANT* result);

    /// Copies the properties of a table, in order. Stops at the first failure and gives its status;
    /// with `keep_going` goes through all and gives 0, and an address that failed becomes 0.
    long Convert_Object_Members(JScriptObjectMappings const* table, bool keep_going);

protected:
    /// The value, which becomes the caller's. `value` comes initialised: if there is no such
    /// property, the log shows it as the default.
    long Get_Property_Variant(char16_t const* name, VARIANT* value);

    /// The call itself, inside a guard. `name` is for the log.
    long _Do_Invoke(long id, DISPPARAMS* params, VARIANT* result, char16_t const* name);

    /// Adds the arguments of a text to `params`: what stands behind the "(" of a call. They are
    /// separated by commas outside double quotes, and the first "|" is one too. A closing
    /// parenthesis, semicolons and white space at the end are cut. An argument that begins with a
    /// quote, of either kind, is a text without such quotes; false, true and null are themselves,
    /// one that begins with a digit is a number, and anything else a text. What comes behind the
    /// twentieth is dropped.
    long Parse_Parameter_String(CDispParamsMaster* params, char16_t const* text);
    long Parse_Parameter_String(CDispParamsMaster* params, char const* text);

private:
    class FetchedValue;

    template <class Number>
    static long saturated(Number value);
    long find_member(char16_t const* name, DISPID* id);
    bool logs_lookup(char16_t const* name) const {
        return log_calls && dispatch != nullptr && name != nullptr;
    }
    long fetch(DISPID id, char16_t const* name, VARIANT* value);
    long store_as(char16_t const* name, VARTYPE vt, char16_t const* text);
    long call(char16_t const* name, CDispParamsMaster* arguments, VARIANT* result);
    long convert_member(const JScriptObjectMappings& record, bool keep_going);
    long convert_address(const JScriptObjectMappings& record, bool keep_going);

    IDispatch* dispatch;
    CEasyCriticalSection invoke_lock;
    bool log_calls;
};

template <class Number>
long CDispatchMaster::saturated(Number value) {
    constexpr long kLeast = -0x80000000L;
    constexpr long kGreatest = 0x7FFFFFFF;
    if (std::cmp_less(value, kLeast)) return kLeast;
    return std::cmp_greater(value, kGreatest) ? kGreatest : static_cast<long>(value);
}

}  // namespace tarnwillow
