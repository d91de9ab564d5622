// Commands that need more rights than the program has go through a sibling program.
#include <new>
#include <string>

#include "tarnwillow/automation/comRegistrationUtils.h"
#include "tarnwillow/core/diagnosticEntry.h"
#include "tarnwillow/diagnostics/logClasses.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/argumentText.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/processStart.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kFolderRoom = 256;
constexpr std::uint32_t kPatience = 60000;  // milliseconds

/// Empty without the setting: what runs with the administrator's rights is never searched for.
std::string elevator_path() {
    CRegistry settings;
    char folder[kFolderRoom + 1] = {};
    if (!settings.Open_Application_Key(nullptr, HKEY_LOCAL_MACHINE)) return {};
    if (!settings.Get_Entry("Bin", folder, kFolderRoom) || folder[0] == 0) return {};
    return std::string(folder) + "elevrun.exe";
}

bool call(char const* command_line, bool wait) {
    const std::string elevator = elevator_path();
    _LOG(kLogGeneral, "Administrator_Call: Command Line: \"%s\"", command_line);
    platform::StartedProcess process;
    const bool started =
        !elevator.empty() && process.start(platform::SystemPath(elevator.c_str()).c_str(),
                                           platform::split_arguments(command_line)) == 0;
    if (!started)
        _LOG(kLogGeneral, "Administrator_Call failed to launch: \"%s\" Command Line: \"%s\"",
             elevator.c_str(), command_line);
    else if (wait)
        process.wait(kPatience);
    return started;
}

}  // namespace

bool Administrator_Call(char const* command_line, bool wait) try {
    return call(command_line != nullptr ? command_line : "", wait);
} catch (const std::bad_alloc&) {
    return false;
}

}  // namespace tarnwillow
