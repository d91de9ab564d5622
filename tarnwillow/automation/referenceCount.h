// What the objects that scripts see have in common: their references, and their value in a variant.
#pragma once

#include <atomic>
#include <cstdint>

#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"

namespace tarnwillow::detail {

/// The references of an object that begins with one and goes with the last.
class ReferenceCount {
public:
    std::uint32_t add() { return references_.fetch_add(1, std::memory_order_relaxed) + 1; }

    /// Stores how many are left. True, once, if that was the last: the owner then deletes itself.
    /// Whoever takes and releases one while it goes causes no second end.
    bool release(std::uint32_t* left) {
        *left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
        const bool ends = *left == 0 && !destroying_;
        if (ends) destroying_ = true;
        return ends;
    }

    /// Whether the last reference is gone and the object on its way out.
    bool destroying() const { return destroying_; }

private:
    std::atomic<std::uint32_t> references_{1};
    bool destroying_ = false;
};

/// Stores the object with a reference of its own. E_INVALIDARG for null `out`.
inline long store_dispatch(IDispatch* object, VARIANT* out) {
    if (out == nullptr) return E_INVALIDARG;
    VariantInit(out);
    out->vt = VT_DISPATCH;
    out->pdispVal = object;
    object->AddRef();
    return S_OK;
}

}  // namespace tarnwillow::detail
