// The command "table".
#pragma once

namespace tarnwillow::cli {

/// Shows and changes the atoms of a shared table that other processes use.
int table_command(int argc, char** argv);

}  // namespace tarnwillow::cli
