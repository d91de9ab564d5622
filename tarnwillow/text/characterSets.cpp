#include "tarnwillow/text/characterSets.h"

#include <algorithm>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/wideText.h"
#include "tarnwillow/text/characterConversion.h"

namespace tarnwillow {

namespace detail {

namespace {

template <class To>
long finish(const platform::Conversion& done, std::size_t length, To* dest, std::size_t room) {
    if (done.consumed == length) return S_OK;
    if (room > 0) dest[0] = 0;
    return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
}

}  // namespace

long convert_all(char const* source, std::size_t length, char16_t* dest, std::size_t room) {
    return finish(platform::narrow_to_wide(source, length, dest, room), length, dest, room);
}

long convert_all(char16_t const* source, std::size_t length, char* dest, std::size_t room) {
    return finish(platform::wide_to_narrow(source, length, dest, room), length, dest, room);
}

}  // namespace detail

long UnicodeToAnsi(char16_t const* source, char* dest, int dest_size) {
    const std::size_t length = source != nullptr ? wide::length(source) : 0;
    if (dest == nullptr) return static_cast<long>(length);
    if (dest_size > 0) dest[0] = 0;
    if (source == nullptr) return S_OK;
    if (static_cast<long>(length) > dest_size) return E_OUTOFMEMORY;
    return detail::convert_all(source, length + 1, dest, static_cast<std::size_t>(dest_size));
}

long AnsiToUnicode(char const* source, char16_t* dest, int dest_size) {
    if (source == nullptr) source = "";
    const std::size_t length = std::strlen(source);
    if (dest == nullptr) return static_cast<long>(length * sizeof(char16_t));
    const auto room = static_cast<std::size_t>(std::max(dest_size, 0));
    const long result = detail::convert_all(source, length + 1, dest, room);
    // For callers who take the byte length for the length of the wide text.
    if (result == S_OK && length < room) dest[length] = 0;
    return result;
}

}  // namespace tarnwillow
