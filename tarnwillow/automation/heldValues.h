// Automation values that go with their scope. A guard's stretch must own none of them: a fault
// would jump over their end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

/// A counted string for whoever reads it only while a call lasts, as a lookup of a name does. A
/// short one takes no allocation.
class CallString {
public:
    explicit CallString(char16_t const* text) {
        const std::size_t length = wide::copy(small_.units, kSmallRoom, text);
        small_.bytes = static_cast<std::uint32_t>(length * sizeof(char16_t));
        if (length == kSmallRoom - 1) large_ = SysAllocString(text);
        is_large_ = length == kSmallRoom - 1;
    }
    ~CallString() { SysFreeString(large_); }
    CallString(const CallString&) = delete;
    CallString& operator=(const CallString&) = delete;

    /// Null without memory.
    BSTR get() { return is_large_ ? large_ : small_.units; }

private:
    static constexpr std::size_t kSmallRoom = 64;

    /// As SysAllocString lays it out.
    struct alignas(8) Counted {
        std::uint32_t before;
        std::uint32_t bytes;
        char16_t units[kSmallRoom];
    };
    static_assert(offsetof(Counted, units) - offsetof(Counted, bytes) == sizeof(std::uint32_t));

    Counted small_;
    BSTR large_ = nullptr;
    bool is_large_;
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
