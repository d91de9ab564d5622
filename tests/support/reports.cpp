#include "support/reports.h"

#include "tarnwillow/diagnostics/exceptionObserver.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::test {

namespace {

// Fixed room: the observer runs in a signal handler and must keep off the heap.
constexpr int kRoom = 64;
struct Noted {
    ExceptionLevel level;
    char16_t name[64];
    unsigned code;
    bool has_context;
};
Noted noted[kRoom];
std::atomic<int> count{0};

void note(ExceptionLevel level, char16_t const* name, EXCEPTION_POINTERS* pointers) {
    const int index = count++;
    if (index >= kRoom) return;
    Noted& report = noted[index];
    report.level = level;
    wide::copy(report.name, 64, name);
    report.code = pointers->ExceptionRecord->ExceptionCode;
    report.has_context = pointers->ContextRecord != nullptr;
}

}  // namespace

__attribute__((no_sanitize("undefined"))) void fault() {
    static int* volatile nowhere = nullptr;
    *nowhere = 0;
}

// The first report of a process reads its setting, and keeps what that takes.
ReportCollector::ReportCollector() {
    Handle_Exception(ExceptionLevelHandled, u"", nullptr, 1);
    count = 0;
    detail::exception_observer = note;
}

ReportCollector::~ReportCollector() { detail::exception_observer = nullptr; }

std::vector<Report> ReportCollector::reports() const {
    std::vector<Report> all;
    for (int i = 0; i < count && i < kRoom; ++i)
        all.push_back({noted[i].level, noted[i].name, noted[i].code, noted[i].has_context});
    return all;
}

std::u16string ReportCollector::names() const {
    std::u16string all;
    for (const Report& report : reports())
        all += (all.empty() ? u"" : u",") + report.name;
    return all;
}

}  // namespace tarnwillow::test
