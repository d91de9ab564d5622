// The file that a dump is written to, from the child that writes it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/platform/minidumpFormat.h"

namespace tarnwillow::platform::minidump {

/// Grows at its end and remembers the streams for the directory. The first failure of a write ends
/// it: what comes later has no effect, and finish() tells.
class File {
public:
    explicit File(int descriptor) : descriptor_(descriptor) {}

    /// Adds bytes at a multiple of 4 and tells where they stand.
    Location add(void const* bytes, std::size_t size);

    /// Adds bytes right behind the last ones.
    void add_more(void const* bytes, std::size_t size);

    /// Leaves room that reads as zeros and takes no disk.
    void add_zeros(std::uint64_t size) { end_ += size; }

    /// Adds a text, UTF-8 of `length` bytes, and gives its position.
    std::uint32_t add_text(char const* text, std::size_t length);

    /// Overwrites what was added before.
    void replace(std::uint32_t position, void const* bytes, std::size_t size);

    /// Everything added since `start`, which was end(), is the stream of that type.
    void note_stream(StreamType type, std::uint32_t start);

    /// Where the next record will stand.
    std::uint32_t next();

    /// Positions have 32 bits: whether `size` more bytes may stand in front of that limit.
    bool has_room(std::uint64_t size) const { return end_ + size < UINT32_MAX; }

    /// For what cannot be added for another reason than the file's.
    void give_up() { failed_ = true; }

    bool failed() const { return failed_; }

    /// Writes header and directory. False if any write failed.
    bool finish(std::uint32_t time, std::uint64_t flags);

private:
    static constexpr std::uint32_t kMostStreams = 16;
    static constexpr std::uint64_t kDirectory = sizeof(Header);

    void write(void const* bytes, std::size_t size, std::uint64_t position);

    const int descriptor_;
    std::uint64_t end_ = kDirectory + kMostStreams * sizeof(DirectoryEntry);
    bool failed_ = false;
    std::uint32_t stream_count_ = 0;
    DirectoryEntry streams_[kMostStreams] = {};
};

}  // namespace tarnwillow::platform::minidump
