// The text form of settings, that export writes and import reads. docs/settings.md has the grammar.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "settingsEntry.h"
#include "settingsPlace.h"

namespace tarnwillow::cli {

/// The first line of every file.
inline constexpr std::string_view kSettingsHeader = "tarnwillow-settings 1";

/// "[HKLM\path]"; `%` and control characters are written as `%` and two digits.
std::string heading(const SettingsPlace& place);
std::string heading(const std::string& path);

/// "\"name\" = number 2"; without line end. Any entry has a form that gives the same bytes back.
std::string entry_line(const SettingsEntry& entry);

/// What stands behind the equals sign.
std::string value_form(const SettingsEntry& entry);

/// False for what is not of that form.
bool parse_heading(std::string_view line, SettingsPlace* place);
bool parse_entry_line(std::string_view line, SettingsEntry* entry);

/// Bytes as "01 02 ff", and back from pairs of digits, apart or together.
std::string hexadecimal(std::string_view bytes);
bool parse_hexadecimal(std::string_view text, std::string* bytes);

/// A number of 32 bits, with its sign or without: decimal, or hexadecimal behind "0x".
bool parse_number(std::string_view text, std::uint32_t* number);

/// A type by its name in a file, or as a number. False for neither.
bool parse_type(std::string_view text, std::uint32_t* type);

/// The bytes of a value of text from one width to the other, whatever zeros are in them.
std::string narrow_bytes(std::string_view wide);
std::string wide_bytes(std::string_view narrow);

}  // namespace tarnwillow::cli
