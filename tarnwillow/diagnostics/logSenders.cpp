// The default output procedures: a line becomes a record on the stack, and the record goes to the
// message core on the same thread.
#include <algorithm>
#include <cstring>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/diagnostics/logOutput.h"
#include "tarnwillow/diagnostics/messageCoreLoad.h"
#include "tarnwillow/diagnostics/messageRecord.h"
#include "tarnwillow/platform/debugOutput.h"
#include "tarnwillow/platform/localTime.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow::detail {

namespace {

static_assert(sizeof(SYSTEMTIME) == sizeof(tarnwillow_record_time));

constexpr bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

/// Copies what fits; a character that does not fit whole is left out. The field is zeroed before.
template <std::size_t room>
void copy_text(char (&field)[room], char const* text) {
    std::size_t length = strnlen(text, room);
    if (length == room) {
        --length;
        while (length > 0 && continues_character(text[length]))
            --length;
    }
    std::memcpy(field, text, length);
}

template <std::size_t room>
void copy_text(std::uint16_t (&field)[room], char16_t const* text) {
    std::size_t length = wide::bounded_length(text, room);
    if (length == room) {
        --length;
        if (wide::is_high_surrogate(text[length - 1])) --length;
    }
    std::memcpy(field, text, length * sizeof(char16_t));
}

void start_record(tarnwillow_log_record& record, int log_class, unsigned long thread_id,
                  int level) {
    std::memset(&record, 0, sizeof record);
    record.log_class = static_cast<std::uint16_t>(log_class);
    record.level = static_cast<std::uint16_t>(level);
    record.thread = static_cast<std::uint32_t>(thread_id);
    SYSTEMTIME now;
    GetLocalTime(&now);
    std::memcpy(&record.time, &now, sizeof now);
}

void warn_of_lost_line() {
    OutputDebugStringW(u"Warning Log Entry caused an exception. Probably because of an errant %");
}

/// Has `fill` complete a record and hands that to the core. The text may be anything: a fault costs
/// the line.
template <class Fill>
void send(int log_class, unsigned long thread_id, int level, long kind, Fill fill) {
    if (log_halted) return;
    const CoreUse core;
    if (!core.ready()) return;
    auto write = [&] {
        tarnwillow_log_record record;
        start_record(record, log_class, thread_id, level);
        fill(record);
        core.queue(&record, sizeof record, 0, kind);
    };
    probe_guard(write, warn_of_lost_line);
}

}  // namespace

void Send_Log_Line_Narrow(int log_class, unsigned long thread_id, char* text, int level) {
    send(log_class, thread_id, level, TARNWILLOW_LOG_ENTRY_NARROW,
         [&](tarnwillow_log_record& record) { copy_text(record.text.narrow, not_null(text)); });
}

void Send_Log_Line_Wide(int log_class, unsigned long thread_id, char16_t* text, int level) {
    send(log_class, thread_id, level, TARNWILLOW_LOG_ENTRY_WIDE,
         [&](tarnwillow_log_record& record) { copy_text(record.text.wide, not_null(text)); });
}

void Send_Named_Log_Line(char16_t const* source, unsigned long thread_id, char16_t const* text,
                         int level) {
    send(TARNWILLOW_NAMED_LINE, thread_id, level, TARNWILLOW_LOG_ENTRY_WIDE,
         [&](tarnwillow_log_record& record) {
             copy_text(record.text.named.source, not_null(source));
             copy_text(record.text.named.text, not_null(text));
         });
}

}  // namespace tarnwillow::detail
