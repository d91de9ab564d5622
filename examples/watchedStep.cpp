// A step that must not take long, a dump when it fails, and what came of it in a file of its own.
#include <tarnwillow/core/guard.h>
#include <tarnwillow/diagnostics/CDeadLockWatcher.h>
#include <tarnwillow/diagnostics/CLogOutputFile.h>
#include <tarnwillow/diagnostics/crashDumps.h>
#include <tarnwillow/text/CAutoAnsiString.h>
#include <tarnwillow/text/CAutoUnicodeString.h>

#include <cstdio>
#include <string>

using namespace tarnwillow;

long step(int const* input) { return *input; }

int main(int argc, char** argv) {
    if (argc != 2) return 2;  // a folder, with a "/" at its end
    const std::string folder = argv[1];
    const CAutoUnicodeString wide_folder(folder.c_str());
    char16_t dump[kCrashDumpPathRoom] = {};

    CDeadLockWatcher watcher;
    watcher.Start_Watch(u"step");
    const long result = filtered_guard(
        [&](EXCEPTION_POINTERS* fault) {
            return WriteCrashDumpFromException(fault, dump, false, wide_folder, nullptr);
        },
        [] { return step(nullptr); }, [] { return -1L; });
    watcher.End_Watch();
    std::printf("dump %s\n", static_cast<char const*>(CAutoAnsiString(dump)));

    CLogOutputFile trace((folder + "trace.txt").c_str());
    trace << "step gave " << result << "\r\n";
}
