// Messages as lines of text.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/diagnostics/messageRecord.h"

namespace message_core {

/// One line with its end, such as
/// "2026-11-24 17:35:37.123 notes[4711:4712] 4: thread started\n"
/// where 4711 is the process, 4712 the thread and 4 the log class. A line with a source has that
/// and the level in the place of the class: "disk (2): full". Line ends within a text become
/// blanks.
class Line {
public:
    explicit Line(tarnwillow_log_record const& record, int64_t kind);

    /// A broadcast: "... notes[4711:4711] broadcast 12, 40 bytes\n".
    Line(int64_t code, int64_t size);

    char const* text() const { return text_; }
    std::size_t length() const { return length_; }

private:
    void start(tarnwillow_record_time const& time, uint32_t thread);
    void add(char c);
    void add(char const* text, std::size_t room);
    void add(uint16_t const* text, std::size_t room);
    void add_character(uint32_t character);
    void add_number(int64_t number, unsigned digits = 1);
    void finish();

    // A record's text has at most 499 units of up to three bytes.
    static constexpr std::size_t kRoom = 2048;

    char text_[kRoom];
    std::size_t length_ = 0;
};

}  // namespace message_core
