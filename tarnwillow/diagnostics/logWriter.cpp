// The start of the log writer, and the set-up that an installation may have left out.
#include <new>
#include <string>

#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/diagnostics/messages.h"
#include "tarnwillow/diagnostics/selfRegistration.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/files/privileges.h"
#include "tarnwillow/platform/filePath.h"
#include "tarnwillow/platform/modules.h"
#include "tarnwillow/platform/ownText.h"
#include "tarnwillow/platform/processStart.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kTextRoom = 256;

/// What stands in front of the last separator, with it; empty if there is none.
std::string folder_of(const std::string& path) {
    return path.substr(0, path.find_last_of('/') + 1);
}

std::string name_of(const std::string& path) { return path.substr(path.find_last_of('/') + 1); }

void set_up(const std::string& program) {
    const std::string folder = folder_of(program);
    if (folder.size() < 2) return;
    const std::string above = folder_of(folder.substr(0, folder.size() - 1));
    CRegistry settings;
    settings.Create_Application_Key(nullptr, HKEY_LOCAL_MACHINE);
    settings.Set_Entry("Root", above.c_str());
    Register_Executable(platform::widened(folder + "logscrb.exe").c_str());
    Register_DLL(platform::widened(folder + "msgfanin.dll").c_str());
}

bool may_set_up() {
    unsigned long flags = 0;
    CheckOsVersion(flags);
    return (flags & OsVersionMajor6) == 0 ||
           GetVistaProcessIntegriteLevel(nullptr) > kMediumIntegrity;
}

bool read_command(char (&command)[kTextRoom + 1]) {
    CRegistry settings;
    return settings.Create_Application_Key("Log", HKEY_LOCAL_MACHINE) &&
           settings.Get_Entry("__LogWriterApp", command, kTextRoom) && command[0] != 0;
}

void run_log_writer() {
    const std::string program = platform::module_path(nullptr);
    CRegistry settings;
    if (!settings.Open_Application_Key("Log", HKEY_LOCAL_MACHINE)) {
        if (!may_set_up()) return;
        set_up(program);
    }
    char command[kTextRoom + 1] = {};
    if (!read_command(command)) return;
    platform::StartedProcess writer;
    platform::open_file(platform::SystemPath(command), {name_of(program)}, &writer);
}

}  // namespace

void Run_Log_Writer_App(bool) {
    InitializeDebugMode();
    try {
        run_log_writer();
    } catch (const std::bad_alloc&) {  // then there is no log writer
    }
}

}  // namespace tarnwillow
