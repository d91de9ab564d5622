#include <cstdarg>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/logClasses.h"
#include "tarnwillow/diagnostics/logging.h"
#include "tarnwillow/files/privileges.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/messageBox.h"

namespace tarnwillow {

namespace {

constexpr std::size_t kBoxTextRoom = 1025;

char const* integrity_name(unsigned long level) {
    switch (level) {
        case 0:
            return "UNTRUSTED";
        case 0x1000:
            return "LOW";
        case 0x2000:
            return "MEDIUM";
        case 0x3000:
            return "HIGH";
        case 0x4000:
            return "SYSTEM";
        case 0x5000:
            return "PROTECTED PROCESS";
        default:
            return nullptr;
    }
}

void log_integrity(char const* module) {
    const unsigned long level = GetVistaProcessIntegriteLevel(nullptr);
    if (char const* const name = integrity_name(level))
        _LOG(kLogGeneral, "**QV7162 General: Module: \"%s\" Vista Integrity: %s", module, name);
    else
        _LOG(kLogGeneral, "**QV7162 General: Module: \"%s\" Vista Integrity: 0x%x", module, level);
}

}  // namespace

void LogPrivileges(char const* module) {
    InitializeDebugMode();
    _LOG(kLogGeneral, "**QV7162 General: Module: \"%s\" Administrator Privileges: %s", module,
         User_Has_Administrator_Priviledges() ? "true" : "false");
    if (IsVistaOrGreater()) log_integrity(module);
}

void Debug_Message_Box(char const* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    reporting_guard(
        ExceptionLevelHandled, u"Debug_Message_Box",
        [&] {
            char text[kBoxTextRoom];
            platform::format_text_v(text, sizeof text, not_null(format), arguments);
            MessageBoxA(nullptr, text, "Debug Message", MB_SYSTEMMODAL);
        },
        no_recovery);
    va_end(arguments);
}

}  // namespace tarnwillow
