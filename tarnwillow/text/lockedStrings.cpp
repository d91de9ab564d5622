#include "tarnwillow/text/lockedStrings.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "tarnwillow/text/characterSets.h"
#include "tarnwillow/text/hexText.h"
#include "tarnwillow/text/plainText.h"
#include "tarnwillow/text/valueConversions.h"

namespace tarnwillow {

namespace {

constexpr unsigned kMask = 0x6B;
constexpr int kWideRoom = 2499;  // units that a record's text is converted into

int turn_of(std::size_t index) { return static_cast<int>(index % 8); }

unsigned char unlocked(unsigned char byte, std::size_t index) {
    return static_cast<unsigned char>(std::rotr(byte, turn_of(index)) ^ kMask);
}

/// Bytes that a hexadecimal text stands for, up to what is no digit.
std::size_t protected_length(char const* text) {
    const std::size_t length = detail::length_of(text);
    std::size_t at = 0;
    while (at < length && detail::is_hex_digit(detail::code_of(text[at])))
        at += 2;
    return at / 2;
}

void unlock_record(LockedStringTable& record) {
    // A record from outside may lack its terminator.
    record.Text[LockedStringTable::kTextSize - 1] = 0;
    Unlock_String(record.Text, 0);
    record.Unlocked = 1;
    char16_t text[kWideRoom + 1] = {};
    AnsiToUnicode(reinterpret_cast<char const*>(record.Text), text, kWideRoom);
    std::memcpy(record.Text, text, (detail::length_of(text) + 1) * sizeof(char16_t));
}

}  // namespace

void Lock_String(unsigned char* text) {
    for (std::size_t i = 0; text[i] != 0; ++i)
        text[i] = std::rotl(static_cast<unsigned char>(text[i] ^ kMask), turn_of(i));
}

void Unlock_String(unsigned char* text, unsigned long length) {
    for (std::size_t i = 0; length != 0 ? i < length : text[i] != 0; ++i)
        text[i] = unlocked(text[i], i);
}

void Lock_String(char16_t* text) {
    for (std::size_t i = 0; text[i] != 0; ++i) {
        const auto turned = static_cast<std::uint16_t>((text[i] ^ kMask) << turn_of(i));
        text[i] = static_cast<char16_t>((turned & 0xFF) | (turned >> 8));
    }
}

void Unlock_String(char16_t* text) {
    for (std::size_t i = 0; text[i] != 0; ++i)
        text[i] = unlocked(static_cast<unsigned char>(text[i]), i);
}

void ProtectString(char const* text, char* dest) {
    const auto copy = detail::copy_text(text);
    if (copy == nullptr) return;
    const std::size_t length = detail::length_of(text);
    Lock_String(reinterpret_cast<unsigned char*>(copy.get()));
    ConvertDataToHexString(copy.get(), static_cast<int>(length), dest);
}

void UnprotectString(char const* text, char* dest) {
    ConvertHexStringToData(text, dest, nullptr);
    const std::size_t length = protected_length(text);
    if (length != 0) Unlock_String(reinterpret_cast<unsigned char*>(dest), length);
}

char16_t const* Get_Locked_String(LockedStringTable* table, int index) {
    LockedStringTable& record = table[index];
    if (record.Unlocked == 0) unlock_record(record);
    return reinterpret_cast<char16_t const*>(record.Text);
}

}  // namespace tarnwillow
