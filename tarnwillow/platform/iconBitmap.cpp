#include <algorithm>

#include "tarnwillow/platform/iconImages.h"

namespace tarnwillow::platform {

namespace {

constexpr std::uint32_t kOpaque = 0xFF000000;
constexpr std::size_t kLeastHeader = 40;
constexpr std::size_t kMostColours = 256;

/// Rows stand from the bottom up, each filled up to four bytes.
struct Rows {
    std::size_t at;
    std::uint32_t width, height, bits;

    std::size_t row_size() const { return (std::size_t{width} * bits + 31) / 32 * 4; }
    std::size_t size() const { return row_size() * height; }
    std::size_t row(std::uint32_t y) const { return at + (height - 1 - y) * row_size(); }
};

struct Bitmap {
    IconBytes bytes;
    std::size_t palette;
    std::size_t colours;
    Rows image;
    Rows mask;
};

bool is_depth(std::uint32_t bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 24 || bits == 32;
}

bool lay_out(IconBytes bytes, Bitmap* out) {
    const std::size_t header = bytes.dword(0);
    const std::uint32_t width = bytes.dword(4), both = bytes.dword(8), bits = bytes.word(14);
    constexpr std::uint32_t kUncompressed = 0;
    if (header < kLeastHeader || !bytes.has(0, header) || bytes.dword(16) != kUncompressed)
        return false;
    // The height counts the image and the mask.
    if (width == 0 || width > kMostIconPixels || both < 2 || both > 2 * kMostIconPixels ||
        both % 2 != 0 || !is_depth(bits))
        return false;
    const std::size_t told = bytes.dword(32);
    const std::size_t most = bits <= 8 ? std::size_t{1} << bits : kMostColours;
    const std::size_t colours = bits <= 8 && told == 0 ? most : told;
    if (colours > most) return false;
    const Rows image{header + colours * 4, width, both / 2, bits};
    *out = {bytes, header, colours, image, {image.at + image.size(), width, both / 2, 1}};
    return bytes.has(image.at, image.size());
}

std::uint32_t indexed(const Bitmap& bitmap, std::size_t row, std::uint32_t x) {
    const std::uint32_t bits = bitmap.image.bits;
    const std::uint32_t at = x * bits;
    const std::uint32_t index =
        (bitmap.bytes.byte(row + at / 8) >> (8 - bits - at % 8)) & ((1U << bits) - 1);
    return index < bitmap.colours ? bitmap.bytes.dword(bitmap.palette + index * 4) & ~kOpaque : 0;
}

std::uint32_t pixel(const Bitmap& bitmap, std::size_t row, std::uint32_t x) {
    switch (bitmap.image.bits) {
        case 32:
            return bitmap.bytes.dword(row + x * 4U);
        case 24:
            return bitmap.bytes.word(row + x * 3U) |
                   static_cast<std::uint32_t>(bitmap.bytes.byte(row + x * 3U + 2)) << 16;
        default:
            return indexed(bitmap, row, x);
    }
}

void read_pixels(const Bitmap& bitmap, std::vector<std::uint32_t>* out) {
    out->clear();
    out->reserve(std::size_t{bitmap.image.width} * bitmap.image.height);
    for (std::uint32_t y = 0; y < bitmap.image.height; ++y)
        for (std::uint32_t x = 0; x < bitmap.image.width; ++x)
            out->push_back(pixel(bitmap, bitmap.image.row(y), x));
}

/// A set bit of the mask is a hole. Without a mask there are none.
void apply_mask(const Bitmap& bitmap, std::vector<std::uint32_t>* pixels) {
    const bool masked = bitmap.bytes.has(bitmap.mask.at, bitmap.mask.size());
    std::size_t i = 0;
    for (std::uint32_t y = 0; y < bitmap.mask.height; ++y)
        for (std::uint32_t x = 0; x < bitmap.mask.width; ++x, ++i) {
            const std::uint8_t eight = bitmap.bytes.byte(bitmap.mask.row(y) + x / 8);
            const bool hole = masked && ((eight >> (7 - x % 8)) & 1) != 0;
            (*pixels)[i] = hole ? 0 : (*pixels)[i] | kOpaque;
        }
}

}  // namespace

bool read_icon_bitmap(IconBytes bytes, IconImage* out) {
    Bitmap bitmap;
    if (!lay_out(bytes, &bitmap)) return false;
    out->width = bitmap.image.width;
    out->height = bitmap.image.height;
    read_pixels(bitmap, &out->pixels);
    // Pixels of 32 bits carry their own alpha, unless nobody has set it.
    const bool has_alpha = bitmap.image.bits == 32 &&
                           std::any_of(out->pixels.begin(), out->pixels.end(),
                                       [](std::uint32_t one) { return (one & kOpaque) != 0; });
    if (!has_alpha) apply_mask(bitmap, &out->pixels);
    return true;
}

}  // namespace tarnwillow::platform
