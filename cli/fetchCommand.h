// The command "fetch".
#pragma once

namespace tarnwillow::cli {

/// Asks for a URL. Tells the answer's status, and where a redirect leads, on standard error; writes
/// the body to the file behind "-o", or to standard output. 0 if the body arrived whole and the
/// status is below 400, else 1.
int fetch_command(int argc, char** argv);

}  // namespace tarnwillow::cli
