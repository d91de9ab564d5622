#pragma once

#include <cstddef>

#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

/// The title in UTF-8, as WindowProvider::title gives it.
std::size_t title_of(Connection& connection, xcb_window_t window, char* dest, std::size_t size);

/// False if there is no such window.
bool give_title(Connection& connection, xcb_window_t window, char const* title);

}  // namespace tarnwillow::platform::x11
