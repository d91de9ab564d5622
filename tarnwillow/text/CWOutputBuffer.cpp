#include "tarnwillow/text/CWOutputBuffer.h"

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/text/CAutoUnicodeString.h"

namespace tarnwillow {

CWOutputBuffer::CWOutputBuffer() = default;

CWOutputBuffer& CWOutputBuffer::operator<<(char16_t const* text) {
    append(text);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(char16_t* text) {
    append(text);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(char const* text) {
    append(CAutoUnicodeString(text));
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(char16_t c) {
    append_unit(c);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(char c) {
    char16_t units[2] = {};
    if (c != 0) append(units, platform::narrow_to_wide(&c, 1, units, 2).written);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(short value) { return *this << int{value}; }
CWOutputBuffer& CWOutputBuffer::operator<<(unsigned short value) { return *this << int{value}; }

CWOutputBuffer& CWOutputBuffer::operator<<(int value) {
    append_number(value);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(unsigned int value) {
    return *this << static_cast<unsigned long>(value);
}

CWOutputBuffer& CWOutputBuffer::operator<<(long value) {
    append_number(value);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(unsigned long value) {
    append_unsigned(value);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(long long value) {
    append_number(value);
    return *this;
}

CWOutputBuffer& CWOutputBuffer::operator<<(unsigned long long value) {
    append_number(value);
    return *this;
}

}  // namespace tarnwillow
