// Calls of the system for a child that was forked from a process which may be broken. Each goes
// straight to the kernel: the C library's own functions may take a lock or the heap that another
// thread of the process left in the middle of a change, or act on a cancellation.
#pragma once

#include <fcntl.h>
#include <linux/futex.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>

namespace tarnwillow::platform::child {

inline int open_to_read(char const* path) {
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC));
}
inline void close_file(int file) { syscall(SYS_close, file); }
inline ssize_t read_some(int file, void* bytes, std::size_t size) {
    return syscall(SYS_read, file, bytes, size);
}
inline ssize_t read_at(int file, void* bytes, std::size_t size, std::uint64_t position) {
    return syscall(SYS_pread64, file, bytes, size, position);
}
/// By the kernel, so that an address without memory is a failure and no fault.
inline ssize_t read_own_memory(std::uint64_t address, void* bytes, std::size_t size) {
    const iovec to{bytes, size};
    const iovec from{reinterpret_cast<void*>(address), size};
    return syscall(SYS_process_vm_readv, syscall(SYS_getpid), &to, 1L, &from, 1L, 0L);
}
inline ssize_t write_at(int file, void const* bytes, std::size_t size, std::uint64_t position) {
    return syscall(SYS_pwrite64, file, bytes, size, position);
}
inline bool set_size(int file, std::uint64_t size) {
    return syscall(SYS_ftruncate, file, size) == 0;
}

/// Zeroed memory that goes with the child; null without memory.
inline void* pages(std::size_t size) {
    const long address = syscall(SYS_mmap, nullptr, size, PROT_READ | PROT_WRITE,
                                 MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0L);
    return address == -1 ? nullptr : reinterpret_cast<void*>(address);
}
inline void free_pages(void* address, std::size_t size) { syscall(SYS_munmap, address, size); }

/// Zeroed objects in pages of their own. Touched pages only cost memory.
template <class T>
T* objects(std::size_t count) {
    return static_cast<T*>(pages((count + 1) * sizeof(T)));
}

inline std::int64_t milliseconds() {
    timespec now{};
    syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}
inline void pause_for(std::int64_t milliseconds) {
    const timespec span{milliseconds / 1000, milliseconds % 1000 * 1000000};
    syscall(SYS_nanosleep, &span, nullptr);
}

/// Waits until the number is no longer `seen`, a wake-up comes, or the time is over.
inline void wait_for_change(std::uint32_t const* number, std::uint32_t seen,
                            std::int64_t milliseconds) {
    const timespec span{milliseconds / 1000, milliseconds % 1000 * 1000000};
    syscall(SYS_futex, number, FUTEX_WAIT, seen, &span, nullptr, 0);
}
inline void wake(std::uint32_t const* number) {
    syscall(SYS_futex, number, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

[[noreturn]] inline void leave(int result) {
    for (;;)
        syscall(SYS_exit_group, result);
}

}  // namespace tarnwillow::platform::child
