#include "tarnwillow/diagnostics/messages.h"

#include <cstdlib>
#include <optional>
#include <type_traits>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/logClasses.h"
#include "tarnwillow/diagnostics/messageCoreLoad.h"
#include "tarnwillow/diagnostics/messageRecord.h"
#include "tarnwillow/files/CRegistry.h"
#include "tarnwillow/platform/format.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

using detail::CoreUse;

static_assert(std::is_same_v<MessageListenerProc, tarnwillow_listener>);

using GetMessagesProc = std::int32_t (*)(std::int64_t selector, tarnwillow_listener listener,
                                         void* context, bool flag, void** handle);
using StopMessagesProc = void (*)(void* handle);

constexpr long kNoListening = -1;

// The last separator is taken off; the other one of the two joins only where the folder's own text
// uses it.
struct LogFolder {
    char16_t text[kLogFileNameRoom + 1] = {};
    char separator() const {
        const bool plain = wide::find(text, u'/') != nullptr || wide::find(text, u'\\') == nullptr;
        return plain ? '/' : '\\';
    }
};

bool read_log_folder(LogFolder& folder) {
    CRegistry settings;
    return settings.Open_Application_Key("Log", HKEY_LOCAL_MACHINE) &&
           settings.Get_Entry(u"__LogDirectory", folder.text, kLogFileNameRoom);
}

/// Steps over one number and, but for the last, the point behind it.
bool read_number(char const*& text, bool last, long* number) {
    char* end = nullptr;
    *number = std::strtol(text, &end, 10);
    if (end == text || (!last && *end != '.')) return false;
    text = last ? end : end + 1;
    return true;
}

struct TimeStamp {
    static constexpr int kFields = 6;
    long fields[kFields];
};

std::optional<TimeStamp> read_time_stamp(char const* text) {
    if (text == nullptr) return {};
    TimeStamp stamp{};
    for (int i = 0; i < TimeStamp::kFields; ++i)
        if (!read_number(text, i + 1 == TimeStamp::kFields, &stamp.fields[i])) return {};
    return stamp;
}

enum Order { kUnknown = 0, kSmaller = 1, kEqual = 2, kLarger = 4 };

}  // namespace

long Attach_Message_Listener(long selector, MessageListenerProc listener, void* context, bool flag,
                             void** handle) {
    const CoreUse core;
    if (!core.ready()) return kNoListening;
    const auto attach = reinterpret_cast<GetMessagesProc>(core.entry("Get_Messages"));
    if (attach == nullptr) return kNoListening;
    auto call = [&] { return long{attach(selector, listener, context, flag, handle)}; };
    return reporting_guard(ExceptionLevelHandled, u"Attach_Message_Listener", call,
                           [] { return kNoListening; });
}

void Detach_Message_Listener(void* handle) {
    const CoreUse core(CoreUse::Load::never);
    if (!core.ready()) return;
    const auto stop = reinterpret_cast<StopMessagesProc>(core.entry("Stop_Messages"));
    if (stop == nullptr) return;
    reporting_guard(
        ExceptionLevelHandled, u"Detach_Message_Listener", [&] { stop(handle); }, no_recovery);
}

void Broadcast_Message(long code, char const* data, long length) {
    const CoreUse core;
    if (!core.ready()) return _LOG(kLogGeneral, "**Broadcast_Message Initialization Failed!");
    auto call = [&] { core.queue(data, length, code, TARNWILLOW_BROADCAST_ENTRY); };
    reporting_guard(ExceptionLevelHandled, u"Broadcast_Message", call, no_recovery);
}

bool GetLogFileName(long log_class, char16_t* path) {
    return GetLogFileName(log_class, path, u"xml");
}

bool GetLogFileName(long log_class, char16_t* path, char16_t const* extension) {
    LogFolder folder;
    if (path == nullptr || extension == nullptr) return false;
    if (log_class < 0 || log_class >= kLogClassCount || !read_log_folder(folder)) return false;
    const std::size_t length = wide::length(folder.text);
    if (length == 0) return false;
    const char separator = folder.separator();
    const char16_t last = folder.text[length - 1];
    if (last == u'\\' || last == u'/') folder.text[length - 1] = 0;
    // One more than fits, so that a path that was cut shows.
    char16_t whole[kLogFileNameRoom + 1];
    platform::format_text(whole, kLogFileNameRoom + 1, u"%s%c%d.%s", folder.text, separator,
                          static_cast<int>(log_class), extension);
    if (wide::length(whole) >= kLogFileNameRoom) return false;
    wide::copy(path, kLogFileNameRoom, whole);
    return true;
}

int Compare_Time_Values(char const* left, char const* right) {
    const auto a = read_time_stamp(left);
    const auto b = read_time_stamp(right);
    if (!a || !b) return kUnknown;
    for (int i = 0; i < TimeStamp::kFields; ++i)
        if (a->fields[i] != b->fields[i]) return a->fields[i] < b->fields[i] ? kSmaller : kLarger;
    return kEqual;
}

}  // namespace tarnwillow
