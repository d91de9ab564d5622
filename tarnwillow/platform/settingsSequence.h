// The change counter of one hive: a small file, mapped by every process that uses the hive, so that
// a process knows without a call of the system that nothing has changed.
//
// The number is odd while a change is under way. A writer that dies then leaves it odd, and nobody
// trusts what he remembers until the next change ends. What was read from the database may be
// remembered under a number that was even before and is the same behind the reading.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace tarnwillow::platform {

/// The content of the file. Zero bytes are a fresh one.
struct SequencePage {
    std::atomic<std::uint64_t> number;
    std::atomic<std::uint64_t> generation;  ///< raised when another database takes the place
    unsigned char reserved[48];
};
static_assert(sizeof(SequencePage) == 64);
static_assert(std::atomic<std::uint64_t>::is_always_lock_free);

class SettingsSequence {
public:
    SettingsSequence() = default;
    ~SettingsSequence();
    SettingsSequence(const SettingsSequence&) = delete;
    SettingsSequence& operator=(const SettingsSequence&) = delete;

    /// Opens and maps the file, for writing if the account may; makes a missing one with that
    /// access. What is there already stays. False if the file cannot be had.
    bool open(const std::string& path, unsigned access);

    bool is_mapped() const { return page() != nullptr; }

    /// Without a mapping always the same odd number.
    std::uint64_t number() const;
    std::uint64_t generation() const;

    /// Keeps every other process from changing the hive, at most five seconds late. ERROR_BUSY, or
    /// ERROR_ACCESS_DENIED to an account that may not write. The lock ends with its process.
    long lock(bool patient = true);
    void unlock();

    // Under the lock.

    void begin_change();
    void end_change();
    void new_generation();

    /// Sleeps until the number is not `seen`, at most so long.
    void wait(std::uint64_t seen, std::uint32_t milliseconds) const;

    /// Gives up the file, whose lock a forked child would share. The mapping stays.
    void close_file();

private:
    SequencePage* page() const { return page_.load(std::memory_order_acquire); }
    void wake_waiters() const;
    bool set_lock(short type) const;

    // Mapped once, for good; waiters look at it without the hive's lock.
    std::atomic<SequencePage*> page_{nullptr};
    int file_ = -1;
    bool writable_ = false;
};

/// Whether what was read under this number may be remembered.
constexpr bool is_settled(std::uint64_t number) { return (number & 1) == 0; }

}  // namespace tarnwillow::platform
