// Stands in for a library "DBGHELP.DLL" beside a program. Its behaviour comes by the environment:
// FAILURES tells how many calls fail before one writes. Each call adds a line to the file CALLS.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#ifndef WITHOUT_PROCEDURE
namespace {
int calls = 0;
}

extern "C" bool MiniDumpWriteDump(void*, std::uint32_t, int file, std::uint32_t type, void const*,
                                  void const*, void const*) {
    std::FILE* log = std::fopen(std::getenv("CALLS"), "a");
    std::fprintf(log, "%u\n", type);
    std::fclose(log);
    if (calls++ < std::atoi(std::getenv("FAILURES"))) return false;
    return write(file, "foreign dump", 12) == 12;
}
#endif
