// Collects the reports that guards make, for one test at a time.
#pragma once

#include <string>
#include <vector>

#include "tarnwillow/core/diagnosticEntry.h"

namespace tarnwillow::test {

struct Report {
    ExceptionLevel level;
    std::u16string name;
    unsigned code;
    bool has_context;  // the processor's state at the fault was at hand
};

/// While it lives, every report of the process is noted.
class ReportCollector {
public:
    ReportCollector();
    ~ReportCollector();
    ReportCollector(const ReportCollector&) = delete;
    ReportCollector& operator=(const ReportCollector&) = delete;

    std::vector<Report> reports() const;

    /// Names of the reports, joined by commas.
    std::u16string names() const;
};

/// Writes to address 0, where neither the compiler nor a sanitizer can see it coming.
void fault();

/// Whether the suite runs under a sanitizer whose own runtime stops a bad free or a bad string
/// read.
constexpr bool address_checks() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
    return true;
#else
    return false;
#endif
#else
    return false;
#endif
}

}  // namespace tarnwillow::test
