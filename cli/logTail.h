#pragma once

namespace tarnwillow::cli {

/// Prints the lines that the account's programs log from now on, until it is interrupted. Where no
/// message core is set, it sets the one that comes with this program.
int tail_log();

}  // namespace tarnwillow::cli
