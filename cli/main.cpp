#include <cstdio>
#include <cstring>

#include "command.h"
#include "crashCommand.h"
#include "fetchCommand.h"
#include "instancesCommand.h"
#include "logCommand.h"
#include "scriptCommand.h"
#include "settingsCommand.h"
#include "tableCommand.h"
#include "xmlCommand.h"

namespace tarnwillow::cli {

namespace {

constexpr Command kCommands[] = {
    {"xml", xml_command,
     "xml FILE|URL                   prints the document's tree\n"
     "xml FILE|URL a/b[/@c]          prints an element's data or an attribute's value\n"},
    {"fetch", fetch_command, "fetch URL [-o FILE]            gets what a web server has there\n"},
    {"settings", settings_command,
     "settings list [KEY]            prints a key's subkeys and values\n"
     "settings get NAME              prints a value\n"
     "settings set NAME VALUE...     writes a value; --type says as what\n"
     "settings delete NAME           deletes a value, or with --key a key and all below it\n"
     "settings export [KEY]          prints all values, in the form that import reads\n"
     "settings import [FILE]         writes what an export printed\n"
     "settings watch [KEY]           prints the changes that others make\n"},
    {"log", log_command,
     "log list                       lists the log classes, and which are on\n"
     "log on CLASS, log off CLASS    switches a class, by number or name, for later processes\n"
     "log tail                       prints the lines of all programs from now on\n"},
    {"script", script_command,
     "script FILE [ENGINE]           runs a script, on the engine duktape or mujs\n"},
    {"crash", crash_command,
     "crash                          faults inside a guard and says where the dump stands\n"
     "crash --kind KIND --level N    kinds: null, divide, stack, breakpoint, throw; level: 0 to 2\n"
     "crash --folder FOLDER [--full] writes the dump there, whatever the setting says\n"},
    {"table", table_command,
     "table list NAME                lists the atoms of a shared table\n"
     "table dump NAME                prints their data in hexadecimal\n"
     "table set NAME TYPE ID TEXT    sets an atom's data, and makes it if need be\n"
     "table delete NAME TYPE ID      deletes an atom\n"
     "table hold NAME                keeps the table in use until its input ends\n"},
    {"instances", instances_command,
     "instances                      lists the running instances\n"},
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
