#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow {

namespace {

enum class Content { kNone, kPlain, kString, kObject };

// What must be done for the eight bytes of a value when it is copied or cleared.
Content content_of(VARTYPE vt) {
    if ((vt & VT_ARRAY) != 0) return Content::kNone;
    if ((vt & VT_BYREF) != 0) return Content::kPlain;
    if (vt == VT_BSTR) return Content::kString;
    if (vt == VT_DISPATCH || vt == VT_UNKNOWN) return Content::kObject;
    const bool is_plain = vt <= VT_BOOL || (vt >= VT_I1 && vt <= VT_UINT);
    return is_plain ? Content::kPlain : Content::kNone;
}

long copy_string(VARIANT* copy) {
    if (copy->bstrVal == nullptr) return S_OK;
    copy->bstrVal = SysAllocStringLen(copy->bstrVal, SysStringLen(copy->bstrVal));
    return copy->bstrVal != nullptr ? S_OK : E_OUTOFMEMORY;
}

// IDispatch has no other base, so that its pointer is that of its IUnknown.
void add_reference(const VARIANT& object) {
    if (object.punkVal != nullptr) object.punkVal->AddRef();
}

}  // namespace

long VariantClear(VARIANT* variant) {
    if (variant == nullptr) return E_INVALIDARG;
    const Content content = content_of(variant->vt);
    if (content == Content::kNone) return DISP_E_BADVARTYPE;
    BSTR const string = variant->bstrVal;
    IUnknown* const object = variant->punkVal;
    // Emptied first: a release may come back to whoever holds the variant.
    VariantInit(variant);
    if (content == Content::kString) SysFreeString(string);
    if (content == Content::kObject && object != nullptr) object->Release();
    return S_OK;
}

long VariantCopy(VARIANT* dest, VARIANT const* source) {
    if (dest == nullptr || source == nullptr) return E_INVALIDARG;
    if (dest == source) return S_OK;
    VARIANT copy = *source;
    const Content content = content_of(copy.vt);
    if (content == Content::kNone || content_of(dest->vt) == Content::kNone)
        return DISP_E_BADVARTYPE;
    if (content == Content::kString && copy_string(&copy) != S_OK) return E_OUTOFMEMORY;
    if (content == Content::kObject) add_reference(copy);
    VariantClear(dest);
    *dest = copy;
    return S_OK;
}

}  // namespace tarnwillow
