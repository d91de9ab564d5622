#include "support/minidumpReader.h"

#include <cstring>
#include <stdexcept>

namespace tarnwillow::test {

namespace {

constexpr std::uint32_t kThreadList = 3, kModuleList = 4, kMemoryList = 5, kException = 6,
                        kSystemInfo = 7, kMemory64List = 9, kMiscInfo = 15, kThreadNames = 24;

void demand(bool condition, char const* what) {
    if (!condition) throw std::runtime_error(what);
}

std::string hexadecimal(const std::string& bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes)
        text += {kDigits[byte >> 4], kDigits[byte & 15]};
    return text;
}

}  // namespace

template <class T>
T MinidumpReader::number(std::uint64_t position) const {
    demand(position + sizeof(T) <= bytes_.size(), "a number behind the end");
    T value;
    std::memcpy(&value, bytes_.data() + position, sizeof value);
    return value;
}

std::string MinidumpReader::part(std::uint64_t position, std::uint64_t size) const {
    demand(position <= bytes_.size() && size <= bytes_.size() - position, "a part behind the end");
    return bytes_.substr(position, size);
}

// The texts of the tests are ASCII.
std::string MinidumpReader::text(std::uint64_t position) const {
    const auto size = number<std::uint32_t>(position);
    demand(size % 2 == 0 && number<std::uint16_t>(position + 4 + size) == 0, "a text's end");
    std::string narrow;
    for (std::uint32_t i = 0; i < size; i += 2)
        narrow += static_cast<char>(number<std::uint16_t>(position + 4 + i));
    return narrow;
}

MinidumpReader::MinidumpReader(std::string bytes) : bytes_(std::move(bytes)) {
    demand(part(0, 4) == "MDMP", "the signature");
    demand(number<std::uint16_t>(4) == 0xA793, "the version");
    const auto count = number<std::uint32_t>(8);
    const auto directory = number<std::uint32_t>(12);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t entry = directory + std::uint64_t{i} * 12;
        const auto type = number<std::uint32_t>(entry);
        const Range range{0, number<std::uint32_t>(entry + 4), number<std::uint32_t>(entry + 8)};
        demand(streams_.emplace(type, range).second, "a stream twice");
        part(range.position, range.size);
    }
    read_ranges();
}

void MinidumpReader::read_ranges() {
    const std::uint64_t list = start_of(kMemoryList);
    demand(streams_[kMemoryList].size == 4 + 16ULL * number<std::uint32_t>(list), "memory list");
    for (std::uint32_t i = 0; i < number<std::uint32_t>(list); ++i) {
        const std::uint64_t at = list + 4 + 16ULL * i;
        listed_.push_back({number<std::uint64_t>(at), number<std::uint32_t>(at + 8),
                           number<std::uint32_t>(at + 12)});
    }
    if (streams_.count(kMemory64List) == 0) return;
    const std::uint64_t list_64 = start_of(kMemory64List);
    auto position = number<std::uint64_t>(list_64 + 8);
    for (std::uint64_t i = 0; i < number<std::uint64_t>(list_64); ++i) {
        const std::uint64_t at = list_64 + 16 + 16 * i;
        full_.push_back({number<std::uint64_t>(at), number<std::uint64_t>(at + 8), position});
        position += full_.back().size;
    }
    demand(position == bytes_.size(), "the full memory ends with the file");
}

std::uint64_t MinidumpReader::start_of(std::uint32_t type) const {
    const auto found = streams_.find(type);
    demand(found != streams_.end(), "a stream is missing");
    return found->second.position;
}

std::string MinidumpReader::stream(std::uint32_t type) const {
    const auto found = streams_.find(type);
    return found == streams_.end() ? "" : part(found->second.position, found->second.size);
}

std::uint64_t MinidumpReader::flags() const { return number<std::uint64_t>(24); }
std::uint16_t MinidumpReader::architecture() const {
    return number<std::uint16_t>(start_of(kSystemInfo));
}
std::uint32_t MinidumpReader::platform() const {
    return number<std::uint32_t>(start_of(kSystemInfo) + 20);
}
std::uint32_t MinidumpReader::process_id() const {
    return number<std::uint32_t>(start_of(kMiscInfo) + 8);
}

DumpRegisters MinidumpReader::registers(std::uint64_t location) const {
    demand(number<std::uint32_t>(location) == 1232, "the size of a context");
    const auto at = number<std::uint32_t>(location + 4);
    part(at, 1232);
    return {number<std::uint32_t>(at + 0x30), number<std::uint64_t>(at + 0x98),
            number<std::uint64_t>(at + 0xF8)};
}

std::vector<DumpThread> MinidumpReader::threads() const {
    std::map<std::uint32_t, std::string> names;
    const std::uint64_t name_list = start_of(kThreadNames);
    for (std::uint32_t i = 0; i < number<std::uint32_t>(name_list); ++i) {
        const std::uint64_t at = name_list + 4 + 12ULL * i;
        names[number<std::uint32_t>(at)] = text(number<std::uint64_t>(at + 4));
    }
    std::vector<DumpThread> all;
    const std::uint64_t list = start_of(kThreadList);
    for (std::uint32_t i = 0; i < number<std::uint32_t>(list); ++i) {
        const std::uint64_t at = list + 4 + 48ULL * i;
        const auto id = number<std::uint32_t>(at);
        const auto size = number<std::uint32_t>(at + 32);
        part(number<std::uint32_t>(at + 36), size);
        all.push_back({id, names[id], number<std::uint64_t>(at + 24), size, registers(at + 40)});
    }
    return all;
}

std::vector<DumpModule> MinidumpReader::modules() const {
    std::vector<DumpModule> all;
    const std::uint64_t list = start_of(kModuleList);
    for (std::uint32_t i = 0; i < number<std::uint32_t>(list); ++i) {
        const std::uint64_t at = list + 4 + 108ULL * i;
        DumpModule module{number<std::uint64_t>(at), number<std::uint32_t>(at + 8),
                          text(number<std::uint32_t>(at + 20)), ""};
        const std::string record =
            part(number<std::uint32_t>(at + 80), number<std::uint32_t>(at + 76));
        if (!record.empty()) {
            demand(record.rfind("LEpB", 0) == 0, "the signature of a build-id");
            module.build_id = hexadecimal(record.substr(4));
        }
        all.push_back(module);
    }
    return all;
}

std::optional<DumpException> MinidumpReader::exception() const {
    if (streams_.count(kException) == 0) return std::nullopt;
    const std::uint64_t at = start_of(kException);
    demand(number<std::uint32_t>(at + 32) == 1, "one parameter");
    return DumpException{number<std::uint32_t>(at), number<std::uint32_t>(at + 8),
                         number<std::uint64_t>(at + 24), number<std::uint64_t>(at + 40),
                         registers(at + 160)};
}

std::string MinidumpReader::memory(std::uint64_t address, std::size_t size) const {
    for (const auto* list : {&listed_, &full_})
        for (const Range& range : *list)
            if (address >= range.start && address - range.start + size <= range.size)
                return part(range.position + (address - range.start), size);
    return "<not there>";
}

std::uint64_t MinidumpReader::listed_memory() const {
    std::uint64_t sum = 0;
    for (const Range& range : listed_)
        sum += range.size;
    return sum;
}

std::uint64_t MinidumpReader::full_memory() const {
    std::uint64_t sum = 0;
    for (const Range& range : full_)
        sum += range.size;
    return sum;
}

}  // namespace tarnwillow::test
