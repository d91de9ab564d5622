// The command "instances".
#pragma once

namespace tarnwillow::cli {

/// Prints a line for each record of a running instance.
int instances_command(int argc, char** argv);

}  // namespace tarnwillow::cli
