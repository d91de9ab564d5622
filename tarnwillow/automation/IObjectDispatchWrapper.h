// A script face for a native object that is no COM object: it implements six plain virtual
// operations, and the wrapper turns a script's calls into calls of those.
#pragma once

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow {

inline constexpr GUID IID_IObjectDispatchWrapper{
    0x61E31F46, 0xAB88, 0x494F, {0xB0, 0xFE, 0x9C, 0xF1, 0x0B, 0x59, 0x17, 0x8D}};

/// What a wrapped object implements, in this order. Operations that give a status may leave a
/// description of a failure in `error_text`, a zeroed room for 1,024 units. They run in the
/// thread of the script, without a guard.
class IScriptObjectTarget {
public:
    /// The number of a member, -1 for a name that is not known. Case is the target's matter.
    virtual long Find_Member(char16_t* name) = 0;

    /// Write, read and call a member by the number that Find_Member gave. The result is a status.
    /// What is stored in `result` becomes the caller's; everything else stays it.
    virtual long Put_Member(long id, VARIANT* value, char16_t* error_text) = 0;
    virtual long Get_Member(long id, VARIANT* result, char16_t* error_text) = 0;
    virtual long Call_Member(long id, DISPPARAMS* params, VARIANT* result,
                             char16_t* error_text) = 0;

    /// A value for holders of the wrapper; what it means is the target's affair.
    virtual unsigned long Get_Target_Value() = 0;

    /// The wrapper goes, and was not detached. It may still be taken and released in here.
    virtual void Wrapper_Released() = 0;

protected:
    ~IScriptObjectTarget() = default;
};

/// The wrapper as native code sees it; by QueryInterface for IID_IDispatch it is what a script
/// gets. The order of the slots is fixed. References may be counted in any thread; everything else
/// belongs to one thread at a time.
class IObjectDispatchWrapper : public IUnknown {
public:
    /// Sets the target, an IScriptObjectTarget, which is not counted and must live until the
    /// wrapper goes or is detached. E_UNEXPECTED, with the first target kept, for a second one;
    /// E_INVALIDARG for null.
    virtual long Attach_Target(void* target) = 0;

    /// E_UNEXPECTED without a target, and once detached.
    virtual long Get_Target_Value(unsigned long* out) = 0;

    /// Makes `out`, whose former content is not cleared, a VT_DISPATCH of the wrapper with a
    /// reference of its own.
    virtual long Get_Dispatch_Variant(VARIANT* out) = 0;

    /// Appends the wrapper to a script's array by its `push`; the status of that call.
    virtual long Push_To_Array(IDispatch* array) = 0;

    /// Cuts the link for good: the target is never called again, and scripts read null everywhere.
    /// Always 0.
    virtual long Detach_Target() = 0;

    /// True while Wrapper_Released runs.
    virtual bool Is_Destroying() = 0;

protected:
    ~IObjectDispatchWrapper() = default;
};

/// A new wrapper without a target, with one reference for the caller; null without memory.
TARNWILLOW_API IObjectDispatchWrapper* CreateObjectDispatchWrapper();

}  // namespace tarnwillow
