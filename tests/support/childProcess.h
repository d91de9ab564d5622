// Runs this test binary again as a named child, for what must happen in a process of its own.
#pragma once

#include <string>
#include <string_view>

namespace tarnwillow::test {

struct ChildResult {
    int exit_code;       ///< -1 if a signal ended the child
    int signal;          ///< 0 if it exited by itself
    std::string output;  ///< its standard output and standard error
};

/// Runs the child of that name to its end, with `argument` for it. A child that takes longer than a
/// minute is killed.
ChildResult run_child(std::string_view name, std::string_view argument = {});

/// The same with another copy of this test binary.
ChildResult run_child_of(const std::string& program, std::string_view name,
                         std::string_view argument = {});

using ChildBody = int (*)(std::string_view argument);

/// Registers a child; the body's result is the exit code. Use TARNWILLOW_CHILD.
struct ChildRegistration {
    ChildRegistration(std::string_view name, ChildBody body);
};

/// If the command line names a child, runs it, stores its exit code and gives true.
bool run_named_child(int argc, char** argv, int* exit_code);

}  // namespace tarnwillow::test

/// TARNWILLOW_CHILD(name) { ...; return 0; }   The body sees `argument`.
#define TARNWILLOW_CHILD(name)                                                               \
    static int child_##name(std::string_view argument);                                      \
    static const ::tarnwillow::test::ChildRegistration register_##name{#name, child_##name}; \
    static int child_##name([[maybe_unused]] std::string_view argument)
