// VariantChangeType: every value is read as one of three kinds of number, and written from there.
#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "tarnwillow/platform/dispatch.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

// Narrow integers are written through the widest field.
static_assert(std::endian::native == std::endian::little);

constexpr std::size_t kLongestNumber = 1100;  ///< the exact text of any double fits
constexpr int kDoubleDigits = 15;
constexpr int kFloatDigits = 7;

struct Number {
    enum Kind { kBool, kSigned, kUnsigned, kReal } kind;
    int digits;  ///< of a real, when it becomes text
    union {
        long long signed_value;
        unsigned long long unsigned_value;
        double real;
    };
};

Number from_signed(long long value, Number::Kind kind = Number::kSigned) {
    Number number{kind, 0, {}};
    number.signed_value = value;
    return number;
}

Number from_unsigned(unsigned long long value) {
    Number number{Number::kUnsigned, 0, {}};
    number.unsigned_value = value;
    return number;
}

Number from_real(double value, int digits = kDoubleDigits) {
    Number number{Number::kReal, digits, {}};
    number.real = value;
    return number;
}

// Reading.

/// The text as a number's characters, without white space and a plus sign; empty if it is none.
std::string_view number_text(BSTR text, char (&room)[kLongestNumber]) {
    std::u16string_view units;
    if (text != nullptr) units = wide::trimmed({text, SysStringLen(text)});
    if (units.size() > 1 && units[0] == u'+' && units[1] != u'-') units.remove_prefix(1);
    if (units.size() > kLongestNumber) return {};
    for (std::size_t i = 0; i < units.size(); ++i) {
        if (units[i] > 0x7F) return {};
        room[i] = static_cast<char>(units[i]);
    }
    return {room, units.size()};
}

/// 0 if the whole text is of that type, DISP_E_OVERFLOW if it would be with a greater range.
template <class Value>
long parse(std::string_view text, Value* value) {
    char const* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, *value);
    if (stop != end || error == std::errc::invalid_argument) return DISP_E_TYPEMISMATCH;
    return error == std::errc() ? S_OK : DISP_E_OVERFLOW;
}

/// The reader of reals knows words for infinity and for what is no number.
bool begins_as_number(std::string_view text) {
    if (text.starts_with('-')) text.remove_prefix(1);
    return !text.empty() && ((text[0] >= '0' && text[0] <= '9') || text[0] == '.');
}

long read_text(BSTR text, Number* number) {
    char room[kLongestNumber];
    const std::string_view characters = number_text(text, room);
    if (!begins_as_number(characters)) return DISP_E_TYPEMISMATCH;
    long long whole = 0;
    if (parse(characters, &whole) == S_OK) {
        *number = from_signed(whole);
        return S_OK;
    }
    unsigned long long natural = 0;
    if (parse(characters, &natural) == S_OK) {
        *number = from_unsigned(natural);
        return S_OK;
    }
    double real = 0;
    const long result = parse(characters, &real);
    if (result == S_OK) *number = from_real(real);
    return result;
}

bool is_number(VARTYPE vt) {
    return vt == VT_EMPTY || (vt >= VT_I2 && vt <= VT_R8) || vt == VT_BOOL ||
           (vt >= VT_I1 && vt <= VT_UINT);
}

/// Of a variant whose type is a number's.
Number number_of(const VARIANT& source) {
    switch (source.vt) {
        case VT_BOOL:
            return from_signed(source.boolVal != 0, Number::kBool);
        case VT_I1:
            return from_signed(source.cVal);
        case VT_I2:
            return from_signed(source.iVal);
        case VT_I4:
        case VT_INT:
            return from_signed(source.lVal);
        case VT_I8:
            return from_signed(source.llVal);
        case VT_UI1:
            return from_unsigned(source.bVal);
        case VT_UI2:
            return from_unsigned(source.uiVal);
        case VT_UI4:
        case VT_UINT:
            return from_unsigned(source.ulVal);
        case VT_UI8:
            return from_unsigned(source.ullVal);
        case VT_R4:
            return from_real(static_cast<double>(source.fltVal), kFloatDigits);
        case VT_R8:
            return from_real(source.dblVal);
        default:
            return from_signed(0);
    }
}

long read_number(const VARIANT& source, Number* number) {
    if (source.vt == VT_BSTR) return read_text(source.bstrVal, number);
    if (!is_number(source.vt)) return DISP_E_TYPEMISMATCH;
    *number = number_of(source);
    return S_OK;
}

// Writing. The type stands in `out` already.

template <class Integer>
long write_value(bool in_range, Integer value, VARIANT* out) {
    if (!in_range) return DISP_E_OVERFLOW;
    if constexpr (std::is_signed_v<Integer>)
        out->llVal = value;
    else
        out->ullVal = value;
    return S_OK;
}

template <class Integer>
long write_rounded(double real, VARIANT* out) {
    const double rounded = std::nearbyint(real);
    const double beyond = std::ldexp(1.0, std::numeric_limits<Integer>::digits);
    const double lowest = std::is_signed_v<Integer> ? -beyond : 0;
    const bool in_range = rounded >= lowest && rounded < beyond;
    return write_value(in_range, in_range ? static_cast<Integer>(rounded) : Integer{}, out);
}

template <class Integer>
long write_integer(const Number& number, VARIANT* out) {
    switch (number.kind) {
        case Number::kBool:
            return write_value(true, static_cast<Integer>(-number.signed_value), out);
        case Number::kSigned:
            return write_value(std::in_range<Integer>(number.signed_value),
                               static_cast<Integer>(number.signed_value), out);
        case Number::kUnsigned:
            return write_value(std::in_range<Integer>(number.unsigned_value),
                               static_cast<Integer>(number.unsigned_value), out);
        case Number::kReal:
            break;
    }
    return write_rounded<Integer>(number.real, out);
}

double as_real(const Number& number) {
    switch (number.kind) {
        case Number::kBool:
            return static_cast<double>(-number.signed_value);
        case Number::kSigned:
            return static_cast<double>(number.signed_value);
        case Number::kUnsigned:
            return static_cast<double>(number.unsigned_value);
        case Number::kReal:
            break;
    }
    return number.real;
}

long write_float(double real, VARIANT* out) {
    if (std::isfinite(real) && std::fabs(real) > static_cast<double>(FLT_MAX))
        return DISP_E_OVERFLOW;
    out->fltVal = static_cast<float>(real);
    return S_OK;
}

long write_double(double real, VARIANT* out) {
    out->dblVal = real;
    return S_OK;
}

long write_bool(const Number& number, VARIANT* out) {
    const double real = as_real(number);
    if (std::isnan(real)) return DISP_E_OVERFLOW;
    out->llVal = 0;
    out->boolVal = real != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

std::string_view real_text(double real, int digits, char (&room)[40]) {
    if (std::isnan(real)) return "NaN";
    if (std::isinf(real)) return real > 0 ? "Infinity" : "-Infinity";
    if (real == 0) return "0";  // without the sign that a zero may have
    const auto end =
        std::to_chars(room, room + sizeof(room), real, std::chars_format::general, digits).ptr;
    if (void* exponent = std::memchr(room, 'e', static_cast<std::size_t>(end - room)))
        *static_cast<char*>(exponent) = 'E';
    return {room, static_cast<std::size_t>(end - room)};
}

std::string_view text_of(const Number& number, bool words, char (&room)[40]) {
    char* end = room;
    switch (number.kind) {
        case Number::kBool:
            if (words) return number.signed_value != 0 ? "True" : "False";
            return number.signed_value != 0 ? "-1" : "0";
        case Number::kReal:
            return real_text(number.real, number.digits, room);
        case Number::kSigned:
            end = std::to_chars(room, room + sizeof(room), number.signed_value).ptr;
            break;
        case Number::kUnsigned:
            end = std::to_chars(room, room + sizeof(room), number.unsigned_value).ptr;
            break;
    }
    return {room, static_cast<std::size_t>(end - room)};
}

long write_text(std::string_view text, VARIANT* out) {
    out->bstrVal = SysAllocStringLen(nullptr, static_cast<std::uint32_t>(text.size()));
    if (out->bstrVal == nullptr) return E_OUTOFMEMORY;
    for (std::size_t i = 0; i < text.size(); ++i)
        out->bstrVal[i] = static_cast<char16_t>(text[i]);
    return S_OK;
}

long write_number(const Number& number, VARIANT* out) {
    switch (out->vt) {
        case VT_I1:
            return write_integer<std::int8_t>(number, out);
        case VT_I2:
            return write_integer<std::int16_t>(number, out);
        case VT_I4:
        case VT_INT:
            return write_integer<std::int32_t>(number, out);
        case VT_I8:
            return write_integer<long long>(number, out);
        case VT_UI1:
            return write_integer<std::uint8_t>(number, out);
        case VT_UI2:
            return write_integer<std::uint16_t>(number, out);
        case VT_UI4:
        case VT_UINT:
            return write_integer<std::uint32_t>(number, out);
        case VT_UI8:
            return write_integer<unsigned long long>(number, out);
        case VT_R4:
            return write_float(as_real(number), out);
        case VT_R8:
            return write_double(as_real(number), out);
        case VT_BOOL:
            return write_bool(number, out);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

// The pairs that are no numbers.

bool is_object(VARTYPE vt) { return vt == VT_DISPATCH || vt == VT_UNKNOWN; }

bool is_known(VARTYPE vt) {
    return vt <= VT_R8 || (vt >= VT_BSTR && vt <= VT_BOOL) || vt == VT_UNKNOWN ||
           (vt >= VT_I1 && vt <= VT_UINT);
}

long convert_object(const VARIANT& source, VARIANT* out) {
    if (source.punkVal == nullptr) return S_OK;
    void* object = nullptr;
    const GUID& wanted = out->vt == VT_DISPATCH ? IID_IDispatch : IID_IUnknown;
    if (source.punkVal->QueryInterface(wanted, &object) != S_OK || object == nullptr)
        return DISP_E_TYPEMISMATCH;
    out->byref = object;
    return S_OK;
}

bool same_word(BSTR text, std::u16string_view word) {
    if (text == nullptr) return false;
    const std::u16string_view trimmed = wide::trimmed({text, SysStringLen(text)});
    return trimmed.size() == word.size() &&
           wide::compare_no_case(trimmed.data(), word.data(), word.size()) == 0;
}

bool is_truth_word(const VARIANT& source, Number* number) {
    if (source.vt != VT_BSTR) return false;
    const bool truth = same_word(source.bstrVal, u"true");
    if (!truth && !same_word(source.bstrVal, u"false")) return false;
    *number = from_signed(truth, Number::kBool);
    return true;
}

long convert(const VARIANT& source, std::uint16_t flags, VARIANT* out) {
    if (is_object(source.vt) && is_object(out->vt)) return convert_object(source, out);
    if (source.vt == VT_EMPTY && out->vt == VT_BSTR) return write_text({}, out);
    Number number;
    if (out->vt == VT_BOOL && is_truth_word(source, &number)) return write_number(number, out);
    const long result = read_number(source, &number);
    if (result != S_OK) return result;
    if (out->vt != VT_BSTR) return write_number(number, out);
    char room[40];
    return write_text(text_of(number, (flags & VARIANT_ALPHABOOL) != 0, room), out);
}

}  // namespace

long VariantChangeType(VARIANT* dest, VARIANT const* source, std::uint16_t flags, VARTYPE vt) {
    if (dest == nullptr || source == nullptr) return E_INVALIDARG;
    if (!is_known(vt) || !is_known(source->vt)) return DISP_E_BADVARTYPE;
    if (source->vt == vt) return VariantCopy(dest, source);
    VARIANT converted{};
    converted.vt = vt;
    long result = convert(*source, flags, &converted);
    if (result != S_OK) return result;
    result = VariantClear(dest);
    if (result == S_OK)
        *dest = converted;
    else
        VariantClear(&converted);
    return result;
}

}  // namespace tarnwillow
