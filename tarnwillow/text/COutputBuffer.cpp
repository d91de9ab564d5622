#include "tarnwillow/text/COutputBuffer.h"

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/text/CAutoAnsiString.h"

namespace tarnwillow {

// Out of line: what the base does to come to life is hidden in the library.
COutputBuffer::COutputBuffer() = default;

COutputBuffer& COutputBuffer::operator<<(char const* text) {
    append(text);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(char* text) {
    append(text);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(char16_t const* text) {
    append(CAutoAnsiString(text));
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(char c) {
    append_unit(c);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(unsigned char c) { return *this << static_cast<char>(c); }

COutputBuffer& COutputBuffer::operator<<(char16_t c) {
    char bytes[4] = {};
    if (c != 0) append(bytes, platform::wide_to_narrow(&c, 1, bytes, sizeof bytes).written);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(short value) { return *this << int{value}; }
COutputBuffer& COutputBuffer::operator<<(unsigned short value) { return *this << int{value}; }

COutputBuffer& COutputBuffer::operator<<(int value) {
    append_number(value);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(unsigned int value) {
    return *this << static_cast<unsigned long>(value);
}

COutputBuffer& COutputBuffer::operator<<(long value) {
    append_number(value);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(unsigned long value) {
    append_unsigned(value);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(long long value) {
    append_number(value);
    return *this;
}

COutputBuffer& COutputBuffer::operator<<(unsigned long long value) {
    append_number(value);
    return *this;
}

void COutputBuffer::Append_Binary_Data(void const* data, unsigned long count) {
    append_bytes(data, count);
}

}  // namespace tarnwillow
