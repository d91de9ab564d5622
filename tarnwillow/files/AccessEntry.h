#pragma once

#include <cstdint>

namespace tarnwillow {

/// What one group may do, for access lists.
struct AccessEntry {
    std::uint32_t relative_id;  ///< a group of the built-in domain; 544: the administrators
    /// Rights to read, write, append and execute, the general ones, or full access.
    std::uint32_t access_mask;
    std::uint8_t flags;  ///< how the entry is inherited
};

}  // namespace tarnwillow
