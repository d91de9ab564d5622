// The report of a fault that a guard has caught: one line of the log always, and a dump and a box
// as far as the setting ExceptionHandlerLevel asks for them.
#include <atomic>
#include <cerrno>
#include <new>

#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/crashDumps.h"
#include "tarnwillow/diagnostics/exceptionObserver.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/localTime.h"
#include "tarnwillow/platform/messageBox.h"

namespace tarnwillow {

namespace detail {
std::atomic<ExceptionObserver> exception_observer{nullptr};
}

namespace {

constexpr std::uint32_t kNormalDump = 0x80000000;
constexpr std::size_t kTextRoom = 1024;

std::atomic<bool> setting_known{false};
std::atomic<std::uint32_t> known_setting{0};

// A fault while the setting is being read must not read it again.
[[gnu::tls_model("initial-exec")]] constinit thread_local bool reading_setting = false;

// On the heap, so that a fault in here skips no destructor: it costs one object, once.
void read_setting() {
    auto* registry = new (std::nothrow) CRegistry;
    long value = 0;
    if (registry != nullptr && registry->Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE) &&
        registry->Get_Entry("ExceptionHandlerLevel", &value))
        known_setting = static_cast<std::uint32_t>(value);
    delete registry;
}

// The first question for the time loads the time zone, which takes the heap.
void prepare_clock() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
}

// Several threads that fault in the first moment may all read it, with one result.
std::uint32_t exception_setting() {
    if (setting_known || reading_setting) return known_setting;
    reading_setting = true;
    probe_guard(
        [] {
            read_setting();
            prepare_clock();
        },
        no_recovery);
    reading_setting = false;
    setting_known = true;
    return known_setting;
}

struct LevelReport {
    ExceptionLevel level;
    std::uint32_t bit;
    char16_t const* suffix;
};

constexpr LevelReport kLevels[] = {
    {ExceptionLevelSerious, 1, u"\r\rThis is a serious error. Recovery is not likely"},
    {ExceptionLevelValidation, 2,
     u"\r\rThis is an internal validation failure. Recovery is possible but this still indicates a "
     u"problem."},
    {ExceptionLevelHandled, 4,
     u"\r\rThis is an exception that will be handled. It may indicate a problem but you will be "
     u"able to recover."},
};

/// What the box adds for that level; null if the setting does not ask for a report. A level beyond
/// the three is reported at every setting but 0.
char16_t const* suffix_of(ExceptionLevel level, std::uint32_t setting) {
    if (setting == 0) return nullptr;
    for (const LevelReport& known : kLevels)
        if (known.level == level) return (setting & known.bit) != 0 ? known.suffix : nullptr;
    return u"";
}

void write_dump_and_show(char16_t const* name, EXCEPTION_POINTERS* pointers, bool full_memory,
                         char16_t const* suffix) {
    char16_t path[kCrashDumpPathRoom] = {};
    char16_t text[kTextRoom];
    _LOG(0, "Crash dump attempted");
    if (WriteCrashDump(pointers, path, full_memory, nullptr, nullptr))
        platform::format_text(
            text, kTextRoom,
            u"Win32 Exception in function %s. A crash log has been generated.\r\rThe file is "
            u"located here:\r%s\r\rPlease include that file along with a screenshot of this in the "
            u"bug you are about to create/update.%s",
            name, path, suffix);
    else
        platform::format_text(text, kTextRoom, u"Win32 Exception in function %s.%s", name, suffix);
    MessageBoxW(nullptr, text, u"Exception", MB_ICONERROR);
}

/// What the thread had noted of its last failed call is not the report's to change.
class KeptErrors {
public:
    KeptErrors() = default;
    ~KeptErrors() {
        errno = number_;
        SetLastError(last_);
    }
    KeptErrors(const KeptErrors&) = delete;
    KeptErrors& operator=(const KeptErrors&) = delete;

private:
    const int number_ = errno;
    const std::uint32_t last_ = GetLastError();
};

}  // namespace

int Handle_Exception(ExceptionLevel level, char16_t const* name, EXCEPTION_POINTERS* pointers,
                     int result) {
    const KeptErrors kept;
    if (const auto observer = detail::exception_observer.load()) observer(level, name, pointers);
    const std::uint32_t setting = exception_setting();
    _LOG(0, u"Win32 Exception in function %s.", name);
    if (char16_t const* const suffix = suffix_of(level, setting))
        write_dump_and_show(name, pointers, (setting & kNormalDump) == 0, suffix);
    return result;
}

}  // namespace tarnwillow
