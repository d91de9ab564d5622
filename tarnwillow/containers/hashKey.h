// Keys of a hash table: every form becomes a measured wide text.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tarnwillow::detail {

/// Units of the longest key and its terminator.
inline constexpr std::size_t kKeyRoom = 256;

/// A wide key, measured. The text is the caller's.
struct HashKey {
    char16_t const* text;  ///< null: no key, or a number that cannot be one
    std::uint32_t length;  ///< units; kKeyRoom if the text does not end before that
    std::uint32_t hash;    ///< mixed hash of the units

    bool fits() const { return text != nullptr && length < kKeyRoom; }
};

/// Length and hash in one pass. Never looks behind the terminator, nor at more than kKeyRoom units.
HashKey measure_key(char16_t const* text);

/// A key from UTF-8. One that becomes too long is measured as any too long key is.
class NarrowHashKey {
public:
    explicit NarrowHashKey(char const* text);
    operator HashKey() const { return measured_; }  // NOLINT(google-explicit-constructor)
    NarrowHashKey(const NarrowHashKey&) = delete;
    NarrowHashKey& operator=(const NarrowHashKey&) = delete;

private:
    char16_t units_[kKeyRoom];
    HashKey measured_;
};

/// Units that a number takes at most, with sign room and terminator.
inline constexpr std::size_t kNumberRoom = 11;

/// Writes the 32-bit pattern of `number` in lower-case hexadecimal without leading zeros, and gives
/// `buffer`, which has room for kNumberRoom units. A number outside -2^31 to 2^32-1 gives null.
char16_t const* write_number(long number, char16_t* buffer);

}  // namespace tarnwillow::detail
