// Automation values that go with their scope. A guard's stretch must own none of them: a fault
// would jump over their end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "tarnwillow/platform/dispatch.h"

namespace tarnwillow::detail {

/// A counted string for whoever reads it only while a call lasts, as a lookup of a name does. A
/// short one takes no allocation.
class CallString {
public:
    explicit CallString(char16_t const* text) {
        std::size_t length = 0;
        for (; length < kSmallRoom - 1 && text[length] != 0; ++length)
            small_.units[length] = text[length];
        small_.units[length] = 0;
        small_.bytes = static_cast<std::uint32_t>(length * sizeof(char16_t));
        is_large_ = text[length] != 0;
        if (is_large_) large_ = SysAllocString(text);
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
