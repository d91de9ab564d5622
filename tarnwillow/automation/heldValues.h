// Automation values that go with their scope. A guard's stretch must own none of them: a fault
// would jump over their end.
#pragma once

#include <utility>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::detail {

class HeldString {
public:
    explicit HeldString(char16_t const* text) : string_(SysAllocString(text)) {}
    ~HeldString() { SysFreeString(string_); }
    HeldString(const HeldString&) = delete;
    HeldString& operator=(const HeldString&) = delete;

    /// Null for a null text and without memory.
    BSTR get() const { return string_; }

private:
    BSTR string_;
};

/// Empty at first.
class HeldVariant {
public:
    HeldVariant() : variant_{} {}
    ~HeldVariant() { VariantClear(&variant_); }
    HeldVariant(const HeldVariant&) = delete;
    HeldVariant& operator=(const HeldVariant&) = delete;

    VARIANT* get() { return &variant_; }
    VARIANT* operator->() { return &variant_; }

    /// The value for a new owner.
    VARIANT release() { return std::exchange(variant_, VARIANT{}); }

private:
    VARIANT variant_;
};

}  // namespace tarnwillow::detail
