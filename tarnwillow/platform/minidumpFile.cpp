#include "tarnwillow/platform/minidumpFile.h"

#include <cerrno>

#include "tarnwillow/platform/childCalls.h"
#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::size_t kMostText = 4096;

}  // namespace

void File::write(void const* bytes, std::size_t size, std::uint64_t position) {
    auto const* from = static_cast<char const*>(bytes);
    while (size > 0 && !failed_) {
        const ssize_t written = child::write_at(descriptor_, from, size, position);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            failed_ = true;
            return;
        }
        from += written;
        size -= static_cast<std::size_t>(written);
        position += static_cast<std::uint64_t>(written);
    }
}

std::uint32_t File::next() {
    end_ = (end_ + 3) & ~std::uint64_t{3};
    return static_cast<std::uint32_t>(end_);
}

void File::add_more(void const* bytes, std::size_t size) {
    write(bytes, size, end_);
    end_ += size;
}

Location File::add(void const* bytes, std::size_t size) {
    const std::uint32_t position = next();
    if (!has_room(size)) failed_ = true;
    add_more(bytes, size);
    return {static_cast<std::uint32_t>(size), position};
}

std::uint32_t File::add_text(char const* text, std::size_t length) {
    char16_t units[kMostText + 1];
    const std::size_t written = narrow_to_wide(text, length, units, kMostText).written;
    units[written] = 0;
    const TextHead head{static_cast<std::uint32_t>(written * sizeof(char16_t))};
    const std::uint32_t position = add(&head, sizeof head).position;
    add_more(units, (written + 1) * sizeof(char16_t));
    return position;
}

void File::replace(std::uint32_t position, void const* bytes, std::size_t size) {
    write(bytes, size, position);
}

void File::note_stream(StreamType type, std::uint32_t start) {
    if (stream_count_ == kMostStreams) {
        failed_ = true;
        return;
    }
    // The 64-bit list is not measured with the memory behind it, and stays below the limit itself.
    streams_[stream_count_++] = {type, {static_cast<std::uint32_t>(end_ - start), start}};
}

bool File::finish(std::uint32_t time, std::uint64_t flags) {
    const Header header{kSignature, kVersion, stream_count_, kDirectory, 0, time, flags};
    write(streams_, sizeof streams_, kDirectory);
    // Last, so that a file that was not finished does not begin like a dump.
    write(&header, sizeof header, 0);
    if (!failed_ && !child::set_size(descriptor_, end_)) failed_ = true;
    return !failed_;
}

}  // namespace tarnwillow::platform::minidump
