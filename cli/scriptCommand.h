// The command "script".
#pragma once

namespace tarnwillow::cli {

/// Runs a script with the objects out, log, settings and xml in it; docs/automation.md tells what
/// they have. A failure is one line on standard error.
int script_command(int argc, char** argv);

}  // namespace tarnwillow::cli
