#include "support/logCollector.h"

#include <mutex>

#include "tarnwillow/diagnostics/logOutput.h"
#include "tarnwillow/platform/codepage.h"

namespace tarnwillow::test {

namespace {

std::mutex mutex;
std::vector<LoggedLine> collected;

void collect(LoggedLine line) {
    const std::lock_guard hold(mutex);
    collected.push_back(std::move(line));
}

std::u16string widened(std::string_view text) {
    std::u16string wide(text.size(), 0);
    wide.resize(
        platform::narrow_to_wide(text.data(), text.size(), wide.data(), wide.size()).written);
    return wide;
}

void take_narrow(int log_class, unsigned long thread_id, char* text, int level) {
    collect({log_class, thread_id, widened(text), level, false});
}

void take_wide(int log_class, unsigned long thread_id, char16_t* text, int level) {
    collect({log_class, thread_id, text, level, true});
}

void set_all(bool on) {
    for (int i = 0; i < kLogClassCount; ++i)
        set_log_class(i, on);
}

}  // namespace

LogCollector::LogCollector() {
    InitializeDebugMode();
    collected.clear();
    Divert_Log_Output(take_narrow, take_wide);
    set_all(true);
}

LogCollector::~LogCollector() {
    set_all(false);
    Divert_Log_Output(detail::Send_Log_Line_Narrow, detail::Send_Log_Line_Wide);
}

std::vector<LoggedLine> LogCollector::lines() const {
    const std::lock_guard hold(mutex);
    return collected;
}

std::u16string LogCollector::texts() const {
    std::u16string all;
    for (const LoggedLine& line : lines())
        all += line.text + u"|";
    return all;
}

void set_log_class(int log_class, bool on) {
    using detail::LogClassState;
    detail::log_class_states[log_class] = on ? LogClassState::On : LogClassState::Off;
}

}  // namespace tarnwillow::test
