#include "instancesCommand.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "command.h"
#include "tarnwillow/crossprocess/instanceControl.h"

namespace tarnwillow::cli {

namespace {

bool print_instance(char const* application, char const* qualifier, char const* title, HWND window,
                    bool alive, void*) {
    std::printf("%s\t%s\t%s\t0x%08" PRIxPTR "\t%s\n", application, qualifier, title,
                reinterpret_cast<std::uintptr_t>(window), alive ? "alive" : "dead");
    return true;
}

}  // namespace

int instances_command(int argc, char**) {
    if (argc != 0) return kWrongUse;
    if (List_Instances(print_instance, nullptr) >= 0) return 0;
    std::fputs("tarnwillow: the table of instances cannot be reached\n", stderr);
    return 1;
}

}  // namespace tarnwillow::cli
