#include "tarnwillow/platform/icons.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

#include "tarnwillow/platform/descriptor.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/iconImages.h"

namespace tarnwillow {

namespace {

using platform::IconImage;

constexpr std::uint32_t kLargeSize = 32;
constexpr std::uint32_t kSmallSize = 16;
constexpr off_t kMostBytes = 16 << 20;

struct IconObject : platform::HandleObject {
    explicit IconObject(IconImage given)
        : HandleObject(platform::ObjectKind::icon), image(std::move(given)) {}
    const IconImage image;
};

std::shared_ptr<const IconObject> find(HICON icon) {
    return std::static_pointer_cast<const IconObject>(
        platform::find_object(reinterpret_cast<HANDLE>(icon), platform::ObjectKind::icon));
}

using Bytes = std::vector<std::uint8_t>;

bool read_bytes(int file, Bytes* out) {
    std::size_t have = 0;
    while (have < out->size()) {
        const ssize_t got = read(file, out->data() + have, out->size() - have);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        have += static_cast<std::size_t>(got);
    }
    return true;
}

/// Never waits: what is no plain file is no icon.
bool read_plain_file(char16_t const* path, Bytes* out) {
    const platform::SystemPath system_path(path);
    const platform::Descriptor file(
        open(system_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat info {};
    if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    if (info.st_size > kMostBytes) return false;
    out->resize(static_cast<std::size_t>(info.st_size));
    return read_bytes(file.get(), out);
}

HICON make_icon(const Bytes& bytes, std::uint32_t wanted) {
    IconImage image;
    if (!platform::read_icon({bytes.data(), bytes.size()}, wanted, &image)) return nullptr;
    return reinterpret_cast<HICON>(
        platform::open_handle(std::make_shared<IconObject>(std::move(image))));
}

unsigned extract(char16_t const* path, HICON* large, HICON* small) {
    Bytes bytes;
    if (!read_plain_file(path, &bytes)) return 0;
    if (large != nullptr) *large = make_icon(bytes, kLargeSize);
    if (small != nullptr) *small = make_icon(bytes, kSmallSize);
    return (large != nullptr && *large != nullptr) + (small != nullptr && *small != nullptr);
}

}  // namespace

unsigned ExtractIconExW(char16_t const* file, int index, HICON* large, HICON* small,
                        unsigned count) {
    if (large != nullptr) *large = nullptr;
    if (small != nullptr) *small = nullptr;
    if (file == nullptr || index != 0 || count == 0) return 0;
    try {
        return extract(file, large, small);
    } catch (const std::bad_alloc&) {
        // What was made before memory ran out is good.
        return (large != nullptr && *large != nullptr) + (small != nullptr && *small != nullptr);
    }
}

bool DestroyIcon(HICON icon) {
    return find(icon) != nullptr && platform::close_handle(reinterpret_cast<HANDLE>(icon));
}

bool Get_Icon_Size(HICON icon, int* width, int* height) {
    const auto found = find(icon);
    if (found == nullptr) return false;
    if (width != nullptr) *width = static_cast<int>(found->image.width);
    if (height != nullptr) *height = static_cast<int>(found->image.height);
    return true;
}

bool Get_Icon_Pixels(HICON icon, std::uint32_t* dest, std::size_t room) {
    const auto found = find(icon);
    if (found == nullptr || dest == nullptr || found->image.pixels.size() > room) return false;
    std::copy(found->image.pixels.begin(), found->image.pixels.end(), dest);
    return true;
}

}  // namespace tarnwillow
