// The step behind every conversion of a terminated text between the widths: all of it, or a status.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

#include "tarnwillow/platform/status.h"
#include "tarnwillow/text/plainText.h"

namespace tarnwillow::detail {

/// Converts exactly `length` units; include the terminator in them to have it in `dest`. 0, or
/// HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER) when the result needs more than `room` units:
/// `dest` is then an empty text, if it has room for that.
long convert_all(char const* source, std::size_t length, char16_t* dest, std::size_t room);
long convert_all(char16_t const* source, std::size_t length, char* dest, std::size_t room);

/// A converted copy of a text, in `small` or, if the source has `small_room` units or more, in a
/// block for `heap`. The room is one unit for each unit of the source. Throws `long`.
template <class To, class From>
To* convert_copy(From const* source, To* small, std::size_t small_room,
                 std::unique_ptr<To[]>& heap) {
    const std::size_t size = length_of(source) + 1;
    To* dest = small;
    if (size > small_room) {
        heap.reset(new (std::nothrow) To[size]);
        if (heap == nullptr) throw E_OUTOFMEMORY;
        dest = heap.get();
    }
    if (const long failure = convert_all(source, size, dest, size); failure != S_OK) throw failure;
    return dest;
}

}  // namespace tarnwillow::detail
