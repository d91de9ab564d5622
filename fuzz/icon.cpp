// Any bytes as an icon file: an image comes of it or not, and one that does is as large as it says.
#include <cstdlib>

#include "tarnwillow/platform/iconImages.h"

using namespace tarnwillow::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    for (std::uint32_t wanted : {16U, 32U}) {
        IconImage image;
        if (!read_icon({bytes, size}, wanted, &image)) continue;
        if (image.width == 0 || image.width > kMostIconPixels) std::abort();
        if (image.height == 0 || image.height > kMostIconPixels) std::abort();
        if (image.pixels.size() != std::size_t{image.width} * image.height) std::abort();
    }
    return 0;
}
