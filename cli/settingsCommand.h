// The command "settings". Results are exit codes: 0, or 1 after one line on standard error.
#pragma once

namespace tarnwillow::cli {

/// Reads and writes the settings that every program of the library uses.
int settings_command(int argc, char** argv);

}  // namespace tarnwillow::cli
