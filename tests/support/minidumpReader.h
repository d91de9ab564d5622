// Reads a minidump by the numbers of the format's documentation, sharing nothing with the writer.
// Anything that does not fit together makes the reading fail with std::runtime_error.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarnwillow::test {

struct DumpRegisters {
    std::uint32_t flags;
    std::uint64_t rsp;
    std::uint64_t rip;
};

struct DumpThread {
    std::uint32_t id;
    std::string name;
    std::uint64_t stack_start;
    std::size_t stack_size;
    DumpRegisters registers;
};

struct DumpModule {
    std::uint64_t base;
    std::uint64_t size;
    std::string name;
    std::string build_id;  ///< hexadecimal; empty if there is none
};

struct DumpException {
    std::uint32_t thread;
    std::uint32_t code;
    std::uint64_t address;
    std::uint64_t instruction;
    DumpRegisters registers;
};

class MinidumpReader {
public:
    explicit MinidumpReader(std::string bytes);

    std::uint64_t flags() const;
    std::uint16_t architecture() const;
    std::uint32_t platform() const;
    std::uint32_t process_id() const;
    std::vector<DumpThread> threads() const;
    std::vector<DumpModule> modules() const;
    std::optional<DumpException> exception() const;

    /// The stream's bytes; empty if it is not there.
    std::string stream(std::uint32_t type) const;

    /// Bytes of the process's memory; "<not there>" if the dump does not hold them all.
    std::string memory(std::uint64_t address, std::size_t size) const;

    /// How much memory the two lists hold.
    std::uint64_t listed_memory() const;
    std::uint64_t full_memory() const;

private:
    struct Range {
        std::uint64_t start;
        std::uint64_t size;
        std::uint64_t position;
    };

    template <class T>
    T number(std::uint64_t position) const;
    std::string part(std::uint64_t position, std::uint64_t size) const;
    std::string text(std::uint64_t position) const;
    DumpRegisters registers(std::uint64_t location) const;
    std::uint64_t start_of(std::uint32_t type) const;
    void read_ranges();

    std::string bytes_;
    std::map<std::uint32_t, Range> streams_;
    std::vector<Range> listed_;
    std::vector<Range> full_;
};

}  // namespace tarnwillow::test
