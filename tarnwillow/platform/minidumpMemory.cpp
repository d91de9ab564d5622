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

/// The ranges of the full form. Private memory counts block by block, and only where it was ever
/// used: a process may reserve far more than any disk holds.
class UsedMemory {
public:
    UsedMemory(const Process& process, Progress progress, void* context)
        : pages_(open_proc_file(process.id(), "pagemap")),
          ranges_(child::objects<Memory64Range>(kMostUsedRanges)),
          entries_(child::objects<std::uint64_t>(kWindowPages)),
          progress_(progress),
          context_(context) {
        if (ranges_ == nullptr || entries_ == nullptr) return;
        for (std::size_t i = 0; i < process.mapping_count(); ++i)
            collect(process.mappings()[i]);
    }
    ~UsedMemory() { child::close_file(pages_); }
    UsedMemory(const UsedMemory&) = delete;
    UsedMemory& operator=(const UsedMemory&) = delete;

    bool known() const { return count_ > 0 && count_ < kMostUsedRanges; }
    const Memory64Range* begin() const { return ranges_; }
    const Memory64Range* end() const { return ranges_ + count_; }
    std::size_t size() const { return count_; }

private:
    static constexpr std::size_t kMostUsedRanges = std::size_t{1} << 20;
    static constexpr std::size_t kWindowPages = 8192;
    static constexpr std::uint64_t kWindow = kWindowPages * kPage;

    void add(std::uint64_t start, std::uint64_t end) {
        if (count_ > 0 && ranges_[count_ - 1].start + ranges_[count_ - 1].size == start)
            ranges_[count_ - 1].size += end - start;
        else if (count_ < kMostUsedRanges)
            ranges_[count_++] = {start, end - start};
    }

    void collect(const Mapping& mapping) {
        if (!mapping.readable || mapping.left_out) return;
        if (mapping.is_of_file()) return add(mapping.start, mapping.end);
        if (!mapping.touched) return;
        for (std::uint64_t at = mapping.start; at < mapping.end; at += kWindow) {
            collect_window(at, mapping.end - at < kWindow ? mapping.end : at + kWindow);
            progress_(context_);
        }
    }

    // One number for each page; its two highest bits tell whether it is in memory or swapped out.
    void collect_window(std::uint64_t start, std::uint64_t end) {
        const std::size_t size = (end - start) / kPage * sizeof(std::uint64_t);
        const std::uint64_t position = start / kPage * sizeof(std::uint64_t);
        const bool pages_known =
            child::read_at(pages_, entries_, size, position) == static_cast<ssize_t>(size);
        if (!pages_known) return add(start, end);
        for (std::uint64_t at = start; at < end; at += kBlock) {
            const std::uint64_t block_end = end - at < kBlock ? end : at + kBlock;
            if (has_page(at - start, block_end - start)) add(at, block_end);
        }
    }

    bool has_page(std::uint64_t from, std::uint64_t to) const {
        for (std::uint64_t page = from / kPage; page < to / kPage; ++page)
            if (entries_[page] >> 62 != 0) return true;
        return false;
    }

    const int pages_;
    Memory64Range* const ranges_;
    std::uint64_t* const entries_;
    const Progress progress_;
    void* const context_;
    std::size_t count_ = 0;
};

class AllMemory {
public:
    AllMemory(File& file, const Process& process, Progress progress, void* context)
        : file_(file),
          process_(process),
          progress_(progress),
          context_(context),
          used_(process, progress, context) {}

    void write() {
        if (!used_.known() || block() == nullptr) return file_.give_up();
        write_list();
        for (const Memory64Range& range : used_)
            write_bytes(range);
    }

private:
    void write_list() {
        const std::uint32_t start = file_.next();
        const std::size_t size = used_.size() * sizeof(Memory64Range);
        const Memory64Head head{used_.size(), start + sizeof head + size};
        file_.add(&head, sizeof head);
        file_.add_more(used_.begin(), size);
        file_.note_stream(StreamType::Memory64List, start);
    }

    void write_bytes(const Memory64Range& range) {
        const std::uint64_t end = range.start + range.size;
        for (std::uint64_t at = range.start; at < end && !file_.failed();) {
            const std::size_t size = end - at < kBlock ? end - at : kBlock;
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
    const UsedMemory used_;
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
    AllMemory(file, process, progress, context).write();
}

}  // namespace tarnwillow::platform::minidump
