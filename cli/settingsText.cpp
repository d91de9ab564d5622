#include "settingsText.h"

#include <charconv>
#include <cstring>

#include "tarnwillow/text/characterSets.h"
#include "xmlDocument.h"

namespace tarnwillow::cli {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

/// The types whose values are written as quoted text, or in a form of their own.
struct NamedType {
    std::string_view name;
    std::uint32_t type;
    bool is_text;
};
constexpr NamedType kTypes[] = {{"text", REG_SZ, true},
                                {"expand", REG_EXPAND_SZ, true},
                                {"multi", REG_MULTI_SZ, true},
                                {"binary", REG_BINARY, false},
                                {"number", REG_DWORD, false}};

const NamedType* named(std::uint32_t type) {
    for (const NamedType& known : kTypes)
        if (known.type == type) return &known;
    return nullptr;
}

const NamedType* named(std::string_view name) {
    for (const NamedType& known : kTypes)
        if (known.name == name) return &known;
    return nullptr;
}

void append_byte(std::string& text, char c) {
    const auto byte = static_cast<unsigned char>(c);
    (text += kDigits[byte >> 4]) += kDigits[byte & 0xF];
}

bool is_control(char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }

// Escapes with one letter, and what they stand for.
constexpr std::string_view kLetters = "\\\"nrt0";
constexpr std::string_view kMeanings("\\\"\n\r\t\0", 6);

std::string quoted(std::string_view text) {
    std::string result = "\"";
    for (const char c : text) {
        const std::size_t letter = kMeanings.find(c);
        if (letter != std::string_view::npos)
            (result += '\\') += kLetters[letter];
        else if (is_control(c))
            append_byte(result += "\\x", c);
        else
            result += c;
    }
    return result += '"';
}

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

bool parse_byte(std::string_view text, char* byte) {
    if (text.size() < 2 || digit(text[0]) < 0 || digit(text[1]) < 0) return false;
    *byte = static_cast<char>(digit(text[0]) * 16 + digit(text[1]));
    return true;
}

// Takes a quoted text off the front.
bool take_quoted(std::string_view* line, std::string* text) {
    if (line->empty() || line->front() != '"') return false;
    text->clear();
    for (std::size_t i = 1; i < line->size(); ++i) {
        char c = (*line)[i];
        if (c == '"') {
            line->remove_prefix(i + 1);
            return true;
        }
        if (c == '\\') {
            if (++i == line->size()) return false;
            const std::size_t letter = kLetters.find((*line)[i]);
            if (letter != std::string_view::npos) {
                c = kMeanings[letter];
            } else {
                if ((*line)[i] != 'x' || !parse_byte(line->substr(i + 1), &c)) return false;
                i += 2;
            }
        }
        *text += c;
    }
    return false;
}

void skip_spaces(std::string_view* text) {
    while (!text->empty() && (text->front() == ' ' || text->front() == '\t'))
        text->remove_prefix(1);
}

std::string_view take_word(std::string_view* text) {
    skip_spaces(text);
    const std::string_view word = text->substr(0, text->find_first_of(" \t\""));
    text->remove_prefix(word.size());
    skip_spaces(text);
    return word;
}

// Text with one terminator, that comes back the same from the form that a file has.
bool has_text_form(const SettingsEntry& entry, std::string* text) {
    const std::string narrow = entry.wide ? narrow_bytes(entry.bytes) : entry.bytes;
    if (narrow.empty() || narrow.back() != 0) return false;
    *text = narrow.substr(0, narrow.size() - 1);
    return entry.wide ? wide_bytes(narrow) == entry.bytes
                      : narrow_bytes(wide_bytes(narrow)) == narrow;
}

// Runs a conversion for terminated text over each of the texts between the zeros.
template <class Convert>
auto convert_parts(Convert convert, std::string_view narrow) {
    std::u16string whole;
    for (std::size_t begin = 0;;) {
        const std::size_t end = narrow.find('\0', begin);
        whole += convert(std::string(narrow.substr(begin, end - begin)).c_str());
        if (end == std::string_view::npos) return whole;
        whole += u'\0';
        begin = end + 1;
    }
}

std::string narrow_part(const std::u16string& part) {
    std::string narrow(part.size() * 3 + 1, '\0');
    UnicodeToAnsi(part.c_str(), narrow.data(), static_cast<int>(narrow.size()));
    return narrow.c_str();
}

}  // namespace

std::string narrow_bytes(std::string_view wide) {
    std::u16string units(wide.size() / sizeof(char16_t), u'\0');
    std::memcpy(units.data(), wide.data(), units.size() * sizeof(char16_t));
    std::string whole;
    for (std::size_t begin = 0;;) {
        const std::size_t end = units.find(u'\0', begin);
        whole += narrow_part(units.substr(begin, end - begin));
        if (end == std::u16string::npos) return whole;
        whole += '\0';
        begin = end + 1;
    }
}

std::string wide_bytes(std::string_view narrow) {
    const std::u16string units = convert_parts(to_wide, narrow);
    return {reinterpret_cast<char const*>(units.data()), units.size() * sizeof(char16_t)};
}

// Writing.

std::string hexadecimal(std::string_view bytes) {
    std::string text;
    for (const char c : bytes)
        append_byte(text += text.empty() ? "" : " ", c);
    return text;
}

std::string heading(const SettingsPlace& place) { return heading(place.text()); }

std::string heading(const std::string& path) {
    std::string line = "[";
    for (const char c : path) {
        if (is_control(c) || c == '%')
            append_byte(line += '%', c);
        else
            line += c;
    }
    return line += ']';
}

std::string value_form(const SettingsEntry& entry) {
    const NamedType* known = named(entry.type);
    std::string text;
    if (known != nullptr && known->is_text && has_text_form(entry, &text))
        return (entry.wide ? "wide " : "") + std::string(known->name) + " " + quoted(text);
    if (entry.type == REG_DWORD && entry.bytes.size() == sizeof(std::int32_t)) {
        std::int32_t number = 0;
        std::memcpy(&number, entry.bytes.data(), sizeof number);
        return "number " + std::to_string(number);
    }
    std::string form = entry.wide ? "wide " : "";
    if (entry.type == REG_BINARY)
        form = "binary";
    else
        form.append("type ").append(std::to_string(entry.type)).append(":");
    if (!entry.bytes.empty()) form.append(" ").append(hexadecimal(entry.bytes));
    return form;
}

std::string entry_line(const SettingsEntry& entry) {
    return quoted(entry.name) + " = " + value_form(entry);
}

// Reading.

bool parse_hexadecimal(std::string_view text, std::string* bytes) {
    bytes->clear();
    for (skip_spaces(&text); !text.empty(); skip_spaces(&text)) {
        char byte = 0;
        if (!parse_byte(text, &byte)) return false;
        *bytes += byte;
        text.remove_prefix(2);
    }
    return true;
}

bool parse_number(std::string_view text, std::uint32_t* number) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative) text.remove_prefix(1);
    const bool hexadecimal =
        text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    if (hexadecimal) text.remove_prefix(2);
    std::uint32_t size = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), size, hexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size()) return false;
    *number = negative ? 0 - size : size;
    return !negative || size <= 0x80000000;
}

bool parse_type(std::string_view text, std::uint32_t* type) {
    const NamedType* known = named(text);
    if (known != nullptr) *type = known->type;
    return known != nullptr || parse_number(text, type);
}

bool parse_heading(std::string_view line, SettingsPlace* place) {
    if (line.size() < 2 || line.front() != '[' || line.back() != ']') return false;
    line = line.substr(1, line.size() - 2);
    if (!take_hive(&line, place)) return false;
    place->key.clear();
    for (; !line.empty(); line.remove_prefix(1)) {
        char c = line.front();
        if (c == '%') {
            if (!parse_byte(line.substr(1), &c) || c == 0) return false;
            line.remove_prefix(2);
        }
        place->key += c;
    }
    return true;
}

namespace {

bool parse_value(std::string_view form, std::string_view word, SettingsEntry* entry) {
    const NamedType* known = named(word);
    if (known == nullptr) return false;
    entry->type = known->type;
    if (known->is_text) {
        std::string text;
        if (!take_quoted(&form, &text) || !form.empty()) return false;
        text += '\0';
        entry->bytes = entry->wide ? wide_bytes(text) : text;
        return true;
    }
    if (entry->wide) return false;
    if (known->type == REG_BINARY) return parse_hexadecimal(form, &entry->bytes);
    std::uint32_t number = 0;
    if (!parse_number(form, &number)) return false;
    entry->bytes.assign(reinterpret_cast<char const*>(&number), sizeof number);
    return true;
}

}  // namespace

bool parse_entry_line(std::string_view line, SettingsEntry* entry) {
    if (!take_quoted(&line, &entry->name) || entry->name.find('\0') != std::string::npos)
        return false;
    if (take_word(&line) != "=") return false;
    std::string_view word = take_word(&line);
    entry->wide = word == "wide";
    if (entry->wide) word = take_word(&line);
    if (word != "type") return parse_value(line, word, entry);
    std::string_view number = take_word(&line);
    if (number.empty() || number.back() != ':') return false;
    number.remove_suffix(1);
    return parse_number(number, &entry->type) && parse_hexadecimal(line, &entry->bytes);
}

}  // namespace tarnwillow::cli
