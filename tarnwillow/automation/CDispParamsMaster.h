#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

#include "tarnwillow/automation/argumentTypes.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

/// The arguments of an automation call, by the order in which they are written: index 0 is the
/// first one. DISPPARAMS has them in reverse.
///
/// A builder collects up to 20 arguments, which it owns, and gives the DISPPARAMS for a call. A
/// reader is laid over the DISPPARAMS of a call that came in; it changes nothing but by the
/// conversions asked for, and owns nothing. Values read stay the list's: texts, objects and
/// pointers to variants are good until the next add or clear, or as long as the DISPPARAMS.
///
/// A conversion in place, here or by whoever is called with the list, releases what it replaces.
///
/// One object belongs to one thread at a time.
class TARNWILLOW_API CDispParamsMaster : public CAutoDeleteableObject {
public:
    /// An empty builder.
    CDispParamsMaster() = default;

    /// A reader; null is an empty list. `params` must outlive the object.
    explicit CDispParamsMaster(DISPPARAMS* params) : block(params), attached(true) {}

    ~CDispParamsMaster() override;
    CDispParamsMaster(const CDispParamsMaster&) = delete;
    CDispParamsMaster& operator=(const CDispParamsMaster&) = delete;

    // Adding. 0; E_UNEXPECTED for a reader; E_OUTOFMEMORY for a list of 20 and without memory. A
    // failure changes nothing.

    /// VT_BSTR with a copy of the text, without one for null. Narrow text is UTF-8.
    long Add_Param(char const* text);
    long Add_Param(char16_t const* text);

    /// VT_BOOL.
    long Add_Param(bool value);

    /// VT_I4, or VT_I8 for a number beyond 32 bits; E_INVALIDARG beyond 63.
    template <std::integral Number>
    long Add_Param(Number number) {
        if (!std::in_range<long long>(number)) return add_too_large();
        return add_number(static_cast<long long>(number));
    }
    long Add_Param(std::floating_point auto) = delete;

    /// VT_UNKNOWN or VT_DISPATCH with a reference of its own; null adds VT_NULL.
    long Add_Param(IUnknown* object);
    long Add_Param(IDispatch* object);

    /// A copy; null adds VT_NULL. DISP_E_BADVARTYPE for what VariantCopy does not know.
    long Add_Param(VARIANT const* value);

    template <NoValueOrObject T>
    long Add_Param(T* pointer) = delete;
    /// VT_NULL.
    long Add_Param(std::nullptr_t) { return Add_Null_Param(); }
    long Add_Null_Param();

    // Reading. No value is converted: a VT_I2 is no number here. What is not there, an index below
    // 0 included, and what is of another type gives the default, with last error ERROR_NOT_FOUND.

    /// Those of the call that is read, or those added so far.
    int Count_Params() const;

    /// The type; -1, with the last error left alone, if there is no such argument.
    int Get_Param_Type(int index);

    /// The argument in place, of any type.
    VARIANT* Get_Variant(int index, VARIANT* fallback);

    /// A VT_BSTR's own text; the empty text for a null one.
    char16_t* Get_Str_Param(int index, char16_t const* fallback);

    long Get_Numeric_Param(int index, long fallback);               ///< VT_I4
    long long Get_Numeric_Param_64(int index, long long fallback);  ///< VT_I8

    /// VT_BOOL; true for -1 only.
    bool Get_Bool_Param(int index, bool fallback);
    template <class T>
    bool Get_Bool_Param(int index, T* fallback) = delete;

    /// VT_DISPATCH or VT_UNKNOWN; no reference is added.
    IDispatch* Get_Dispatch_Param(int index, IDispatch* fallback);
    IUnknown* Get_IUnknown_Param(int index, IUnknown* fallback);

    /// Stores the address of the value inside the argument, for `vt` VT_I4 (a `long`), VT_BSTR,
    /// VT_DISPATCH, VT_UNKNOWN or VT_BOOL. An argument of another type stores that in `actual`, if
    /// given, and is converted in place, or refused without `convert`. E_INVALIDARG for no such
    /// argument, a refused one, null `value`, and any other `vt`, after the conversion; the status
    /// of a failed conversion.
    long Get_Param(int index, void** value, unsigned short vt, unsigned short* actual,
                   bool convert);

    /// Tests the arguments of a call that came in. `types` has the wanted type of each argument,
    /// VT_USERDEFINED for any; null or a first type of 0 tests the count alone. A null object is
    /// one for VT_DISPATCH. With bit 0 of `flags`, an argument of another type is converted in
    /// place, and one that cannot be becomes the wanted type with a zero value.
    ///
    /// DISP_E_PARAMNOTOPTIONAL or DISP_E_BADPARAMCOUNT for the count, nothing else is touched then.
    /// Otherwise the first failure: E_INVALIDARG for a wrong type, or the conversion's status.
    /// `results`, if given, has the status of each argument. `error_text`, if given, gets a new
    /// BSTR that names every failure, cut at 255 units, or null without one.
    long Validate_Params(int min_count, int max_count, int flags, int const* types,
                         unsigned int* results, char16_t** error_text);

    // The whole.

    /// The list for a call, for as long as nothing is added or cleared. Null for a builder to which
    /// nothing was added.
    DISPPARAMS* Get_Param_Array();

    /// Releases every argument. E_UNEXPECTED for a reader.
    long Clear_Params();

    /// A new builder with copies of all arguments, which the caller deletes. Null without memory.
    CDispParamsMaster* Clone();

protected:
    /// By type: nothing for VT_EMPTY and VT_NULL, a text for VT_BSTR, the address of a `long` for
    /// VT_I4, of a byte for VT_BOOL (true is 1), of a pointer for an object. E_INVALIDARG for any
    /// other type.
    long Add_Param(unsigned short vt, void const* value);

    /// Makes sure that one more can be added.
    long Pre_Add();

private:
    static constexpr std::uint32_t kCapacity = 20;

    long add_number(long long number);
    long add_too_large();
    long add_object(VARTYPE vt, IUnknown* object);
    VARIANT* next_slot() { return &slots[kCapacity - 1 - block->cArgs]; }
    void commit_added();
    bool copy_arguments_to(CDispParamsMaster& clone);
    VARIANT* argument(int index);
    VARIANT* argument_or_error(int index, VARTYPE vt);

    DISPPARAMS* block = nullptr;  ///< a builder's is null until the first add, then `own_block`
    DISPPARAMS own_block{};
    VARIANT slots[kCapacity];  ///< as the block gives them: the first argument is the last of them
    char16_t empty_text[256];
    bool attached = false;
    bool cloned = false;
};

}  // namespace tarnwillow
