// The monitors, and what is taken away from programs at their edges.
#pragma once

#include <cstddef>

#include "tarnwillow/platform/windowTypes.h"
#include "tarnwillow/platform/x11Connection.h"

namespace tarnwillow::platform::x11 {

// As WindowProvider has them.

std::size_t monitors(Connection& connection, RECT* dest, std::size_t room);
bool task_bar(Connection& connection, RECT* out);

RECT primary_monitor(Connection& connection);

}  // namespace tarnwillow::platform::x11
