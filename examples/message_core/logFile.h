// The one file that the cores of all processes of an account write to, and from which their lines
// can be followed.
#pragma once

#include <string>

namespace message_core {

/// $TARNWILLOW_LOG_FILE if that is set; "-" there means the terminal (standard error). Else
/// tarnwillow/log.txt below $XDG_STATE_HOME, or below ~/.local/state. Empty if nothing of that is
/// known.
std::string log_file_path();

/// Opens the file, creating it and the folders above it for this account alone if need be. A
/// descriptor to read it or to append to it, or -1.
int open_log_file(const std::string& path, bool append);

}  // namespace message_core
