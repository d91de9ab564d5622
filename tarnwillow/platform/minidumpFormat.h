// Byte layouts of minidump files, each declared here and nowhere else.
//
// The streams and records are those of the format's public documentation (MINIDUMP_HEADER and the
// structures it leads to), with the same sizes and field order as in LLVM's
// BinaryFormat/Minidump.h. The streams of /proc files and the build-id record are the additions by
// which today's readers of Linux dumps find what a Linux process has: LLDB's minidump plug-in and
// Crashpad's minidump/ read them. All numbers are little-endian; all positions in the file have 32
// bits but for those of the 64-bit memory list.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform::minidump {

#pragma pack(push, 4)  // 64-bit fields stand at multiples of 4

inline constexpr std::uint32_t kSignature = 0x504D444D;  // "MDMP"
inline constexpr std::uint32_t kVersion = 0xA793;

enum class StreamType : std::uint32_t {
    ThreadList = 3,
    ModuleList = 4,
    MemoryList = 5,
    Exception = 6,
    SystemInfo = 7,
    Memory64List = 9,
    MiscInfo = 15,
    ThreadNames = 24,
    LinuxProcStatus = 0x47670004,
    LinuxCmdLine = 0x47670006,
    LinuxAuxv = 0x47670008,
    LinuxMaps = 0x47670009,
};

struct Location {
    std::uint32_t size;
    std::uint32_t position;
};
static_assert(sizeof(Location) == 8);

struct Header {
    std::uint32_t signature;
    std::uint32_t version;
    std::uint32_t stream_count;
    std::uint32_t directory_position;
    std::uint32_t checksum;  // 0: readers do not look at it
    std::uint32_t time;      // seconds since 1970
    std::uint64_t flags;     // the dump's type
};
static_assert(sizeof(Header) == 32 && offsetof(Header, flags) == 24);

struct DirectoryEntry {
    StreamType type;
    Location location;
};
static_assert(sizeof(DirectoryEntry) == 12);

/// Memory at `start`, whose bytes stand at the location.
struct MemoryRange {
    std::uint64_t start;
    Location location;
};
static_assert(sizeof(MemoryRange) == 16);

/// Begins the 64-bit memory list; the bytes of all ranges follow one another at `position`.
struct Memory64Head {
    std::uint64_t range_count;
    std::uint64_t position;
};
static_assert(sizeof(Memory64Head) == 16);

struct Memory64Range {
    std::uint64_t start;
    std::uint64_t size;
};
static_assert(sizeof(Memory64Range) == 16);

struct Thread {
    std::uint32_t id;
    std::uint32_t suspend_count;
    std::uint32_t priority_class;
    std::uint32_t priority;
    std::uint64_t environment_block;
    MemoryRange stack;
    Location context;
};
static_assert(sizeof(Thread) == 48 && offsetof(Thread, stack) == 24);

struct ThreadName {
    std::uint32_t id;
    std::uint64_t position;  // of a Text
};
static_assert(sizeof(ThreadName) == 12);

struct Module {
    std::uint64_t base;
    std::uint32_t size;
    std::uint32_t checksum;
    std::uint32_t time;
    std::uint32_t name_position;  // of a Text
    std::uint32_t version_information[13];
    Location code_view;  // a BuildId
    Location miscellaneous;
    std::uint64_t reserved[2];
};
static_assert(sizeof(Module) == 108 && offsetof(Module, code_view) == 76);

/// A text is its length in bytes, then UTF-16 units and a terminator that is not counted.
struct TextHead {
    std::uint32_t bytes;
};
static_assert(sizeof(TextHead) == 4);

/// Begins a module's build-id record; the bytes of the id follow.
struct BuildIdHead {
    std::uint32_t signature;
};
inline constexpr std::uint32_t kBuildIdSignature = 0x4270454C;  // "BpEL"
static_assert(sizeof(BuildIdHead) == 4);

struct Exception {
    std::uint32_t thread;
    std::uint32_t unused;
    std::uint32_t code;  // signal number
    std::uint32_t flags;
    std::uint64_t record;
    std::uint64_t address;  // the memory asked for if the signal tells it, else the instruction
    std::uint32_t parameter_count;
    std::uint32_t unused_too;
    std::uint64_t parameters[15];
    Location context;
};
static_assert(sizeof(Exception) == 168 && offsetof(Exception, address) == 24 &&
              offsetof(Exception, context) == 160);

struct SystemInfo {
    std::uint16_t architecture;
    std::uint16_t level;
    std::uint16_t revision;
    std::uint8_t processors;
    std::uint8_t product;
    std::uint32_t major;
    std::uint32_t minor;
    std::uint32_t build;
    std::uint32_t platform;
    std::uint32_t version_text_position;  // of a Text
    std::uint16_t suite;
    std::uint16_t reserved;
    std::uint32_t vendor[3];
    std::uint32_t version_information;
    std::uint32_t features;
    std::uint32_t extended_features;
};
inline constexpr std::uint16_t kArchitectureX86_64 = 9;
inline constexpr std::uint32_t kPlatformLinux = 0x8201;
static_assert(sizeof(SystemInfo) == 56 && offsetof(SystemInfo, vendor) == 32);

struct MiscInfo {
    std::uint32_t size;
    std::uint32_t known;
    std::uint32_t process_id;
    std::uint32_t start_time;
    std::uint32_t user_time;
    std::uint32_t kernel_time;
};
inline constexpr std::uint32_t kProcessIdKnown = 1;
static_assert(sizeof(MiscInfo) == 24);

#pragma pack(pop)

/// Registers of an x86-64 thread.
struct alignas(16) ContextX86_64 {
    std::uint64_t homes[6];
    std::uint32_t flags;
    std::uint32_t mxcsr;
    std::uint16_t cs, ds, es, fs, gs, ss;
    std::uint32_t eflags;
    std::uint64_t debug[6];
    std::uint64_t rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi;
    std::uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    std::uint64_t rip;
    std::uint8_t floating_point[512];  // as the instruction fxsave stores it
    std::uint8_t vectors[26 * 16];
    std::uint64_t vector_control;
    std::uint64_t branches[5];
};
inline constexpr std::uint32_t kContextX86_64 = 0x00100000;
inline constexpr std::uint32_t kContextControl = 1, kContextInteger = 2, kContextSegments = 4,
                               kContextFloatingPoint = 8;
static_assert(sizeof(ContextX86_64) == 1232 && offsetof(ContextX86_64, flags) == 0x30 &&
              offsetof(ContextX86_64, cs) == 0x38 && offsetof(ContextX86_64, rax) == 0x78 &&
              offsetof(ContextX86_64, rip) == 0xF8 &&
              offsetof(ContextX86_64, floating_point) == 0x100);

}  // namespace tarnwillow::platform::minidump
