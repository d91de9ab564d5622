#include "tarnwillow/platform/systemLibraries.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "tarnwillow/platform/minidump.h"
#include "tarnwillow/platform/processList.h"
#include "tarnwillow/platform/registry.h"
#include "tarnwillow/platform/threads.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow::platform {

namespace {

template <class Procedure>
void* address_of(Procedure* procedure) {
    return reinterpret_cast<void*>(procedure);
}

// A procedure becomes reachable by a row of its own; its header declares it.
const SystemProcedure kProcedures[] = {
    {"dbghelp.dll", "MiniDumpWriteDump", address_of(MiniDumpWriteDump)},
    {"kernel32.dll", "CreateToolhelp32Snapshot", address_of(CreateToolhelp32Snapshot)},
    {"kernel32.dll", "Process32First", address_of(Process32First)},
    {"kernel32.dll", "Process32Next", address_of(Process32Next)},
    {"ntdll.dll", "NtQueryInformationThread", address_of(NtQueryInformationThread)},
    {"Shlwapi.dll", "SHDeleteKeyA", address_of(SHDeleteKeyA)},
    {"Shlwapi.dll", "SHDeleteKeyW", address_of(SHDeleteKeyW)},
    {"User32.dll", "EnumDisplayMonitors", address_of(EnumDisplayMonitors)},
};

template <class Condition>
SystemProcedure const* find(Condition condition) {
    const auto* const end = std::end(kProcedures);
    const auto* const found = std::find_if(std::begin(kProcedures), end, condition);
    return found != end ? found : nullptr;
}

bool is_in(const SystemProcedure& procedure, char const* library) {
    return strcasecmp(procedure.library, library) == 0;
}

}  // namespace

SystemProcedure const* find_system_library(char const* library) {
    return find([=](const SystemProcedure& listed) { return is_in(listed, library); });
}

void* find_system_procedure(char const* library, char const* name) {
    const auto* const found = find([=](const SystemProcedure& listed) {
        return is_in(listed, library) && std::strcmp(listed.name, name) == 0;
    });
    return found != nullptr ? found->address : nullptr;
}

}  // namespace tarnwillow::platform
