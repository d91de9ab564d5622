#include "tarnwillow/diagnostics/logClasses.h"

#include "tarnwillow/core/unload.h"
#include "tarnwillow/diagnostics/logEcho.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/files/CRegistry.h"

namespace tarnwillow {

namespace detail {

const LogClassRow log_class_rows[kLogClassCount + 1] = {
    {0, u"LDEF", u"Uncategorized", 0},
    {1, u"", u"General Errors and Warnings", 0},
    {2, u"LLOCKS", u"ConnectionHandlerLocking", 0},
    {3, u"LLOCKSEX", u"ConnectionHandlerLockingExtended", 0},
    {4, u"LTHREADS", u"ConnectionHandlerThreads", 0},
    {5, u"LTHREADSEX", u"ConnectionHandlerThreadsExtended", 0},
    {6, u"LIPC", u"Ipc framework", 0},
    {7, u"LIPCEX", u"Ipc framework Extended", 0},
    {8, u"", u"Hollowell_DEFAULT", 0},
    {9, u"", u"Hollowell_API_FUNCTION_CALL", 0},
    {10, u"", u"Hollowell_RESULT_DISPATCH", 0},
    {11, u"", u"Hollowell_DISPATCH_MASTER", 0},
    {12, u"", u"Script Logging", 0},
    {13, u"", u"Hollowell_EXEC_SCRIPT", 0},
    {14, u"", u"Hollowell_QV7162_GENERAL", 0},
    {15, u"", u"Hollowell_QV7162_LEGACY", 0},
    {16, u"", u"Hollowell_QV7162_REFCOUNTING", 0},
    {17, u"", u"Browser", 0},
    {18, u"", u"Ripper", 0},
    {19, u"", u"RipperThreadRecord", 0},
    {20, u"", u"Folders", 0},
    {21, u"", u"TempDebugOut", 0},
    {-1, u"", u"", 0},
};

}  // namespace detail

namespace {

using detail::LogClassRow;
using detail::LogClassState;

std::atomic<bool> load_begun{false};

void set_state(const LogClassRow& row, bool on) {
    detail::log_class_states[row.id].store(on ? LogClassState::On : LogClassState::Off,
                                           std::memory_order_relaxed);
}

bool is_on(CRegistry& store, const LogClassRow& row) {
    long value = 0;
    if (store.Get_Entry(row.name, &value)) return value != 0;
    // Written back, so that a person finds the value and can flip it.
    store.Set_Entry(row.name, static_cast<long>(row.enabled != 0));
    return row.enabled != 0;
}

// What the load itself logs, and what other threads log meanwhile, meets the defaults.
void load_classes() {
    for (const LogClassRow* row = detail::log_class_rows; row->name[0] != 0; ++row)
        set_state(*row, row->enabled != 0);
    CRegistry store;
    store.Open_Application_Key("Log", HKEY_LOCAL_MACHINE);
    for (const LogClassRow* row = detail::log_class_rows; row->name[0] != 0; ++row)
        set_state(*row, is_on(store, *row));
}

}  // namespace

void InitializeDebugMode() {
    if (load_begun.load(std::memory_order_relaxed)) return;
    if (detail::log_held_back || detail::library_unloading || load_begun.exchange(true)) return;
    detail::choose_log_echo();
    try {
        load_classes();
    } catch (long) {  // without memory the classes stay at their defaults
    }
}

bool Log_Class_Enabled(int log_class) { return detail::class_enabled(log_class); }

}  // namespace tarnwillow
