// The shapes that windows and the desktop are described with. All are in pixels and 32 bits wide,
// since a placement is stored as it stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// A place in pixels.
struct POINT {
    /// Pixels from the left, and from the top.
    std::int32_t x;
    std::int32_t y;
};

/// Right and bottom lie just outside.
struct RECT {
    /// Pixels.
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;
};

/// Where a window stands, and where it will when it is no longer minimised or maximised.
struct WINDOWPLACEMENT {
    std::uint32_t length;   ///< 44, set by whoever asks or sets
    std::uint32_t flags;    ///< kept as given where the system has no meaning for them
    std::uint32_t showCmd;  ///< a command of ShowWindow
    POINT ptMinPosition;    ///< -1, -1 where the system chooses
    POINT ptMaxPosition;    ///< where it stands while maximised; kept as given
    RECT rcNormalPosition;  ///< on the screen, frame included
};
static_assert(sizeof(WINDOWPLACEMENT) == 44 && std::is_trivially_copyable_v<WINDOWPLACEMENT> &&
              offsetof(WINDOWPLACEMENT, showCmd) == 8 &&
              offsetof(WINDOWPLACEMENT, ptMinPosition) == 12 &&
              offsetof(WINDOWPLACEMENT, ptMaxPosition) == 20 &&
              offsetof(WINDOWPLACEMENT, rcNormalPosition) == 28);

/// Commands of ShowWindow.
inline constexpr int SW_HIDE = 0;
inline constexpr int SW_SHOWNORMAL = 1;
inline constexpr int SW_SHOWMINIMIZED = 2;
inline constexpr int SW_SHOWMAXIMIZED = 3;
inline constexpr int SW_SHOW = 5;
inline constexpr int SW_MINIMIZE = 6;
inline constexpr int SW_RESTORE = 9;

}  // namespace tarnwillow
