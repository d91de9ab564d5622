// The command "script" of a program that was built where no script engine is installed.
#include <cstdio>

#include "scriptCommand.h"

namespace tarnwillow::cli {

int script_command(int, char**) {
    std::fputs("tarnwillow: this program was built without a script engine\n", stderr);
    return 1;
}

}  // namespace tarnwillow::cli
