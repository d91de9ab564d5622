// What the two output buffers share: text that grows as it is appended to, for one width.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnwillow/core/CEasyCriticalSection.h"
#include "tarnwillow/core/quickEntry.h"

namespace tarnwillow::detail {

/// Counts are units: bytes or UTF-16 units. A text that comes near 2^31 units is refused like one
/// without memory.
template <class Char>
class TARNWILLOW_API OutputText {
public:
    OutputText(const OutputText&) = delete;
    OutputText& operator=(const OutputText&) = delete;

    /// Takes `count` units off the end; does nothing for more than there are, or for fewer than 0.
    /// No lock is taken.
    void Truncate(int count);

    /// Gives the storage back: the text is gone. No lock is taken.
    void Reset();

    /// Units without the terminator. No lock is taken.
    int String_Len() const { return Length; }

protected:
    OutputText() = default;
    ~OutputText();

    /// Makes the allocation larger by `extra` units, or by 10,240 for 0, and one more. Gives 0 or
    /// E_OUTOFMEMORY, and then nothing has changed.
    long grow(int extra);

    /// Append under the section. Throw `long` E_OUTOFMEMORY, with nothing appended and the section
    /// left. The text may be this object's own.
    void append(Char const* text);
    void append(Char const* text, std::size_t count);
    void append_unit(Char unit);
    void append_bytes(void const* data, unsigned long count);
    template <class Number>
    void append_number(Number value);

    /// What fits 32 bits prints as the signed number of the same bits.
    void append_unsigned(unsigned long value);

    /// Appends the text as HTML to `out`, which may be this object.
    void convert_to_html(OutputText& out);

    CEasyCriticalSection section{u""};
    Char* Buffer = nullptr;
    std::int32_t Length = 0;
    std::int32_t Allocated = 0;
    std::int32_t Free_Space = 0;  ///< what the class counts on, not the exact room
    bool Keep_Buffer = false;     ///< the destructor leaves the storage to someone else

private:
    /// The text that is being turned into HTML, as it was when that began.
    struct Markup {
        OutputText& out;
        std::int32_t length;
        bool opening;
    };

    bool make_storage(std::int64_t units);
    bool has_room(std::size_t count) const;
    std::ptrdiff_t place_of(Char const* text) const;
    bool make_room(std::size_t count);
    void store(Char const* text, std::size_t count);
    Char unit_at(std::int32_t at, const Markup& markup) const;
    std::int32_t convert_unit(std::int32_t at, Markup& markup);
    std::int32_t convert_run(std::int32_t at, Markup& markup);
    void append_ascii(char const* text);

    bool append_quickly(Char const* text, std::size_t count);
    void append_slowly(Char const* text, std::size_t count);

    std::int32_t Capacity = 0;  // units in Buffer: at least Allocated, and growing by doubling
    QuickEntry quick_;
};

}  // namespace tarnwillow::detail
