// Images in the bytes of an icon file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnwillow::platform {

inline constexpr std::uint32_t kMostIconPixels = 1024;  // in either direction

struct IconImage {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint32_t> pixels;  // 0xAARRGGBB, from the top left corner
};

/// Bytes of a file, read by little-endian numbers. What lies outside reads as 0; `has` tells.
struct IconBytes {
    std::uint8_t const* data;
    std::size_t size;

    bool has(std::size_t at, std::size_t count) const { return at <= size && count <= size - at; }
    std::uint8_t byte(std::size_t at) const { return at < size ? data[at] : 0; }
    std::uint16_t word(std::size_t at) const {
        return static_cast<std::uint16_t>(byte(at) | byte(at + 1) << 8);
    }
    std::uint32_t dword(std::size_t at) const {
        return word(at) | static_cast<std::uint32_t>(word(at + 2)) << 16;
    }
    IconBytes part(std::size_t at, std::size_t count) const {
        return has(at, count) ? IconBytes{data + at, count} : IconBytes{data, 0};
    }
};

// These tell whether there is such an image. They throw std::bad_alloc.

/// The image of a PNG or an ICO file that fits that size best.
bool read_icon(IconBytes file, std::uint32_t wanted, IconImage* out);

bool is_png(IconBytes bytes);
bool read_png(IconBytes bytes, IconImage* out);

/// The bitmap of an ICO file's entry: 1, 4, 8, 24 or 32 bits for a pixel, with a mask behind it.
bool read_icon_bitmap(IconBytes bytes, IconImage* out);

}  // namespace tarnwillow::platform
