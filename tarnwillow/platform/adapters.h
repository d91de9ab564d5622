// The machine's network adapters.
#pragma once

#include <cstdint>
#include <vector>

namespace tarnwillow::platform {

/// The kinds and states that adapters have, by their numbers in the interfaces table (RFC 2863).
inline constexpr std::uint32_t kAdapterOther = 1;
inline constexpr std::uint32_t kAdapterEthernet = 6;
inline constexpr std::uint32_t kAdapterLoopback = 24;
inline constexpr std::uint32_t kAdapterWireless = 71;

inline constexpr std::uint32_t kAdapterUp = 1;
inline constexpr std::uint32_t kAdapterDown = 2;

struct Adapter {
    std::uint32_t index;  ///< from 1
    std::uint32_t kind;
    std::uint32_t state;  ///< 1 to 7
    std::uint8_t address[16];
    std::uint32_t address_size;  ///< bytes; 0 if it has none
};

/// All adapters in the order of their indexes; none if the system does not tell. Throws
/// std::bad_alloc.
std::vector<Adapter> list_adapters();

}  // namespace tarnwillow::platform
