#include "tarnwillow/platform/minidumpProcess.h"

#include <cerrno>
#include <string_view>

#include "tarnwillow/platform/childCalls.h"

namespace tarnwillow::platform::minidump {

namespace {

constexpr std::size_t kFirstRoom = 64 * 1024;
constexpr std::size_t kMostRoom = std::size_t{256} << 20;

/// "/proc/ID/NAME"
class ProcPath {
public:
    ProcPath(pid_t process, char const* name) {
        append("/proc/");
        append_number(static_cast<unsigned>(process));
        append("/");
        append(name);
    }
    /// "/proc/self/NAME"
    explicit ProcPath(char const* name) {
        append("/proc/self/");
        append(name);
    }
    char const* text() const { return text_; }

private:
    void append(char const* part) {
        while (*part != 0 && length_ < sizeof text_ - 1)
            text_[length_++] = *part++;
    }
    void append_number(unsigned number) {
        char digits[11] = {};
        std::size_t at = sizeof digits - 1;
        do {
            digits[--at] = static_cast<char>('0' + number % 10);
            number /= 10;
        } while (number != 0);
        append(digits + at);
    }

    std::size_t length_ = 0;
    char text_[96] = {};
};

/// Takes a text apart from its start on.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest_(text) {}

    std::string_view line() {
        const std::size_t end = rest_.find('\n');
        const std::string_view found = rest_.substr(0, end);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return found;
    }
    std::string_view word() {
        skip_spaces();
        const std::size_t end = rest_.find(' ');
        const std::string_view found = rest_.substr(0, end);
        rest_.remove_prefix(found.size());
        return found;
    }
    /// Hexadecimal digits; false if there is none.
    bool number(std::uint64_t* value) {
        std::size_t digits = 0;
        *value = 0;
        for (; digits < rest_.size() && hex_value(rest_[digits]) < 16; ++digits)
            *value = *value << 4 | hex_value(rest_[digits]);
        rest_.remove_prefix(digits);
        return digits > 0;
    }
    bool sign(char c) {
        const bool there = !rest_.empty() && rest_.front() == c;
        if (there) rest_.remove_prefix(1);
        return there;
    }
    void skip_spaces() {
        while (!rest_.empty() && rest_.front() == ' ')
            rest_.remove_prefix(1);
    }
    std::string_view rest() const { return rest_; }
    bool done() const { return rest_.empty(); }

private:
    static unsigned hex_value(char c) {
        if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
        return c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a') + 10 : 16;
    }

    std::string_view rest_;
};

std::string_view without_deletion_mark(std::string_view path) {
    constexpr std::string_view kMark = " (deleted)";
    if (path.size() > kMark.size() && path.substr(path.size() - kMark.size()) == kMark)
        path.remove_suffix(kMark.size());
    return path;
}

// "start-end access offset device inode   path"
bool read_mapping(std::string_view line, Mapping* mapping) {
    Scanner scan(line);
    *mapping = {};
    if (!scan.number(&mapping->start) || !scan.sign('-') || !scan.number(&mapping->end))
        return false;
    const std::string_view access = scan.word();
    if (access.size() < 4 || mapping->end <= mapping->start) return false;
    mapping->readable = access[0] == 'r';
    mapping->executable = access[2] == 'x';
    mapping->touched = true;
    scan.skip_spaces();
    scan.number(&mapping->file_offset);
    scan.word();
    scan.word();
    scan.skip_spaces();
    const std::string_view path = without_deletion_mark(scan.rest());
    mapping->path = path.data();
    mapping->path_size = path.size();
    return true;
}

// Lines such as "Rss:     12 kB" and "VmFlags: rd wr dd" below a mapping's own.
void read_detail(std::string_view line, Mapping* mapping) {
    Scanner scan(line);
    const std::string_view name = scan.word();
    if (name == "Rss:" || name == "Swap:") {
        const bool something = scan.word() != "0";
        mapping->touched = something || (mapping->touched && name == "Swap:");
    } else if (name == "VmFlags:") {
        for (std::string_view flag = scan.word(); !flag.empty(); flag = scan.word())
            if (flag == "dd" || flag == "io" || flag == "pf") mapping->left_out = true;
    }
}

std::size_t count_lines(const ProcFile& file) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < file.size; ++i)
        count += file.bytes[i] == '\n';
    return count;
}

char* grow(char* old, std::size_t size) {
    auto* larger = static_cast<char*>(child::pages(2 * size));
    for (std::size_t i = 0; larger != nullptr && i < size; ++i)
        larger[i] = old[i];
    child::free_pages(old, size);
    return larger;
}

ProcFile read_to_end(int file) {
    std::size_t room = kFirstRoom;
    std::size_t size = 0;
    auto* bytes = static_cast<char*>(child::pages(room));
    while (bytes != nullptr && room <= kMostRoom) {
        const ssize_t got = child::read_some(file, bytes + size, room - size);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return {bytes, size};
        size += static_cast<std::size_t>(got);
        if (size < room) continue;
        bytes = grow(bytes, room);
        room *= 2;
    }
    return {nullptr, 0};
}

}  // namespace

int open_proc_file(pid_t id, char const* name) {
    return child::open_to_read(ProcPath(id, name).text());
}

ProcFile read_proc_file(pid_t process, char const* name) {
    int file = open_proc_file(process, name);
    if (file < 0) file = child::open_to_read(ProcPath(name).text());
    if (file < 0) return {nullptr, 0};
    const ProcFile content = read_to_end(file);
    child::close_file(file);
    return content;
}

Process::Process(pid_t id, bool with_details) : id_(id), memory_(open_proc_file(id, "mem")) {
    read_mappings(with_details);
}

void Process::read_mappings(bool with_details) {
    ProcFile file{};
    if (with_details) file = read_proc_file(id_, "smaps");
    if (file.size == 0) file = read_proc_file(id_, "maps");
    mappings_ = child::objects<Mapping>(count_lines(file));
    if (mappings_ == nullptr) return;
    for (Scanner scan({file.bytes, file.size}); !scan.done();) {
        const std::string_view line = scan.line();
        if (read_mapping(line, &mappings_[mapping_count_]))
            ++mapping_count_;
        else if (mapping_count_ > 0)
            read_detail(line, &mappings_[mapping_count_ - 1]);
    }
}

std::size_t Process::find_mapping(std::uint64_t address) const {
    std::size_t low = 0;
    for (std::size_t high = mapping_count_; low < high;) {
        const std::size_t middle = (low + high) / 2;
        if (mappings_[middle].end <= address)
            low = middle + 1;
        else
            high = middle;
    }
    return low;
}

std::size_t Process::read(std::uint64_t address, void* bytes, std::size_t size) const {
    auto* to = static_cast<char*>(bytes);
    std::size_t done = 0;
    while (done < size) {
        const ssize_t got = memory_ >= 0
                                ? child::read_at(memory_, to + done, size - done, address + done)
                                : child::read_own_memory(address + done, to + done, size - done);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::uint64_t Process::auxiliary_value(std::uint64_t type) const {
    const ProcFile file = read_proc_file(id_, "auxv");
    auto const* numbers = reinterpret_cast<std::uint64_t const*>(file.bytes);
    const std::size_t count = file.size / sizeof(std::uint64_t);
    for (std::size_t i = 0; i + 1 < count; i += 2)
        if (numbers[i] == type) return numbers[i + 1];
    return 0;
}

}  // namespace tarnwillow::platform::minidump
