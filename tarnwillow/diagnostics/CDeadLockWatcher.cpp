#include "tarnwillow/diagnostics/CDeadLockWatcher.h"

#include <algorithm>
#include <atomic>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/events.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/handles.h"
#include "tarnwillow/platform/messageBox.h"
#include "tarnwillow/platform/threadStack.h"
#include "tarnwillow/platform/threads.h"
#include "tarnwillow/platform/waits.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

bool CDeadLockWatcher::m_EnableWatcher = false;
int CDeadLockWatcher::m_Timeout = -1;

namespace {

constexpr long kShortestTimeout = 2000;  // milliseconds
constexpr std::size_t kMostFrames = 64;
constexpr std::size_t kTextRoom = 1024;

// Watchers read what the constructors of other objects may just be setting.
bool enabled() { return std::atomic_ref(CDeadLockWatcher::m_EnableWatcher).load(); }
int timeout() { return std::atomic_ref(CDeadLockWatcher::m_Timeout).load(); }

void read_settings() {
    CRegistry settings;
    bool enable = false;
    settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Get_Entry("_EnableDeadlockWatcher", &enable);
    if (enable) {
        long milliseconds = 0;
        settings.Get_Entry("_DeadlockWatcherTimeout", &milliseconds);
        std::atomic_ref(CDeadLockWatcher::m_Timeout)
            .store(static_cast<int>(std::max(milliseconds, kShortestTimeout)));
    }
    std::atomic_ref(CDeadLockWatcher::m_EnableWatcher).store(enable);
}

void log_stack(unsigned long thread_id) {
    void* frames[kMostFrames];
    const std::size_t count =
        platform::thread_stack(static_cast<std::uint32_t>(thread_id), frames, kMostFrames);
    for (std::size_t i = 0; i < count; ++i) {
        char line[kTextRoom];
        platform::describe_frame(frames[i], line, sizeof line);
        _LOG(kConnectionHandlerThreads, "    #%d %s", static_cast<int>(i), line);
    }
}

}  // namespace

CDeadLockWatcher::CDeadLockWatcher() {
    if (timeout() == -1) read_settings();
}

CDeadLockWatcher::~CDeadLockWatcher() {
    stop();
    if (stop_event != nullptr) CloseHandle(stop_event);
}

void CDeadLockWatcher::Start_Watch(char16_t const* name) {
    if (!enabled()) return;
    End_Watch();
    watched_thread = GetCurrentThreadId();
    const bool named = name != nullptr && name[0] != 0;
    wide::copy(watch_name, kNameRoom, named ? name : u"-UNNAMED DEADLOCK WATCH!-");
    if (stop_event != nullptr) CloseHandle(stop_event);
    stop_event = CreateEventW(nullptr, true, false, nullptr);
    if (stop_event == nullptr) return;
    const auto enter = [](void* self) {
        return Watcher_Entrypoint(static_cast<CDeadLockWatcher*>(self));
    };
    watcher_thread = _beginthreadex(nullptr, 0, enter, this, 0, &watcher_thread_id);
}

void CDeadLockWatcher::End_Watch() {
    if (enabled()) stop();
}

void CDeadLockWatcher::stop() {
    if (watcher_thread == nullptr) return;
    SetEvent(stop_event);
    WaitForSingleObject(watcher_thread, INFINITE);
    CloseHandle(watcher_thread);
    watcher_thread = nullptr;
}

unsigned int CDeadLockWatcher::Watcher_Entrypoint(CDeadLockWatcher* watcher) {
    reporting_guard(
        ExceptionLevelHandled, u"CDeadLockWatcher::Watcher_Entrypoint",
        [&] { watcher->_Watcher_Entrypoint(); }, no_recovery);
    return 0;
}

void CDeadLockWatcher::_Watcher_Entrypoint() {
    const auto time_is_up = [this] {
        return WaitForSingleObject(stop_event, static_cast<std::uint32_t>(timeout())) ==
               WAIT_TIMEOUT;
    };
    while (time_is_up() && ask_person()) {
    }
}

/// Whether to wait as long again.
bool CDeadLockWatcher::ask_person() const {
    _LOG(kConnectionHandlerThreads, u"!!!!!!  Potential Deadk Lock   %s !!!!!!!", watch_name);
    if (Log_Class_Enabled(kConnectionHandlerThreads)) log_stack(watched_thread);
    char16_t text[kTextRoom];
    platform::format_text(
        text, kTextRoom,
        u"There is a potential deadlock in thread %d (%s). \r\rOK - Enter debugger\rCancel - Wait "
        u"some more. (Try cancel at least once)\r\rNote: If you're coming out of sleep and seeing "
        u"this then there is no deadlock. Ignore (Cancel) always in that case",
        watched_thread, watch_name);
    const int answer = MessageBoxW(nullptr, text, u"Deadlock Sniffer", MB_OKCANCEL | MB_ICONERROR);
    if (answer == IDOK) DebugBreak();
    return answer == IDCANCEL;
}

}  // namespace tarnwillow
