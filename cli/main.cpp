#include <cstdio>
#include <cstring>

#include "command.h"
#include "logCommand.h"
#include "scriptCommand.h"
#include "xmlCommand.h"

namespace tarnwillow::cli {

namespace {

constexpr Command kCommands[] = {
    {"xml", xml_command,
     "xml FILE                       prints the document's tree\n"
     "xml FILE a/b[/@c]              prints an element's data or an attribute's value\n"},
    {"log", log_command,
     "log list                       lists the log classes, and which are on\n"
     "log on CLASS, log off CLASS    switches a class, by number or name, for later processes\n"},
    {"script", script_command,
     "script FILE [ENGINE]           runs a script, on the engine duktape or mujs\n"},
};

void print_usage() {
    char const* lead = "usage:";
    for (const Command& command : kCommands)
        for (char const* line = command.usage; *line != 0;) {
            char const* const end = std::strchr(line, '\n') + 1;
            std::fprintf(stderr, "%-6s tarnwillow %.*s", lead, static_cast<int>(end - line), line);
            lead = "";
            line = end;
        }
}

int run(int argc, char** argv) {
    for (const Command& command : kCommands)
        if (argc > 1 && std::strcmp(argv[1], command.name) == 0)
            return command.run(argc - 2, argv + 2);
    return kWrongUse;
}

}  // namespace

}  // namespace tarnwillow::cli

int main(int argc, char** argv) {
    const int exit_code = tarnwillow::cli::run(argc, argv);
    if (exit_code == tarnwillow::cli::kWrongUse) tarnwillow::cli::print_usage();
    return exit_code;
}
