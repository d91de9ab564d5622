// A fault at a known line, built for the debugger that looks at its dump.
#pragma once

namespace crash_site {

/// Line of crashSite.cpp that write_through faults at.
extern const int line;

/// Calls a function that writes to address 0.
void outer_function(int number);

}  // namespace crash_site
