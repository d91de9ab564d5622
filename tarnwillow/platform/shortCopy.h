// Copying a few bytes without a call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tarnwillow::platform {

namespace detail {

/// From twice the size of `Word` down to it: both ends, which may overlap in the middle.
template <class Word>
inline void copy_both_ends(char* dest, const char* source, std::size_t count) {
    Word first;
    Word last;
    std::memcpy(&first, source, sizeof first);
    std::memcpy(&last, source + count - sizeof last, sizeof last);
    std::memcpy(dest, &first, sizeof first);
    std::memcpy(dest + count - sizeof last, &last, sizeof last);
}

/// A register's worth: of a larger block some compilers keep a copy in memory.
struct Bytes16 {
    unsigned char bytes[16];
};

/// From 32 to 64 bytes.
inline void copy_four(char* dest, const char* source, std::size_t count) {
    Bytes16 parts[4];
    std::memcpy(&parts[0], source, 16);
    std::memcpy(&parts[1], source + 16, 16);
    std::memcpy(&parts[2], source + count - 32, 16);
    std::memcpy(&parts[3], source + count - 16, 16);
    std::memcpy(dest, &parts[0], 16);
    std::memcpy(dest + 16, &parts[1], 16);
    std::memcpy(dest + count - 32, &parts[2], 16);
    std::memcpy(dest + count - 16, &parts[3], 16);
}

}  // namespace detail

/// Copies in whole blocks of this many bytes take no branch on the count that could be misforeseen.
inline constexpr std::size_t kCopyBlock = 64;

/// Copies `count` bytes, and less than kCopyBlock more behind them: both sides must have those. The
/// destination may overlap the source's end from kCopyBlock bytes in front of it on.
inline void copy_in_blocks(void* to, const void* from, std::size_t count) {
    auto* dest = static_cast<char*>(to);
    auto const* source = static_cast<const char*>(from);
    auto const* const end = source + count;
    do {
        detail::copy_four(dest, source, kCopyBlock);
        dest += kCopyBlock;
        source += kCopyBlock;
    } while (source < end);
}

/// As memmove; up to 64 bytes are copied in place.
inline void copy_short(void* to, const void* from, std::size_t count) {
    auto* const dest = static_cast<char*>(to);
    auto const* const source = static_cast<const char*>(from);
    if (count > 64)
        std::memmove(dest, source, count);
    else if (count >= 32)
        detail::copy_four(dest, source, count);
    else if (count >= 16)
        detail::copy_both_ends<detail::Bytes16>(dest, source, count);
    else if (count >= 8)
        detail::copy_both_ends<std::uint64_t>(dest, source, count);
    else if (count >= 4)
        detail::copy_both_ends<std::uint32_t>(dest, source, count);
    else if (count >= 2)
        detail::copy_both_ends<std::uint16_t>(dest, source, count);
    else if (count == 1)
        *dest = *source;
}

}  // namespace tarnwillow::platform
