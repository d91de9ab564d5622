#include "tarnwillow/core/frame.h"

#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/ole.h"

namespace tarnwillow {

namespace {
void* no_memory() { return nullptr; }
}  // namespace

void* Default_Allocation_ProcPtr(unsigned long size) {
    return reporting_guard(
        ExceptionLevelSerious, u"Default_Allocation_ProcPtr",
        [&] { return ::operator new(size, std::nothrow); }, no_memory);
}

void Default_Free_ProcPtr(void* memory) {
    reporting_guard(
        ExceptionLevelSerious, u"Default_Free_ProcPtr", [&] { ::operator delete(memory); },
        no_recovery);
}

void* __COM_Alloc_Proc(unsigned long size) {
    return reporting_guard(
        ExceptionLevelHandled, u"__COM_Alloc_Proc", [&] { return CoTaskMemAlloc(size); },
        no_memory);
}

void __COM_Free_Proc(void* memory) {
    reporting_guard(
        ExceptionLevelHandled, u"__COM_Free_Proc", [&] { CoTaskMemFree(memory); }, no_recovery);
}

void NullProc() {}

void Debugger() { DebugBreak(); }

namespace detail {

bool has_living_tag(void const* record) {
    return probe_guard(
        [&] {
            return record != nullptr &&
                   *static_cast<volatile std::uint32_t const*>(record) == kTagAlive;
        },
        [] { return false; });
}

}  // namespace detail
}  // namespace tarnwillow
