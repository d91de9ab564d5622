#include "tarnwillow/platform/formatNumbers.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tarnwillow::platform::detail {

namespace {

bool is_upper(char conversion) { return conversion >= 'A' && conversion <= 'Z'; }

void make_upper(char* from, char* end) {
    for (; from != end; ++from)
        if (*from >= 'a' && *from <= 'z') *from = static_cast<char>(*from - 32);
}

void set_sign(NumberText& text, const Directive& directive, bool negative) {
    const char sign = negative ? '-' : directive.plus ? '+' : directive.space ? ' ' : '\0';
    if (sign != 0) text.sign[text.sign_length++] = sign;
}

__extension__ using Bits128 = unsigned __int128;

/// A finite double taken apart: mantissa * 2^exponent.
struct Parts {
    std::uint64_t mantissa;
    int exponent;
};

Parts parts_of(double value) {
    constexpr int kMantissaBits = 52;
    constexpr int kBias = 1075;  // of a mantissa taken as an integer
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const std::uint64_t fraction = bits & ((std::uint64_t{1} << kMantissaBits) - 1);
    const int raw = static_cast<int>(bits >> kMantissaBits) & 0x7FF;
    if (raw == 0) return {fraction, 1 - kBias};
    return {fraction | (std::uint64_t{1} << kMantissaBits), raw - kBias};
}

std::uint64_t power_of_ten(int exponent) {
    std::uint64_t power = 1;
    while (exponent-- > 0)
        power *= 10;
    return power;
}

// Half to even, as the exact value of the double demands.
Bits128 rounded_shift(Bits128 value, int shift) {
    if (shift == 0) return value;
    const Bits128 quotient = value >> shift;
    const Bits128 rest = value - (quotient << shift);
    const Bits128 half = Bits128{1} << (shift - 1);
    return quotient + (rest > half || (rest == half && (quotient & 1) != 0) ? 1 : 0);
}

// Numbers of everyday size in one multiplication, which is half the time of the general way. Gives
// the end of the text, or null for a number that this cannot do.
char* write_everyday_fixed(double value, int precision, char* out) {
    constexpr int kMostEverydayPlaces = 15;
    constexpr int kMostShift = 115;
    const Parts parts = parts_of(value);
    if (precision > kMostEverydayPlaces || parts.exponent > 0 || parts.exponent < -kMostShift)
        return nullptr;
    const Bits128 scaled =
        rounded_shift(Bits128{parts.mantissa} * power_of_ten(precision), -parts.exponent);
    if (scaled > UINT64_MAX) return nullptr;
    char digits[kIntegerRoom];
    char const* const end =
        std::to_chars(digits, digits + sizeof digits, static_cast<std::uint64_t>(scaled)).ptr;
    const int length = static_cast<int>(end - digits);
    const int whole = std::max(length - precision, 0);
    if (whole == 0) *out++ = '0';
    out = std::copy_n(digits, whole, out);
    if (precision == 0) return out;
    *out++ = '.';
    out = std::fill_n(out, std::max(precision - length, 0), '0');
    return std::copy(digits + whole, digits + length, out);
}

// A real number while its text is put together.
class RealText {
public:
    RealText(const Directive& directive, double value, char* digits)
        : directive_(directive), value_(std::fabs(value)), digits_(digits) {
        set_sign(text_, directive, std::signbit(value));
        text_.pads_with_zeros = directive.zero && !directive.left;
    }

    NumberText make() {
        if (!std::isfinite(value_))
            special();
        else
            finite();
        if (is_upper(directive_.conversion))
            make_upper(digits_, const_cast<char*>(text_.exponent) + text_.exponent_length);
        return text_;
    }

private:
    void finite() {
        const int precision = directive_.precision < 0 ? 6 : directive_.precision;
        switch (directive_.conversion | 0x20) {
            case 'e':
                scientific(precision);
                break;
            case 'f':
                fixed(precision);
                break;
            case 'g':
                general(std::max(precision, 1));
                break;
            default:
                hexadecimal();
        }
    }

    void special() {
        std::memcpy(digits_, std::isnan(value_) ? "nan" : "inf", 3);
        set_parts(digits_ + 3, digits_ + 3);
        text_.pads_with_zeros = false;
    }

    void hexadecimal() {
        text_.sign[text_.sign_length++] = '0';
        text_.sign[text_.sign_length++] = is_upper(directive_.conversion) ? 'X' : 'x';
        constexpr int kHexPlaces = 13;
        const int places = std::min(directive_.precision, kHexPlaces);
        const auto done =
            directive_.precision < 0
                ? std::to_chars(digits_, limit(), value_, std::chars_format::hex)
                : std::to_chars(digits_, limit(), value_, std::chars_format::hex, places);
        set_parts(std::find(digits_, done.ptr, 'p'), done.ptr);
        text_.trailing_zeros = static_cast<std::size_t>(std::max(directive_.precision - places, 0));
    }

    void scientific(int precision) {
        write(std::chars_format::scientific, precision);
        keep_point(precision);
    }

    void fixed(int precision) {
        if (char* const end = write_everyday_fixed(value_, precision, digits_))
            set_parts(end, end);
        else
            write(std::chars_format::fixed, precision);
        keep_point(precision);
    }

    // As C tells: by the exponent that the scientific form would show.
    void general(int significant) {
        write(std::chars_format::scientific, significant - 1);
        int exponent = 0;
        char const* const number = text_.exponent + (text_.exponent[1] == '+' ? 2 : 1);
        std::from_chars(number, text_.exponent + text_.exponent_length, exponent);
        const bool as_fixed = exponent >= -4 && exponent < significant;
        const int places = significant - 1 - (as_fixed ? exponent : 0);
        if (as_fixed) write(std::chars_format::fixed, places);
        if (directive_.alternate)
            keep_point(places);
        else
            drop_zeros();
    }

    void write(std::chars_format form, int precision) {
        const int places = std::min(precision, kMostPlaces);
        const auto done = std::to_chars(digits_, limit(), value_, form, places);
        const bool has_exponent = form == std::chars_format::scientific;
        set_parts(has_exponent ? std::find(digits_, done.ptr, 'e') : done.ptr, done.ptr);
        text_.trailing_zeros = static_cast<std::size_t>(precision - places);
    }

    void set_parts(char const* exponent, char const* end) {
        text_.body = digits_;
        text_.body_length = static_cast<std::size_t>(exponent - digits_);
        text_.exponent = exponent;
        text_.exponent_length = static_cast<std::size_t>(end - exponent);
    }

    // The flag # shows the point even where no place follows it.
    void keep_point(int precision) {
        if (!directive_.alternate || precision > 0) return;
        char* const point = digits_ + text_.body_length;
        std::memmove(point + 1, point, text_.exponent_length);
        *point = '.';
        ++text_.body_length;
        ++text_.exponent;
    }

    void drop_zeros() {
        text_.trailing_zeros = 0;
        const std::string_view body(text_.body, text_.body_length);
        if (body.find('.') == body.npos) return;
        text_.body_length = body.find_last_not_of('0') + 1;
        if (text_.body[text_.body_length - 1] == '.') --text_.body_length;
    }

    char* limit() const { return digits_ + kRealRoom - 1; }  // one byte for the kept point

    const Directive& directive_;
    double value_;
    char* digits_;
    NumberText text_{};
};

}  // namespace

NumberText integer_text(const Directive& directive, bool negative, unsigned long long magnitude,
                        int base, char* digits) {
    NumberText text{};
    char* const end = std::to_chars(digits, digits + kIntegerRoom, magnitude, base).ptr;
    const bool upper = directive.conversion == 'X';
    if (upper) make_upper(digits, end);
    text.body = digits;
    text.body_length =
        magnitude == 0 && directive.precision == 0 ? 0 : static_cast<std::size_t>(end - digits);
    text.pads_with_zeros = directive.zero && !directive.left && directive.precision < 0;
    if (base == 10 && directive.conversion != 'u') set_sign(text, directive, negative);
    if (directive.precision > static_cast<int>(text.body_length))
        text.leading_zeros = static_cast<std::size_t>(directive.precision) - text.body_length;
    if (!directive.alternate) return text;
    if (base == 16 && magnitude != 0) {
        text.sign[text.sign_length++] = '0';
        text.sign[text.sign_length++] = upper ? 'X' : 'x';
    }
    const bool shows_zero = text.body_length > 0 && magnitude == 0;
    if (base == 8 && text.leading_zeros == 0 && !shows_zero) text.leading_zeros = 1;
    return text;
}

NumberText real_text(const Directive& directive, double value, char* digits) {
    return RealText(directive, value, digits).make();
}

}  // namespace tarnwillow::platform::detail
