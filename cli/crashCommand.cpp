#include "crashCommand.h"

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "command.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/crashDumps.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/messageBox.h"
#include "tarnwillow/text/CAutoAnsiString.h"
#include "tarnwillow/text/CAutoUnicodeString.h"

// A sanitizer would stop these faults before they are any.
#define REALLY_FAULTS __attribute__((no_sanitize("undefined"), noinline))

namespace tarnwillow::cli {

namespace {

// Read at run time only, so that the optimiser cannot see the faults coming.
int* volatile nowhere = nullptr;
volatile int dividend = 100;
volatile int zero = 0;
volatile int result = 0;

REALLY_FAULTS void write_to_null() { *nowhere = 1; }
REALLY_FAULTS void divide_by_zero() { result = dividend / zero; }
REALLY_FAULTS int overflow_stack(int depth) {
    if (zero != 0) return depth;
    volatile char frame[4096];
    frame[depth % 4096] = 1;
    return overflow_stack(depth + 1) + frame[0];
}
void overflow() { result = overflow_stack(0); }
void throw_status() { throw E_OUTOFMEMORY; }

struct Kind {
    char const* name;
    void (*fault)();
};
constexpr Kind kKinds[] = {{"null", write_to_null},
                           {"divide", divide_by_zero},
                           {"stack", overflow},
                           {"breakpoint", DebugBreak},
                           {"throw", throw_status}};

struct Options {
    void (*fault)() = write_to_null;
    int level = ExceptionLevelHandled;
    char const* folder = nullptr;
    bool full = false;
};

bool read_kind(char const* name, Options* options) {
    for (const Kind& kind : kKinds)
        if (std::strcmp(kind.name, name) == 0) {
            options->fault = kind.fault;
            return true;
        }
    return false;
}

bool read_level(char const* digits, Options* options) {
    char const* const end = digits + std::strlen(digits);
    return *digits != 0 && std::from_chars(digits, end, options->level).ptr == end;
}

bool read_options(int argc, char** argv, Options* options) {
    bool good = true;
    for (int i = 0; i < argc && good; ++i) {
        const std::string_view option = argv[i];
        if (option == "--full") {
            options->full = true;
            continue;
        }
        if (++i == argc) return false;
        if (option == "--kind")
            good = read_kind(argv[i], options);
        else if (option == "--level")
            good = read_level(argv[i], options);
        else if (option == "--folder")
            options->folder = argv[i];
        else
            return false;
    }
    return good && (options->folder != nullptr || !options->full);
}

int say_where(char16_t const* path) {
    std::printf("dump: %s\n", static_cast<char const*>(CAutoAnsiString(path)));
    return 0;
}

int say_failure(char const* why) {
    std::fprintf(stderr, "tarnwillow: no dump was written%s\n", why);
    return 1;
}

int write_to_folder(const Options& options) {
    const std::string folder = std::string(options.folder) + "/";
    const CAutoUnicodeString wide_folder(folder.c_str());
    char16_t path[kCrashDumpPathRoom] = {};
    bool written = false;
    filtered_guard(
        [&](EXCEPTION_POINTERS* pointers) {
            written = WriteCrashDump(pointers, path, options.full, wide_folder, nullptr);
            return 1;
        },
        [&] { options.fault(); }, no_recovery);
    return written ? say_where(path) : say_failure("; may this account write to the folder?");
}

/// The text of the box that the report shows, which also tells of the dump.
constexpr std::size_t kBoxRoom = 1024;
char16_t box_text[kBoxRoom] = {};

int keep_box(HWND, char16_t const* text, char16_t const*, std::uint32_t) {
    box_text[std::u16string_view(text).copy(box_text, kBoxRoom - 1)] = 0;
    return IDOK;
}

std::u16string_view path_in_box() {
    constexpr std::u16string_view kLead = u"located here:\r";
    const std::u16string_view text = box_text;
    const std::size_t start = text.find(kLead);
    if (start == std::u16string_view::npos) return {};
    const std::size_t path = start + kLead.size();
    return text.substr(path, text.find(u'\r', path) - path);
}

int report_by_setting(const Options& options) {
    Set_Message_Box_Presenter(keep_box);
    reporting_guard(
        static_cast<ExceptionLevel>(options.level), u"tarnwillow crash", [&] { options.fault(); },
        no_recovery);
    const std::u16string path(path_in_box());
    if (!path.empty()) return say_where(path.c_str());
    if (box_text[0] != 0) return say_failure(" although the setting asks for one");
    return say_failure("; the setting ExceptionHandlerLevel does not ask for one at this level");
}

}  // namespace

int crash_command(int argc, char** argv) {
    Options options;
    if (!read_options(argc, argv, &options)) return kWrongUse;
    return options.folder != nullptr ? write_to_folder(options) : report_by_setting(options);
}

}  // namespace tarnwillow::cli
