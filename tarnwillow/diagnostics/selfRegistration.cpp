#include "tarnwillow/diagnostics/selfRegistration.h"

#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/lastError.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/processStart.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

using ServerEntry = std::int32_t (*)();

constexpr std::uint32_t kProgramPatience = 10000;  // milliseconds

long call_server_entry(char16_t const* path, char const* entry_name, char16_t const* operation) {
    const HINSTANCE module = LoadLibraryW(path);
    if (module == nullptr) return GetLastError();
    const auto entry = reinterpret_cast<ServerEntry>(GetProcAddress(module, entry_name));
    long result = E_INVALIDARG;
    if (entry != nullptr)
        result = reporting_guard(
            ExceptionLevelHandled, operation, [&] { return long{entry()}; }, [] { return E_FAIL; });
    FreeLibrary(module);
    return result;
}

void run_with_switch(char16_t const* path, char const* the_switch) {
    const platform::SystemPath program(path);
    if (program.empty()) return;
    platform::StartedProcess process;
    try {
        process.start(program.c_str(), {the_switch});
    } catch (const std::bad_alloc&) {
        return;
    }
    if (process.wait(kProgramPatience) == platform::ProcessWait::timed_out) process.kill();
}

}  // namespace

long Register_DLL(char16_t const* path) {
    return call_server_entry(path, "DllRegisterServer", u"Register_DLL");
}

long Unregister_DLL(char16_t const* path) {
    return call_server_entry(path, "DllUnregisterServer", u"Unregister_DLL");
}

long Register_Executable(char16_t const* path) {
    if (path != nullptr && wide::compare_no_case(path, u"regrun.exe") != 0)
        run_with_switch(path, "/register");
    return S_OK;
}

long Unregister_Executable(char16_t const* path) {
    run_with_switch(path, "/unregister");
    return S_OK;
}

}  // namespace tarnwillow
