#include "tarnwillow/platform/minidumpMemory.h"

#include <cstring>

#include "tarnwillow/platform/childCalls.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::size_t kMostRanges = 16384 + 16;
constexpr std::size_t kBlock = 256 * 1024;
constexpr std::size_t kPage = 4096;
constexpr std::uint64_t kRedZone = 128;  // below the pointer, but in use all the same
constexpr std::uint64_t kMostGuardGap = std::uint64_t{1} << 20;

char* block() {
    static char* bytes = static_cast<char*>(child::pages(kBlock));
    return bytes;
}

bool is_zero(char const* bytes, std::size_t size) {
    return size == 0 || (bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

// Reads page by page behind the first unreadable one; such pages read as zeros.
void read_with_holes(const Process& process, std::uint64_t address, char* to, std::size_t size) {
    std::size_t done = process.read(address, to, size);
    while (done < size) {
        done &= ~(kPage - 1);
        const std::size_t part = size - done < kPage ? size - done : kPage;
        const std::size_t got = process.read(address + done, to + done, part);
        std::memset(to + done + got, 0, part - got);
        done += part;
    }
}

class AllMemory {
public:
    AllMemory(File& file, const Process& process, Progress progress, void* context)
        : file_(file), process_(process), progress_(progress), context_(context) {}

    void write() {
        write_ranges();
        for (std::size_t i = 0; i < process_.mapping_count() && !file_.failed(); ++i)
            if (is_wanted(process_.mappings()[i])) write_bytes(process_.mappings()[i]);
    }

private:
    static bool is_wanted(const Mapping& mapping) {
        return mapping.readable && !mapping.left_out && (mapping.touched || mapping.is_of_file());
    }

    void write_ranges() {
        const std::uint32_t start = file_.next();
        Memory64Head head{0, 0};
        for (std::size_t i = 0; i < process_.mapping_count(); ++i)
            head.range_count += is_wanted(process_.mappings()[i]) ? 1 : 0;
        head.position = start + sizeof head + head.range_count * sizeof(Memory64Range);
        file_.add(&head, sizeof head);
        for (std::size_t i = 0; i < process_.mapping_count(); ++i) {
            const Mapping& mapping = process_.mappings()[i];
            const Memory64Range range{mapping.start, mapping.end - mapping.start};
            if (is_wanted(mapping)) file_.add_more(&range, sizeof range);
        }
        file_.note_stream(StreamType::Memory64List, start);
    }

    void write_bytes(const Mapping& mapping) {
        for (std::uint64_t at = mapping.start; at < mapping.end && !file_.failed();) {
            const std::uint64_t left = mapping.end - at;
            const std::size_t size = left < kBlock ? static_cast<std::size_t>(left) : kBlock;
            read_with_holes(process_, at, block(), size);
            if (is_zero(block(), size))
                file_.add_zeros(size);
            else
                file_.add_more(block(), size);
            progress_(context_);
            at += size;
        }
    }

    File& file_;
    const Process& process_;
    const Progress progress_;
    void* const context_;
};

}  // namespace

MemoryList::MemoryList(File& file, const Process& process)
    : file_(file), process_(process), ranges_(child::objects<MemoryRange>(kMostRanges)) {}

MemoryRange MemoryList::add(std::uint64_t start, std::uint64_t size) {
    MemoryRange range{start, {0, file_.next()}};
    if (ranges_ == nullptr || block() == nullptr || count_ == kMostRanges) return range;
    if (!file_.has_room(size)) return range;
    while (range.location.size < size) {
        const std::uint64_t left = size - range.location.size;
        const std::size_t part = left < kBlock ? static_cast<std::size_t>(left) : kBlock;
        const std::size_t got = process_.read(start + range.location.size, block(), part);
        file_.add_more(block(), got);
        range.location.size += static_cast<std::uint32_t>(got);
        if (got < part) break;
    }
    if (range.location.size > 0) ranges_[count_++] = range;
    return range;
}

MemoryRange MemoryList::add_stack(std::uint64_t pointer, std::uint64_t limit) {
    std::uint64_t start = pointer > kRedZone ? (pointer - kRedZone) & ~std::uint64_t{7} : 0;
    std::size_t index = process_.find_mapping(start);
    while (index < process_.mapping_count() && !process_.mappings()[index].readable)
        ++index;
    if (start == 0 || index == process_.mapping_count()) return {};
    const Mapping& stack = process_.mappings()[index];
    if (stack.start > start + kMostGuardGap) return {};
    if (start < stack.start) start = stack.start;
    const std::uint64_t used = stack.end - start;
    return add(start, used < limit ? used : limit);
}

void MemoryList::add_around(std::uint64_t address, std::uint64_t size) {
    const std::size_t index = process_.find_mapping(address);
    if (index == process_.mapping_count()) return;
    const Mapping& mapping = process_.mappings()[index];
    if (!mapping.holds(address) || !mapping.readable) return;
    const std::uint64_t before =
        address - mapping.start < size / 2 ? address - mapping.start : size / 2;
    const std::uint64_t after = mapping.end - address < size / 2 ? mapping.end - address : size / 2;
    add(address - before, before + after);
}

void MemoryList::write() {
    const std::uint32_t start = file_.next();
    const auto count = static_cast<std::uint32_t>(count_);
    file_.add(&count, sizeof count);
    file_.add_more(ranges_, count_ * sizeof(MemoryRange));
    file_.note_stream(StreamType::MemoryList, start);
}

void write_all_memory(File& file, const Process& process, Progress progress, void* context) {
    if (block() != nullptr)
        AllMemory(file, process, progress, context).write();
    else
        file.give_up();
}

}  // namespace tarnwillow::platform::minidump
