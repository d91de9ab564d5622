#include "tarnwillow/platform/format.h"

#include <charconv>
#include <cstdint>
#include <string>
#include <type_traits>

#include "tarnwillow/platform/formatDirective.h"
#include "tarnwillow/platform/formatNumbers.h"
#include "tarnwillow/platform/formatOutput.h"

namespace tarnwillow::platform {

namespace {

using detail::Arguments;
using detail::ArgumentSize;
using detail::Directive;
using detail::NumberText;

// Up to the next directive or the terminator.
std::size_t plain_length(char const* format) {
    return static_cast<std::size_t>(strchrnul(format, '%') - format);
}
std::size_t plain_length(char16_t const* format) {
    char16_t const* at = format;
    while (*at != 0 && *at != u'%')
        ++at;
    return static_cast<std::size_t>(at - format);
}

template <class From>
From const* null_text() {
    if constexpr (sizeof(From) == 1)
        return "(null)";
    else
        return u"(null)";
}

template <class From>
std::size_t bounded_length(From const* text, int limit) {
    std::size_t count = 0;
    while (count < static_cast<std::size_t>(limit) && text[count] != 0)
        ++count;
    return count;
}

/// What a conversion will take and store within `limit` units.
template <class Char, class From>
Conversion measure(From const* text, std::size_t length, std::size_t limit) {
    constexpr std::size_t kPiece = 256;
    Char piece[kPiece];
    Conversion total{0, 0};
    while (total.consumed < length) {
        const Conversion done = detail::convert(text + total.consumed, length - total.consumed,
                                                piece, std::min(kPiece, limit - total.written));
        if (done.consumed == 0) break;
        total.consumed += done.consumed;
        total.written += done.written;
    }
    return total;
}

template <class Char>
class Formatter {
public:
    Formatter(Char* out, std::size_t capacity, Arguments& arguments)
        : out_(out, capacity), arguments_(arguments) {}

    std::size_t run(Char const* format) {
        while (!out_.full()) {
            const std::size_t plain = plain_length(format);
            out_.append(format, plain);
            format += plain;
            if (*format == 0) break;
            format = convert_one(format);
        }
        return out_.finish();
    }

private:
    using Other = std::conditional_t<sizeof(Char) == 1, char16_t, char>;

    // `format` stands at the `%`; gives what is behind the directive.
    Char const* convert_one(Char const* format) {
        if (convert_bare(format[1])) return format + 2;
        detail::DirectiveReader<Char> reader(format + 1, arguments_);
        const Directive directive = reader.read();
        if (!convert(directive))
            out_.append(format, static_cast<std::size_t>(reader.end() - format));
        return reader.end();
    }

    // Most directives are one letter, and need no padding, precision or size.
    bool convert_bare(Char letter) {
        switch (letter) {
            case 's':
                put_own_text(va_arg(arguments_.list, Char const*));
                return true;
            case 'd':
                put_bare_integer(va_arg(arguments_.list, int));
                return true;
            case 'u':
                put_bare_unsigned(va_arg(arguments_.list, unsigned), 10);
                return true;
            case 'x':
                put_bare_unsigned(va_arg(arguments_.list, unsigned), 16);
                return true;
            default:
                return false;
        }
    }

    void put_own_text(Char const* text) {
        if (text == nullptr) text = null_text<Char>();
        out_.append(text, std::char_traits<Char>::length(text));
    }

    void put_bare_integer(int value) {
        if (value < 0) out_.put('-');
        const auto bits = static_cast<unsigned>(value);
        put_bare_unsigned(value < 0 ? 0 - bits : bits, 10);
    }

    void put_bare_unsigned(unsigned value, int base) {
        char digits[detail::kIntegerRoom];
        char* const end = std::to_chars(digits, digits + sizeof digits, value, base).ptr;
        out_.append_ascii(digits, static_cast<std::size_t>(end - digits));
    }

    bool convert(const Directive& directive) {
        switch (directive.conversion) {
            case 'd':
            case 'i':
                put_signed(directive);
                return true;
            case 'u':
                put_unsigned(directive, 10);
                return true;
            case 'x':
            case 'X':
                put_unsigned(directive, 16);
                return true;
            case 'o':
                put_unsigned(directive, 8);
                return true;
            case 's':
            case 'S':
                text_argument(directive);
                return true;
            case 'c':
            case 'C':
                character_argument(directive);
                return true;
            case 'p':
                put_pointer(directive);
                return true;
            case '%':
                out_.put('%');
                return true;
            case 'n':
                static_cast<void>(va_arg(arguments_.list, void*));
                return true;
            default:
                return convert_real(directive);
        }
    }

    bool convert_real(const Directive& directive) {
        const char lower = static_cast<char>(directive.conversion | 0x20);
        if (lower != 'a' && (lower < 'e' || lower > 'g')) return false;
        char digits[detail::kRealRoom];
        put_number(directive, detail::real_text(directive, real_argument(directive), digits));
        return true;
    }

    double real_argument(const Directive& directive) {
        if (directive.size == ArgumentSize::LongDouble)
            return static_cast<double>(va_arg(arguments_.list, long double));
        return va_arg(arguments_.list, double);
    }

    // 32 bits are taken as an int also where the caller gave a long: it is read from the low half.
    long long signed_argument(ArgumentSize size) {
        switch (size) {
            case ArgumentSize::Bits64:
            case ArgumentSize::LongDouble:
                return va_arg(arguments_.list, long long);
            case ArgumentSize::Short:
                return static_cast<short>(va_arg(arguments_.list, int));
            case ArgumentSize::Char:
                return static_cast<signed char>(va_arg(arguments_.list, int));
            default:
                return va_arg(arguments_.list, int);
        }
    }

    unsigned long long unsigned_argument(ArgumentSize size) {
        const auto value = static_cast<unsigned long long>(signed_argument(size));
        switch (size) {
            case ArgumentSize::Bits64:
            case ArgumentSize::LongDouble:
                return value;
            case ArgumentSize::Short:
                return value & 0xFFFF;
            case ArgumentSize::Char:
                return value & 0xFF;
            default:
                return value & 0xFFFFFFFF;
        }
    }

    void put_signed(const Directive& directive) {
        const long long value = signed_argument(directive.size);
        const auto bits = static_cast<unsigned long long>(value);
        char digits[detail::kIntegerRoom];
        put_number(directive, detail::integer_text(directive, value < 0,
                                                   value < 0 ? 0 - bits : bits, 10, digits));
    }

    void put_unsigned(const Directive& directive, int base) {
        char digits[detail::kIntegerRoom];
        put_number(directive,
                   detail::integer_text(directive, false, unsigned_argument(directive.size), base,
                                        digits));
    }

    void put_pointer(const Directive& directive) {
        const auto value = reinterpret_cast<std::uintptr_t>(va_arg(arguments_.list, void*));
        Directive as_number = directive;
        as_number.conversion = 'X';
        as_number.precision = 2 * sizeof value;
        char digits[detail::kIntegerRoom];
        put_number(as_number, detail::integer_text(as_number, false, value, 16, digits));
    }

    void put_number(const Directive& directive, const NumberText& text) {
        const std::size_t length = text.length();
        const auto width = static_cast<std::size_t>(directive.width);
        const std::size_t padding = width > length ? width - length : 0;
        if (!directive.left && !text.pads_with_zeros) out_.fill(' ', padding);
        out_.append_ascii(text.sign, text.sign_length);
        out_.fill('0', text.leading_zeros + (text.pads_with_zeros ? padding : 0));
        out_.append_ascii(text.body, text.body_length);
        out_.fill('0', text.trailing_zeros);
        out_.append_ascii(text.exponent, text.exponent_length);
        if (directive.left) out_.fill(' ', padding);
    }

    // By the family's own width, unless the size says which.
    bool is_wide(const Directive& directive) const {
        if (directive.size == ArgumentSize::Short) return false;
        if (directive.size == ArgumentSize::Long || directive.size == ArgumentSize::Wide)
            return true;
        const bool own = directive.conversion == 's' || directive.conversion == 'c';
        return own == (sizeof(Char) == 2);
    }

    void text_argument(const Directive& directive) {
        if (is_wide(directive))
            put_text(directive, va_arg(arguments_.list, char16_t const*));
        else
            put_text(directive, va_arg(arguments_.list, char const*));
    }

    void character_argument(Directive directive) {
        directive.precision = -1;
        const int unit = va_arg(arguments_.list, int);
        const auto wide = static_cast<char16_t>(unit);
        const auto narrow = static_cast<char>(unit);
        if (is_wide(directive))
            put_units(directive, &wide, 1);
        else
            put_units(directive, &narrow, 1);
    }

    template <class From>
    void put_text(const Directive& directive, From const* text) {
        if (text == nullptr) text = null_text<From>();
        if (directive.precision < 0)
            return put_units(directive, text, std::char_traits<From>::length(text));
        std::size_t length = bounded_length(text, directive.precision);
        if (length == static_cast<std::size_t>(directive.precision))
            length = detail::whole_characters(text, length);
        put_units(directive, text, length);
    }

    void put_units(const Directive& directive, Char const* text, std::size_t length) {
        pad_around(directive, length, [&] { out_.append(text, length); });
    }

    void put_units(const Directive& directive, Other const* text, std::size_t length) {
        if (directive.width == 0 && directive.precision < 0)
            return out_.append_converted(text, length);
        const std::size_t limit =
            directive.precision < 0 ? SIZE_MAX : static_cast<std::size_t>(directive.precision);
        const Conversion fitting = measure<Char>(text, length, limit);
        pad_around(directive, fitting.written,
                   [&] { out_.append_converted(text, fitting.consumed); });
    }

    template <class Append>
    void pad_around(const Directive& directive, std::size_t length, Append append) {
        const auto width = static_cast<std::size_t>(directive.width);
        const std::size_t padding = width > length ? width - length : 0;
        if (!directive.left) out_.fill(directive.zero ? '0' : ' ', padding);
        append();
        if (directive.left) out_.fill(' ', padding);
    }

    detail::Output<Char> out_;
    Arguments& arguments_;
};

template <class Char>
std::size_t format_any(Char* out, std::size_t capacity, Char const* format,
                       std::va_list arguments) {
    if (capacity == 0) return 0;
    *out = 0;
    if (format == nullptr) return 0;
    Arguments own;
    va_copy(own.list, arguments);
    const std::size_t length = Formatter<Char>(out, capacity, own).run(format);
    va_end(own.list);
    return length;
}

}  // namespace

std::size_t format_text_v(char* out, std::size_t capacity, char const* format,
                          std::va_list arguments) {
    return format_any(out, capacity, format, arguments);
}

std::size_t format_text_v(char16_t* out, std::size_t capacity, char16_t const* format,
                          std::va_list arguments) {
    return format_any(out, capacity, format, arguments);
}

std::size_t format_text(char* out, std::size_t capacity, char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t length = format_any(out, capacity, format, arguments);
    va_end(arguments);
    return length;
}

std::size_t format_text(char16_t* out, std::size_t capacity, char16_t const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t length = format_any(out, capacity, format, arguments);
    va_end(arguments);
    return length;
}

}  // namespace tarnwillow::platform
