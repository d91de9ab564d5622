// The parameter string of a program, taken apart into the arguments that the program receives. No
// shell is asked: nothing in the string is expanded, and no character starts anything.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnwillow::platform {

/// Spaces, tabs and line ends separate arguments, except within double quotes, which are taken
/// away. A backslash stands for itself, but in front of a quote two of them are one, and an odd one
/// makes the quote an ordinary character. A quote left open reaches to the end. `""` is an empty
/// argument. Single quotes are ordinary. Throws std::bad_alloc.
std::vector<std::string> split_arguments(std::string_view text);

}  // namespace tarnwillow::platform
