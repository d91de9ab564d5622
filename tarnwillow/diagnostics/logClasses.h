// The table of log classes.
#pragma once

#include <cstdint>

#include "tarnwillow/core/logClassState.h"

namespace tarnwillow {

/// The class of what no other fits; exception reports go there.
inline constexpr int kLogUncategorized = 0;

/// Rights of the process, calls that ask for more of them, broadcasts.
inline constexpr int kLogGeneral = 14;

namespace detail {

struct LogClassRow {
    std::int32_t id;       ///< the class number; -1 in the end row
    char16_t tag[16];      ///< short form, empty for most
    char16_t name[64];     ///< also the name of the class's value in the settings store
    std::int32_t enabled;  ///< what a store without a value gets
};

/// Ends with a row of id -1 and no name.
extern TARNWILLOW_API const LogClassRow log_class_rows[kLogClassCount + 1];

}  // namespace detail
}  // namespace tarnwillow
