// What the program's commands have in common.
#pragma once

namespace tarnwillow::cli {

/// The exit code for arguments that a command does not take; the usage is then printed.
inline constexpr int kWrongUse = 2;

struct Command {
    char const* name;

    /// Gets the arguments behind the command's name; gives the exit code.
    int (*run)(int argc, char** argv);

    /// Lines of the form "NAME ARGUMENTS   what it does".
    char const* usage;
};

}  // namespace tarnwillow::cli
