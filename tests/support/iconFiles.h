// Icon files as other programs write them.
#pragma once

#include <png.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tarnwillow::test {

/// Numbers of one, two and four bytes, the lowest byte first.
inline std::string bytes(std::uint32_t value, int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += static_cast<char>(value >> 8 * i);
    return text;
}

/// Pixels as rows from the top of 0xAARRGGBB.
inline std::string png_file(int width, int height, const std::vector<std::uint32_t>& pixels) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(width);
    image.height = static_cast<png_uint_32>(height);
    image.format = PNG_FORMAT_BGRA;
    png_alloc_size_t size = 0;
    png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr);
    std::string file(size, '\0');
    png_image_write_to_memory(&image, file.data(), &size, 0, pixels.data(), 0, nullptr);
    return file;
}

inline std::string png_square(int side, std::uint32_t colour) {
    return png_file(side, side, std::vector(static_cast<std::size_t>(side * side), colour));
}

struct IcoEntry {
    int width;
    int height;
    int bits;
    std::string image;
};

inline std::string ico_file(const std::vector<IcoEntry>& entries) {
    std::string head =
        bytes(0, 2) + bytes(1, 2) + bytes(static_cast<std::uint32_t>(entries.size()), 2);
    std::string images;
    for (const IcoEntry& entry : entries) {
        head += bytes(static_cast<std::uint32_t>(entry.width), 1) +
                bytes(static_cast<std::uint32_t>(entry.height), 1) + bytes(0, 2) + bytes(1, 2) +
                bytes(static_cast<std::uint32_t>(entry.bits), 2) +
                bytes(static_cast<std::uint32_t>(entry.image.size()), 4) +
                bytes(static_cast<std::uint32_t>(6 + 16 * entries.size() + images.size()), 4);
        images += entry.image;
    }
    return head + images;
}

/// A bitmap entry: `body` is palette, image and mask.
inline std::string dib(int width, int height, int bits, const std::string& body,
                       int palette_colours = 0) {
    return bytes(40, 4) + bytes(static_cast<std::uint32_t>(width), 4) +
           bytes(static_cast<std::uint32_t>(2 * height), 4) + bytes(1, 2) +
           bytes(static_cast<std::uint32_t>(bits), 2) + std::string(16, 0) +
           bytes(static_cast<std::uint32_t>(palette_colours), 4) + bytes(0, 4) + body;
}

}  // namespace tarnwillow::test
