#include "tarnwillow/text/outputText.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <functional>
#include <limits>
#include <type_traits>

#include "tarnwillow/platform/shortCopy.h"
#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow::detail {

namespace {

constexpr std::int32_t kStep = 10240;
constexpr std::int64_t kMostUnits = std::numeric_limits<std::int32_t>::max();

/// Whether a unit is written to HTML in another way than as itself.
constexpr bool is_marked(std::uint32_t unit) {
    return unit == 0 || unit == '\n' || unit == '\r' || unit == '%' || unit == '&' || unit == '<' ||
           unit == '>';
}

}  // namespace

// Storage.

template <class Char>
OutputText<Char>::~OutputText() {
    CAutoSectionLock hold(quick_.try_enter() ? nullptr : &section, nullptr, nullptr);
    if (!Keep_Buffer) Reset();
}

template <class Char>
void OutputText<Char>::Reset() {
    std::free(Buffer);
    Buffer = nullptr;
    Length = Allocated = Free_Space = Capacity = 0;
}

template <class Char>
void OutputText<Char>::Truncate(int count) {
    if (count < 0 || count > Length) return;
    Length -= count;
    if (Buffer != nullptr) Buffer[Length] = 0;
}

/// The told allocation grows by equal steps; the storage behind it doubles, so that a long text is
/// not copied at every step.
template <class Char>
bool OutputText<Char>::make_storage(std::int64_t units) {
    if (units <= Capacity) return true;
    if (units > kMostUnits) return false;
    for (const std::int64_t size :
         {std::max(units, std::min(2 * std::int64_t{Capacity}, kMostUnits)), units}) {
        void* const storage = std::realloc(Buffer, static_cast<std::size_t>(size) * sizeof(Char));
        if (storage == nullptr) continue;
        Buffer = static_cast<Char*>(storage);
        Buffer[Length] = 0;
        Capacity = static_cast<std::int32_t>(size);
        return true;
    }
    return false;
}

template <class Char>
long OutputText<Char>::grow(int extra) {
    const std::int64_t size = std::int64_t{Allocated} + (extra == 0 ? kStep : extra) + 1;
    if (size <= Allocated || !make_storage(size)) return E_OUTOFMEMORY;
    Allocated = static_cast<std::int32_t>(size);
    Free_Space = std::min(kStep, Allocated - Length - 1);
    return 0;
}

/// A text longer than a step takes several: its storage is got at once.
template <class Char>
bool OutputText<Char>::make_room(std::size_t count) {
    if (count >= static_cast<std::size_t>(kMostUnits)) return false;
    const std::int64_t needed = std::int64_t{Length} + static_cast<std::int64_t>(count) + 1;
    if (!make_storage(std::max(needed, std::int64_t{Allocated} + kStep + 1))) return false;
    do {
        if (grow(0) != 0) return false;
    } while (Allocated < needed);
    return true;
}

template <class Char>
bool OutputText<Char>::has_room(std::size_t count) const {
    return Free_Space > 0 && count <= static_cast<std::size_t>(Free_Space);
}

/// Where a text of this object's own begins, for its storage may move; -1 for any other.
template <class Char>
std::ptrdiff_t OutputText<Char>::place_of(Char const* text) const {
    const std::less_equal<> not_behind;
    const bool own =
        Buffer != nullptr && not_behind(Buffer, text) && not_behind(text, Buffer + Length);
    return own ? text - Buffer : -1;
}

// Appending.

template <class Char>
inline void OutputText<Char>::store(Char const* text, std::size_t count) {
    platform::copy_short(Buffer + Length, text, count * sizeof(Char));
    Length += static_cast<std::int32_t>(count);
    Free_Space -= static_cast<std::int32_t>(count);
    Buffer[Length] = 0;
}

/// For text that was read to its end just now, and so cannot fault.
template <class Char>
inline bool OutputText<Char>::append_quickly(Char const* text, std::size_t count) {
    if (!quick_.try_enter()) return false;
    const bool fits = has_room(count);
    if (fits) store(text, count);
    quick_.leave();
    return fits;
}

template <class Char>
void OutputText<Char>::append(Char const* text, std::size_t count) {
    if (count == 0 || append_quickly(text, count)) return;
    append_slowly(text, count);
}

template <class Char>
void OutputText<Char>::append_slowly(Char const* text, std::size_t count) {
    CAutoSectionLock hold(section, nullptr, nullptr);
    quick_.close_for_others();
    if (has_room(count)) return store(text, count);
    const std::ptrdiff_t place = place_of(text);
    if (!make_room(count)) throw E_OUTOFMEMORY;
    store(place >= 0 ? Buffer + place : text, count);
}

template <class Char>
void OutputText<Char>::append(Char const* text) {
    if (text != nullptr) append(text, length_of(text));
}

template <class Char>
void OutputText<Char>::append_unit(Char unit) {
    if (unit != 0) append(&unit, 1);
}

template <class Char>
void OutputText<Char>::append_bytes(void const* data, unsigned long count) {
    if (data == nullptr || count == 0) return;
    CAutoSectionLock hold(section, nullptr, nullptr);
    quick_.close_for_others();
    auto const* const bytes = static_cast<Char const*>(data);
    if (has_room(count)) return store(bytes, count);
    constexpr auto kMost = static_cast<unsigned long>(kMostUnits - kStep);
    const std::ptrdiff_t place = place_of(bytes);
    if (count > kMost || grow(static_cast<int>(count) + kStep) != 0) throw E_OUTOFMEMORY;
    store(place >= 0 ? Buffer + place : bytes, count);
}

template <class Char>
void OutputText<Char>::append_ascii(char const* text) {
    Char units[24];
    std::size_t count = 0;
    for (; text[count] != 0; ++count)
        units[count] = static_cast<Char>(text[count]);
    append(units, count);
}

template <class Char>
template <class Number>
void OutputText<Char>::append_number(Number value) {
    char digits[80];
    char* const end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    if constexpr (sizeof(Char) == 1) {
        append(digits, static_cast<std::size_t>(end - digits));
    } else {
        *end = 0;
        append_ascii(digits);
    }
}

template <class Char>
void OutputText<Char>::append_unsigned(unsigned long value) {
    if (value <= std::numeric_limits<std::uint32_t>::max())
        append_number(static_cast<std::int32_t>(value));
    else
        append_number(value);
}

// HTML.

template <class Char>
void OutputText<Char>::convert_to_html(OutputText& out) {
    CAutoSectionLock hold(section, nullptr, nullptr);
    quick_.close_for_others();
    Markup markup{out, Length, true};
    for (std::int32_t at = 0; at < markup.length;)
        at += convert_unit(at, markup);
}

template <class Char>
Char OutputText<Char>::unit_at(std::int32_t at, const Markup& markup) const {
    return at < markup.length ? Buffer[at] : Char{0};
}

/// Gives the units that are done with.
template <class Char>
std::int32_t OutputText<Char>::convert_unit(std::int32_t at, Markup& markup) {
    const Char unit = Buffer[at];
    if ((unit == '%' || unit == '&') && unit_at(at + 1, markup) == unit) {
        markup.out.append_unit(unit);
        return 2;
    }
    switch (unit) {
        case 0:
            return 1;
        case '\n':
            if (at >= 2 && Buffer[at - 1] != '\r') markup.out.append_ascii("<br>");
            return 1;
        case '\r':
            markup.out.append_ascii("<br>");
            return 1;
        case '%':
            markup.out.append_unit(markup.opening ? '<' : '>');
            markup.opening = !markup.opening;
            return 1;
        case '&':
            markup.out.append_ascii("&amp;");
            return 1;
        case '<':
            markup.out.append_ascii("&lt;");
            return 1;
        case '>':
            markup.out.append_ascii("&gt;");
            return 1;
        default:
            return convert_run(at, markup);
    }
}

template <class Char>
std::int32_t OutputText<Char>::convert_run(std::int32_t at, Markup& markup) {
    std::int32_t end = at;
    while (end < markup.length && !is_marked(static_cast<std::make_unsigned_t<Char>>(Buffer[end])))
        ++end;
    markup.out.append(Buffer + at, static_cast<std::size_t>(end - at));
    return end - at;
}

template class OutputText<char>;
template class OutputText<char16_t>;
template void OutputText<char>::append_number(int);
template void OutputText<char>::append_number(long);
template void OutputText<char>::append_number(long long);
template void OutputText<char>::append_number(unsigned long long);
template void OutputText<char16_t>::append_number(int);
template void OutputText<char16_t>::append_number(long);
template void OutputText<char16_t>::append_number(long long);
template void OutputText<char16_t>::append_number(unsigned long long);

}  // namespace tarnwillow::detail
