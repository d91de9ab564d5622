// The command "log".
#pragma once

namespace tarnwillow::cli {

/// Lists the log classes as the settings store has them, switches one there, or follows the lines.
int log_command(int argc, char** argv);

}  // namespace tarnwillow::cli
