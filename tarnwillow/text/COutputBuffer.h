#pragma once

#include "tarnwillow/text/outputText.h"

namespace tarnwillow {

/// Narrow text that grows as it is written to. It is always terminated. Several threads may append
/// to one buffer; who reads, cuts or resets it beside them brings a lock of his own.
///
/// Every append throws `long` E_OUTOFMEMORY without memory, and then appends nothing. Text that is
/// empty or null appends nothing.
class TARNWILLOW_API COutputBuffer : public detail::OutputText<char> {
public:
    COutputBuffer();

    /// The text as it is.
    COutputBuffer& operator<<(char const* text);
    COutputBuffer& operator<<(char* text);

    /// Through CAutoAnsiString, which throws for text beyond ASCII.
    COutputBuffer& operator<<(char16_t const* text);

    /// One character; a zero appends nothing.
    COutputBuffer& operator<<(char c);
    COutputBuffer& operator<<(unsigned char c);
    COutputBuffer& operator<<(char16_t c);  ///< as UTF-8; half a character becomes U+FFFD

    /// Decimal. Unsigned numbers that fit 32 bits print as the signed number of the same bits, so
    /// 4294967295 is "-1"; larger ones print as they are.
    COutputBuffer& operator<<(short value);
    COutputBuffer& operator<<(unsigned short value);  ///< never negative
    COutputBuffer& operator<<(int value);
    COutputBuffer& operator<<(unsigned int value);
    COutputBuffer& operator<<(long value);
    COutputBuffer& operator<<(unsigned long value);
    COutputBuffer& operator<<(long long value);
    COutputBuffer& operator<<(unsigned long long value);  ///< never negative

    COutputBuffer& operator<<(wchar_t) = delete;
    COutputBuffer& operator<<(char8_t) = delete;
    COutputBuffer& operator<<(char32_t) = delete;

    /// Appends `count` bytes, zeros too. Null or no bytes append nothing.
    void Append_Binary_Data(void const* data, unsigned long count);

    /// The text itself, null before the first append. It moves when the buffer grows.
    operator char*() const { return Buffer; }  // NOLINT(google-explicit-constructor)

    /// Appends the text as HTML to `out`, which is not cleared and may be this buffer. Line ends
    /// become "<br>". Pairs of "%" enclose tags: "%b%x%/b%" gives "<b>x</b>". "<", ">" and "&" are
    /// escaped; "%%" and "&&" stand for the plain characters. Do not convert two buffers into each
    /// other at once.
    void Convert_To_HTML(COutputBuffer& out) { convert_to_html(out); }

    /// With `lock` true: takes, for up to five seconds, the mutex that all processes share for
    /// their narrow output buffers; tells whether it is held. Some program must have created the
    /// mutex "__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX": it is only opened here. With `lock` false:
    /// gives it up; always true. The process has one such hold, for one thread at a time.
    static bool Mutex_Lock_All_Buffers(bool lock);

protected:
    /// Enlarges the allocation by `extra` bytes, or by 10,240 for 0, and one more. 0 or
    /// E_OUTOFMEMORY.
    long Grow(int extra) { return grow(extra); }
};

}  // namespace tarnwillow
