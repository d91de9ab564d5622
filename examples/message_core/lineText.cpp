#include "lineText.h"

#include <errno.h>
#include <pthread.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

namespace message_core {

namespace {

constexpr bool is_high_surrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool is_low_surrogate(uint32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }
constexpr bool is_surrogate(uint32_t unit) { return unit >= 0xD800 && unit <= 0xDFFF; }

// Asking the kernel would cost as much as all the rest of a line but its write.
std::atomic<pid_t> process{0};

pid_t process_id() {
    static const int notice_forks =
        pthread_atfork(nullptr, nullptr, [] { process.store(0, std::memory_order_relaxed); });
    pid_t id = process.load(std::memory_order_relaxed);
    if (id == 0 || notice_forks != 0) process.store(id = getpid(), std::memory_order_relaxed);
    return id;
}

tarnwillow_record_time time_now() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm local{};
    localtime_r(&now.tv_sec, &local);
    const auto narrow = [](int number) { return static_cast<uint16_t>(number); };
    return {narrow(local.tm_year + 1900), narrow(local.tm_mon + 1),
            narrow(local.tm_wday),        narrow(local.tm_mday),
            narrow(local.tm_hour),        narrow(local.tm_min),
            narrow(local.tm_sec),         narrow(static_cast<int>(now.tv_nsec / 1000000))};
}

}  // namespace

Line::Line(tarnwillow_log_record const& record, int64_t kind) {
    start(record.time, record.thread);
    if (record.log_class == TARNWILLOW_NAMED_LINE) {
        add(record.text.named.source, 64);
        add(" (", 2);
        add_number(record.level);
        add("): ", 3);
        add(record.text.named.text, 436);
    } else {
        add_number(record.log_class);
        add(": ", 2);
        if (kind == TARNWILLOW_LOG_ENTRY_NARROW)
            add(record.text.narrow, sizeof record.text.narrow);
        else
            add(record.text.wide, 500);
    }
    finish();
}

Line::Line(int64_t code, int64_t size) {
    start(time_now(), static_cast<uint32_t>(gettid()));
    add("broadcast ", 10);
    add_number(code);
    add(", ", 2);
    add_number(size);
    add(" bytes", 6);
    finish();
}

void Line::start(tarnwillow_record_time const& time, uint32_t thread) {
    add_number(time.year, 4);
    add('-');
    add_number(time.month, 2);
    add('-');
    add_number(time.day, 2);
    add(' ');
    add_number(time.hour, 2);
    add(':');
    add_number(time.minute, 2);
    add(':');
    add_number(time.second, 2);
    add('.');
    add_number(time.milliseconds, 3);
    add(' ');
    add(program_invocation_short_name, 64);
    add('[');
    add_number(process_id());
    add(':');
    add_number(thread);
    add("] ", 2);
}

// The last place is kept for the line's end.
void Line::add(char c) {
    if (length_ + 1 < kRoom) text_[length_++] = c == '\n' || c == '\r' ? ' ' : c;
}

void Line::add(char const* text, std::size_t room) {
    char* const out = text_ + length_;
    room = std::min(room, kRoom - 1 - length_);
    std::size_t count = 0;
    for (; count < room && text[count] != 0; ++count)
        out[count] = text[count] == '\n' || text[count] == '\r' ? ' ' : text[count];
    length_ += count;
}

void Line::add(uint16_t const* text, std::size_t room) {
    for (std::size_t i = 0; i < room && text[i] != 0; ++i) {
        const bool pair =
            is_high_surrogate(text[i]) && i + 1 < room && is_low_surrogate(text[i + 1]);
        if (pair) {
            add_character(0x10000 + ((text[i] - 0xD800U) << 10) + (text[i + 1] - 0xDC00U));
            ++i;
        } else {
            add_character(is_surrogate(text[i]) ? 0xFFFD : text[i]);
        }
    }
}

void Line::add_character(uint32_t character) {
    const auto trail = [&](unsigned shift) {
        add(static_cast<char>(0x80 | ((character >> shift) & 0x3F)));
    };
    if (character < 0x80) return add(static_cast<char>(character));
    if (character < 0x800) {
        add(static_cast<char>(0xC0 | (character >> 6)));
        return trail(0);
    }
    if (character < 0x10000) {
        add(static_cast<char>(0xE0 | (character >> 12)));
    } else {
        add(static_cast<char>(0xF0 | (character >> 18)));
        trail(12);
    }
    trail(6);
    trail(0);
}

void Line::add_number(int64_t number, unsigned digits) {
    char reversed[24];
    unsigned count = 0;
    uint64_t rest = number < 0 ? 0 - static_cast<uint64_t>(number) : static_cast<uint64_t>(number);
    for (; rest != 0 || count < digits; rest /= 10)
        reversed[count++] = static_cast<char>('0' + rest % 10);
    if (number < 0) add('-');
    while (count > 0)
        add(reversed[--count]);
}

void Line::finish() {
    while (length_ > 0 && text_[length_ - 1] == ' ')
        --length_;
    text_[length_++] = '\n';
}

}  // namespace message_core
