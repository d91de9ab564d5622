#include "tarnwillow/platform/comThread.h"

#include <atomic>

namespace tarnwillow {

namespace {

std::atomic<ComThreadHook> com_hook{nullptr};
thread_local std::uint32_t depth = 0;

void tell(bool entering) {
    if (const ComThreadHook hook = com_hook) hook(entering);
}

}  // namespace

std::int32_t CoInitialize(void*) {
    if (++depth > 1) return 1;
    tell(true);
    return 0;
}

void CoUninitialize() {
    if (depth > 0 && --depth == 0) tell(false);
}

ComThreadHook Set_COM_Thread_Hook(ComThreadHook hook) { return com_hook.exchange(hook); }

}  // namespace tarnwillow
