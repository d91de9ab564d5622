// Collects the lines of the log, for one test at a time.
#pragma once

#include <string>
#include <vector>

#include "tarnwillow/core/logClassState.h"

namespace tarnwillow::test {

struct LoggedLine {
    int log_class;
    unsigned long thread_id;
    std::u16string text;
    int level;
    bool wide;  // came by the wide procedure
};

/// While it lives, the lines of every class go to it and nowhere else; afterwards every class is
/// off.
class LogCollector {
public:
    LogCollector();
    ~LogCollector();
    LogCollector(const LogCollector&) = delete;
    LogCollector& operator=(const LogCollector&) = delete;

    std::vector<LoggedLine> lines() const;

    /// The texts, each with a "|" behind it.
    std::u16string texts() const;
};

/// Switches a class without the settings store.
void set_log_class(int log_class, bool on);

}  // namespace tarnwillow::test
