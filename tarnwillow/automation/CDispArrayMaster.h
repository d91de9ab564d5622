#pragma once

#include "tarnwillow/automation/CDispatchMaster.h"
#include "tarnwillow/containers/CCollection.h"
#include "tarnwillow/core/CAutoDeleteableObject.h"
#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

/// A script's array as native code reads it, by what every script's array has: `length`, `shift`
/// and `push`. One object belongs to one thread at a time, and nobody else may use the array while
/// it is loaded.
class TARNWILLOW_API CDispArrayMaster : public CAutoDeleteableObject {
public:
    /// Takes a reference of its own. Throws `long` E_OUTOFMEMORY as CCollection does.
    explicit CDispArrayMaster(IDispatch* array);

    /// Releases the elements and the array.
    ~CDispArrayMaster() override;
    CDispArrayMaster(const CDispArrayMaster&) = delete;
    CDispArrayMaster& operator=(const CDispArrayMaster&) = delete;

    /// Reads every element, once: each is taken from the front and put back at the end, so that the
    /// array is afterwards as it was. Elements are VT_I4, VT_BSTR, VT_DISPATCH or VT_BOOL: at one
    /// of another type the load ends with E_INVALIDARG, what was read so far stays, and that
    /// element is gone from the array. E_INVALIDARG also for an object without a length,
    /// E_UNEXPECTED if elements are loaded already, E_OUTOFMEMORY.
    long Load_Array();

    /// The elements loaded; if there are none, what the array says, 0 if it says nothing.
    long Get_Length();

    /// The element in place, which stays this object's; null out of range.
    VARIANT* operator[](int index);

private:
    long load_next();
    long put_back(const VARIANT& element);
    long keep(VARIANT const* element);

    CDispatchMaster array;
    CCollection elements;
};

}  // namespace tarnwillow
