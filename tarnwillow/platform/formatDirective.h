// What stands behind one `%` of a format.
#pragma once

#include <climits>
#include <cstdarg>
#include <cstddef>

namespace tarnwillow::platform::detail {

/// The argument's size, as the letters in front of the conversion tell it.
enum class ArgumentSize : unsigned char { Plain, Char, Short, Long, Wide, Bits64, LongDouble };

struct Directive {
    bool left = false;
    bool plus = false;
    bool space = false;
    bool alternate = false;
    bool zero = false;
    ArgumentSize size = ArgumentSize::Plain;
    char conversion = 0;  ///< 0 for what no format knows
    int width = 0;
    int precision = -1;  ///< -1 for none given
};

/// A va_list that can be handed on by reference, whatever type it is.
struct Arguments {
    std::va_list list;
};

template <class Char>
class DirectiveReader {
public:
    /// `at` stands behind the `%`.
    DirectiveReader(Char const* at, Arguments& arguments) : at_(at), arguments_(arguments) {}

    /// Takes the directive, and the arguments of its stars, up to its conversion.
    Directive read() {
        read_flags();
        read_width();
        read_precision();
        read_size();
        if (*at_ > 0 && *at_ < 0x80) directive_.conversion = static_cast<char>(*at_++);
        return directive_;
    }

    /// Behind what was read.
    Char const* end() const { return at_; }

private:
    bool take(char letter) {
        if (*at_ != static_cast<Char>(letter)) return false;
        ++at_;
        return true;
    }

    void read_flags() {
        for (;; ++at_) {
            switch (*at_) {
                case '-':
                    directive_.left = true;
                    break;
                case '+':
                    directive_.plus = true;
                    break;
                case ' ':
                    directive_.space = true;
                    break;
                case '#':
                    directive_.alternate = true;
                    break;
                case '0':
                    directive_.zero = true;
                    break;
                default:
                    return;
            }
        }
    }

    // Saturates far above every buffer.
    int read_number() {
        int value = 0;
        for (; *at_ >= '0' && *at_ <= '9'; ++at_)
            value = value < INT_MAX / 100 ? value * 10 + static_cast<int>(*at_ - '0') : value;
        return value;
    }

    int star() { return va_arg(arguments_.list, int); }

    void read_width() {
        directive_.width = take('*') ? star() : read_number();
        if (directive_.width >= 0) return;
        directive_.left = true;
        directive_.width = directive_.width == INT_MIN ? INT_MAX : -directive_.width;
    }

    void read_precision() {
        if (!take('.')) return;
        const int precision = take('*') ? star() : read_number();
        directive_.precision = precision < 0 ? -1 : precision;
    }

    void read_size() {
        switch (*at_) {
            case 'h':
                return set_size(at_[1] == 'h' ? ArgumentSize::Char : ArgumentSize::Short);
            case 'l':
                return set_size(at_[1] == 'l' ? ArgumentSize::Bits64 : ArgumentSize::Long);
            case 'w':
                return set_size(ArgumentSize::Wide);
            case 'L':
                return set_size(ArgumentSize::LongDouble);
            case 'j':
            case 'z':
            case 't':
                return set_size(ArgumentSize::Bits64);
            case 'I':
                return read_bits();
            default:
                return;
        }
    }

    void set_size(ArgumentSize size) {
        directive_.size = size;
        at_ += size == ArgumentSize::Char || (size == ArgumentSize::Bits64 && *at_ == 'l') ? 2 : 1;
    }

    // I64, I32, or I alone for the size of a pointer.
    void read_bits() {
        ++at_;
        const bool is_32 = at_[0] == '3' && at_[1] == '2';
        const bool is_64 = at_[0] == '6' && at_[1] == '4';
        directive_.size = is_32 ? ArgumentSize::Long : ArgumentSize::Bits64;
        if (is_32 || is_64) at_ += 2;
    }

    Char const* at_;
    Arguments& arguments_;
    Directive directive_;
};

}  // namespace tarnwillow::platform::detail
