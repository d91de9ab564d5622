// A thread that works until it is told to stop, and a fault in its work that costs no more than
// that.
#include <tarnwillow/core/CAutoWait.h>
#include <tarnwillow/core/CEasyCriticalSection.h>
#include <tarnwillow/core/guard.h>
#include <tarnwillow/core/threads.h>
#include <tarnwillow/platform/events.h>
#include <tarnwillow/platform/handles.h>

#include <cstdio>

using namespace tarnwillow;

struct Work {
    CEasyCriticalSection section{u"work"};
    HANDLE stop = CreateEventA(nullptr, true, false, nullptr);
    HANDLE done = CreateEventA(nullptr, true, false, nullptr);
    int units = 0;
};

// A caller's callback, which may be wrong.
long weigh(int const* unit) { return *unit; }

unsigned int run(void* argument) {
    auto* const work = static_cast<Work*>(argument);
    int unit = 1;
    for (int const* next : {&unit, static_cast<int*>(nullptr), &unit}) {
        const CAutoSectionLock lock(work->section, u"run", u"");
        work->units +=
            static_cast<int>(probe_guard([&] { return weigh(next); }, [] { return 0L; }));
    }
    SetEvent(work->done);
    HANDLE wanted[] = {work->stop, nullptr};
    return CAutoWait(false, wanted, 0xFFFFFFFF, false, false).Get_Signaled() == work->stop ? 0 : 1;
}

int main() {
    Work work;
    void* const thread = New_Thread(run, &work, "worker", 0, nullptr, true);
    if (thread == nullptr) return 1;
    HANDLE wanted[] = {work.done, nullptr};
    if (CAutoWait(false, wanted, 10000, false, false).Get_Result() != 0) return 1;
    const bool by_itself = End_Thread(thread, work.stop, 10000);
    std::printf("%d units, %s\n", work.units, by_itself ? "ended" : "stopped by force");
    CloseHandle(work.done);
    CloseHandle(work.stop);
}
