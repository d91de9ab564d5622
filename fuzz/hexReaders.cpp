// Any text as digits: two bytes of size, then the text. What is read back equals what was written.
#include <algorithm>
#include <cstdlib>

#include "tarnwillow/text/stringUtilities.h"
#include "tarnwillow/text/valueConversions.h"
#include "terminatedText.h"

namespace {

using namespace tarnwillow;
using fuzz::length;

void check(bool holds) {
    if (!holds) std::abort();
}

// The last eight digits are the number.
template <class Char>
void read_number(Char const* text) {
    const unsigned long number = HexStringToNum(text);
    check(number <= 0xFFFFFFFF);
    const std::unique_ptr<Char[]> digits(new Char[9]);
    NumToHex(number, 8, digits.get());
    check(HexStringToNum(digits.get()) == number);
    const std::size_t kept = std::min<std::size_t>(8, length(text));
    if (Is_Hex(text)) check(HexStringToNum(text + length(text) - kept) == number);
}

void read_bytes(char const* hex) {
    const std::size_t digits = length(hex);
    const std::unique_ptr<char[]> data(new char[(digits + 1) / 2]);
    int count = -1;
    const bool read = ConvertHexStringToData(hex, data.get(), &count);
    check(read ? count == static_cast<int>(digits / 2) : count == -1);
    if (!read || !Is_Hex(hex)) return;
    const std::unique_ptr<char[]> again(new char[2 * (digits / 2) + 1]);
    ConvertDataToHexString(data.get(), count, again.get());
    check(std::equal(again.get(), again.get() + 2 * count, hex,
                     [](char a, char b) { return (a | 32) == (b | 32); }));
}

void read_text(char const* hex, std::size_t size) {
    const std::unique_ptr<char[]> text(new char[size]);
    Generate_Ascii_String(hex, text.get(), static_cast<int>(size));
    const std::size_t stored = std::min(size, length(hex) / 2);
    for (std::size_t i = stored; i < size; ++i)
        check(text[i] == 0);
}

void write_text(char const* text, std::size_t size) {
    const std::unique_ptr<char[]> hex(new char[size]);
    Generate_Hex_String(text, hex.get(), static_cast<int>(size));
    if (size < 2) return;
    const std::size_t written = std::min(length(text), size / 2 - 1);
    check(length(hex.get()) == 2 * written);
    const std::unique_ptr<char[]> again(new char[written + 1]);
    Generate_Ascii_String(hex.get(), again.get(), static_cast<int>(written + 1));
    check(std::equal(again.get(), again.get() + written, text) && again[written] == 0);
}

bool same(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

template <class Char>
GUID read_guid(Char const* text) {
    GUID guid;
    std::memset(&guid, 0xFF, sizeof guid);
    StringToGUID(text, &guid);
    if (length(text) != 36 && length(text) != 38) check(same(guid, GUID{}));
    for (const bool plain : {false, true}) {
        const std::unique_ptr<Char[]> again(new Char[plain ? 37 : 39]);
        GUIDToString(&guid, again.get(), plain);
        GUID copy;
        StringToGUID(again.get(), &copy);
        check(same(copy, guid));
    }
    return guid;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    if (size < 2) return 0;
    const std::size_t room = (bytes[0] | std::size_t{bytes[1]} << 8) % 512;
    const auto text = fuzz::terminated<char>(bytes + 2, size - 2);
    const auto wide = fuzz::terminated<char16_t>(bytes + 2, size - 2);
    read_number(text.get());
    read_number(wide.get());
    read_bytes(text.get());
    read_text(text.get(), room);
    write_text(text.get(), room);
    const GUID guid = read_guid(text.get());
    read_guid(wide.get());
    const std::u16string widened(text.get(), text.get() + length(text.get()));
    if (std::all_of(widened.begin(), widened.end(), [](char16_t c) { return c < 128; }))
        check(same(read_guid(widened.c_str()), guid));
    return 0;
}
