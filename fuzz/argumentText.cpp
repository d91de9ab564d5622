// Parameter strings from the input. Quoting an argument by the rules must give that argument back.
#include "tarnwillow/platform/argumentText.h"

#include <cstddef>
#include <cstdint>

namespace {

using tarnwillow::platform::split_arguments;

void check(bool held) {
    if (!held) __builtin_trap();
}

std::string quoted(const std::string& argument) {
    std::string text = "\"";
    std::size_t backslashes = 0;
    for (char c : argument) {
        if (c == '"') text.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        text += c;
    }
    return text.append(backslashes, '\\') + '"';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<char const*>(data), size);
    const auto arguments = split_arguments(text);
    std::string again;
    std::size_t characters = 0;
    for (const std::string& argument : arguments) {
        characters += argument.size();
        again += quoted(argument) + ' ';
    }
    check(characters <= size);
    check(split_arguments(again) == arguments);
    check(split_arguments(quoted(text)) == std::vector<std::string>{text});
    return 0;
}
