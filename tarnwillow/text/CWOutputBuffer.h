#pragma once

#include "tarnwillow/text/outputText.h"

namespace tarnwillow {

/// The wide twin of COutputBuffer: the same contract, in UTF-16 units.
class TARNWILLOW_API CWOutputBuffer : public detail::OutputText<char16_t> {
public:
    CWOutputBuffer();

    /// The text as it is.
    CWOutputBuffer& operator<<(char16_t const* text);
    CWOutputBuffer& operator<<(char16_t* text);

    /// Through CAutoUnicodeString.
    CWOutputBuffer& operator<<(char const* text);

    /// One character; a zero appends nothing.
    CWOutputBuffer& operator<<(char16_t c);
    CWOutputBuffer& operator<<(char c);  ///< U+FFFD beyond ASCII

    /// Decimal, with the rules of COutputBuffer.
    CWOutputBuffer& operator<<(short value);
    CWOutputBuffer& operator<<(unsigned short value);
    CWOutputBuffer& operator<<(int value);
    CWOutputBuffer& operator<<(unsigned int value);
    CWOutputBuffer& operator<<(long value);
    CWOutputBuffer& operator<<(unsigned long value);
    CWOutputBuffer& operator<<(long long value);
    CWOutputBuffer& operator<<(unsigned long long value);

    CWOutputBuffer& operator<<(wchar_t) = delete;
    CWOutputBuffer& operator<<(char8_t) = delete;
    CWOutputBuffer& operator<<(char32_t) = delete;

    /// The text itself, null before the first append. It moves when the buffer grows.
    operator char16_t*() const { return Buffer; }  // NOLINT(google-explicit-constructor)

    /// As COutputBuffer::Convert_To_HTML.
    void Convert_To_HTML(CWOutputBuffer& out) { convert_to_html(out); }

    /// The mutex of the wide buffers is "__QV7162_OUTPUTBUFFER_GLOBAL_MUTEX_W".
    static bool Mutex_Lock_All_Buffers(bool lock);

protected:
    /// Enlarges the allocation by 10,241 units. 0 or E_OUTOFMEMORY.
    long Grow() { return grow(0); }
};

}  // namespace tarnwillow
