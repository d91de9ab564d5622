// The digits of formatted numbers, without the padding around them.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/formatDirective.h"

namespace tarnwillow::platform::detail {

/// Decimal places that a double can have; what a precision asks beyond them is zeros.
inline constexpr int kMostPlaces = 1074;

/// A number's text in ASCII: `sign`, zeros up to a width, `body`, `zeros` zeros, then `exponent`.
struct NumberText {
    char sign[3];  ///< "", "-", "+", " ", "0x" or "0X"
    unsigned char sign_length;
    bool pads_with_zeros;  ///< between sign and body
    char const* body;
    std::size_t body_length;
    std::size_t leading_zeros;   ///< in front of the body
    std::size_t trailing_zeros;  ///< behind the body
    char const* exponent;
    std::size_t exponent_length;

    std::size_t length() const {
        return sign_length + leading_zeros + body_length + trailing_zeros + exponent_length;
    }
};

/// Room for 64 bits in octal digits.
inline constexpr std::size_t kIntegerRoom = 24;

/// `digits` has kIntegerRoom bytes and must outlive the result, as below. `base` is 8, 10 or 16.
NumberText integer_text(const Directive& directive, bool negative, unsigned long long magnitude,
                        int base, char* digits);

/// Room for the longest double with its most places.
inline constexpr std::size_t kRealRoom = 1440;

/// For the conversions e, f, g, a and their upper-case forms.
NumberText real_text(const Directive& directive, double value, char* digits);

}  // namespace tarnwillow::platform::detail
