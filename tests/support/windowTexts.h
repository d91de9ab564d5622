// What is asked about windows, as text that a test compares.
#pragma once

#include <string>

#include "tarnwillow/platform/windows.h"

namespace tarnwillow::test {

/// A handle as one process writes it and another reads it.
inline HWND to_window(const std::string& number) {
    return reinterpret_cast<HWND>(std::stoul(number));
}

inline std::string title_of(HWND window) {
    char title[256];
    const int length = GetWindowTextA(window, title, sizeof title);
    return {title, static_cast<std::size_t>(length)};
}

/// "left,top widthxheight"
inline std::string text(const RECT& r) {
    return std::to_string(r.left) + "," + std::to_string(r.top) + " " +
           std::to_string(r.right - r.left) + "x" + std::to_string(r.bottom - r.top);
}

inline std::string place_of(HWND window) {
    RECT place{};
    return GetWindowRect(window, &place) ? text(place) : "none";
}

}  // namespace tarnwillow::test
