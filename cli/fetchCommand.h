// The command "fetch". Results are exit codes.
#pragma once

namespace tarnwillow::cli {

/// Asks for a URL. Tells the answer's status, and where a redirect leads, on standard error; writes
/// the body to `file`, or to standard output if that is null. 0 if the body arrived whole and the
/// status is below 400, else 1.
int fetch(char const* url, char const* file);

}  // namespace tarnwillow::cli
