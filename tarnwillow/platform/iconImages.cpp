#include "tarnwillow/platform/iconImages.h"

#include <png.h>

#include <algorithm>
#include <cstring>

namespace tarnwillow::platform {

namespace {

// An ICO file: 0, 1, the number of entries, and the entries of 16 bytes each.
constexpr std::size_t kHeaderSize = 6;
constexpr std::size_t kEntrySize = 16;

struct Entry {
    std::uint32_t size;  // the smaller of width and height
    std::uint32_t bits;
    IconBytes image;
};

std::uint32_t side(std::uint8_t told) { return told != 0 ? told : 256; }

Entry entry_at(IconBytes file, std::size_t at) {
    return {std::min(side(file.byte(at)), side(file.byte(at + 1))), file.word(at + 6),
            file.part(file.dword(at + 12), file.dword(at + 8))};
}

bool fits_better(const Entry& one, const Entry& other, std::uint32_t wanted) {
    if (one.size == other.size) return one.bits > other.bits;
    if (one.size >= wanted && other.size >= wanted) return one.size < other.size;
    return one.size > other.size;
}

bool read_ico(IconBytes file, std::uint32_t wanted, IconImage* out) {
    if (!file.has(0, kHeaderSize) || file.word(0) != 0 || file.word(2) != 1) return false;
    Entry best{0, 0, {nullptr, 0}};
    for (std::size_t i = 0; i < file.word(4); ++i) {
        const std::size_t at = kHeaderSize + i * kEntrySize;
        if (!file.has(at, kEntrySize)) break;
        const Entry entry = entry_at(file, at);
        if (entry.image.size != 0 && fits_better(entry, best, wanted)) best = entry;
    }
    if (best.image.size == 0) return false;
    return is_png(best.image) ? read_png(best.image, out) : read_icon_bitmap(best.image, out);
}

}  // namespace

bool is_png(IconBytes bytes) {
    static constexpr std::uint8_t kSignature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return bytes.has(0, sizeof kSignature) &&
           std::memcmp(bytes.data, kSignature, sizeof kSignature) == 0;
}

bool read_png(IconBytes bytes, IconImage* out) {
    struct Reader {
        png_image image{};
        ~Reader() { png_image_free(&image); }
    } reader;
    png_image& image = reader.image;
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&image, bytes.data, bytes.size) == 0) return false;
    if (image.width > kMostIconPixels || image.height > kMostIconPixels) return false;
    image.format = PNG_FORMAT_BGRA;
    out->width = image.width;
    out->height = image.height;
    out->pixels.resize(std::size_t{image.width} * image.height);
    const auto row = static_cast<png_int_32>(image.width * sizeof(std::uint32_t));
    return png_image_finish_read(&image, nullptr, out->pixels.data(), row, nullptr) != 0;
}

bool read_icon(IconBytes file, std::uint32_t wanted, IconImage* out) {
    return is_png(file) ? read_png(file, out) : read_ico(file, wanted, out);
}

}  // namespace tarnwillow::platform
