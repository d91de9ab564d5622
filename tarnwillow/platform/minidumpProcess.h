// What the child that writes a dump sees of the process: its memory and its map.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform::minidump {

/// The bytes of a file of /proc, in pages of their own.
struct ProcFile {
    char const* bytes;
    std::size_t size;
};

/// Opens /proc/`id`/`name` of a process or thread to read; negative if it cannot be.
int open_proc_file(pid_t id, char const* name);

/// Reads /proc/`process`/`name` or, where the system does not let it be seen, the child's own,
/// which tells of the same map and program. Empty if neither can be read.
ProcFile read_proc_file(pid_t process, char const* name);

/// A stretch of addresses with one source and one access.
struct Mapping {
    std::uint64_t start;
    std::uint64_t end;
    std::uint64_t file_offset;
    bool readable;
    bool executable;
    bool left_out;     ///< a device, or marked as not for dumps
    bool touched;      ///< has content, as far as is known
    char const* path;  ///< not terminated; empty for memory without a file
    std::size_t path_size;

    bool holds(std::uint64_t address) const { return address >= start && address < end; }
    bool is_of_file() const { return path_size > 0 && path[0] == '/'; }
};

class Process {
public:
    /// `with_details` also finds out what mappings are left out or untouched, which costs more.
    /// Where the system does not let the process's memory be read, that of the child itself is, as
    /// it was at the fork.
    Process(pid_t id, bool with_details);

    pid_t id() const { return id_; }
    Mapping const* mappings() const { return mappings_; }
    std::size_t mapping_count() const { return mapping_count_; }

    /// Index of the mapping that holds the address or, failing that, of the next one above;
    /// mapping_count() if there is none.
    std::size_t find_mapping(std::uint64_t address) const;

    /// Bytes read, which are fewer than `size` where unreadable memory begins. Never faults.
    std::size_t read(std::uint64_t address, void* bytes, std::size_t size) const;

    template <class T>
    bool read_object(std::uint64_t address, T* object) const {
        return read(address, object, sizeof(T)) == sizeof(T);
    }

    /// Value of an entry of the auxiliary vector, or 0.
    std::uint64_t auxiliary_value(std::uint64_t type) const;

private:
    void read_mappings(bool with_details);

    const pid_t id_;
    int memory_;
    Mapping* mappings_ = nullptr;
    std::size_t mapping_count_ = 0;
};

}  // namespace tarnwillow::platform::minidump
