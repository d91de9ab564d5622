#include <cstring>
#include <new>

#include "tarnwillow/core/guard.h"
#include "tarnwillow/desktop/windowHelpers.h"
#include "tarnwillow/platform/characters.h"
#include "tarnwillow/platform/windows.h"

namespace tarnwillow {

namespace {

constexpr std::uint32_t kRemovalBeep = 1;
constexpr std::size_t kMostCharacters = 255;
constexpr std::size_t kLongestCharacter = 4;

struct Character {
    char const* text;
    std::size_t bytes;
};

bool holds(char const* list, const Character& character) {
    std::size_t left = std::strlen(list);
    for (std::size_t bytes; left != 0; list += bytes, left -= bytes) {
        bytes = platform::character_bytes(list, left);
        if (bytes == character.bytes && std::memcmp(list, character.text, bytes) == 0) return true;
    }
    return false;
}

bool offends(const Character& character, char const* allowed, char const* forbidden) {
    return (allowed != nullptr && !holds(allowed, character)) ||
           (forbidden != nullptr && holds(forbidden, character));
}

/// Removes in place what offends, and gives how many characters that were.
std::uint32_t filter(char* text, char const* allowed, char const* forbidden) {
    std::uint32_t removed = 0;
    std::size_t left = std::strlen(text);
    char* kept = text;
    for (std::size_t count = 0, bytes; left != 0 && count < kMostCharacters;
         ++count, text += bytes, left -= bytes) {
        bytes = platform::character_bytes(text, left);
        if (offends({text, bytes}, allowed, forbidden)) {
            ++removed;
            continue;
        }
        std::memmove(kept, text, bytes);
        kept += bytes;
    }
    *kept = 0;
    return removed;
}

std::uint32_t less(std::uint32_t place, std::uint32_t removed) {
    return place > removed ? place - removed : 0;
}

long lines_of(HWND window, char* words, long room) {
    const long blank = Text_Width(window, " ");
    long lines = 1, used = 0;
    char* rest = nullptr;
    for (char* word = strtok_r(words, " ", &rest); word != nullptr;
         word = strtok_r(nullptr, " ", &rest)) {
        const long width = Text_Width(window, word);
        used += width;
        if (used > room) {
            ++lines;
            used = width;
        }
        used += blank;
    }
    return lines;
}

char* copy_of(char const* text) {
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = new (std::nothrow) char[size];
    if (copy != nullptr) std::memcpy(copy, text, size);
    return copy;
}

}  // namespace

void Filter_Edit_Field(HWND edit, char const* allowed, char const* forbidden) {
    if ((allowed != nullptr) == (forbidden != nullptr)) return;
    char text[kMostCharacters * kLongestCharacter + 1];
    GetWindowTextA(edit, text, sizeof text);
    const std::uint32_t removed = filter(text, allowed, forbidden);
    if (removed == 0) return;
    for (std::uint32_t i = 0; i < removed; ++i)
        MessageBeep(kRemovalBeep);
    std::uint32_t start = 0, end = 0;
    Get_Edit_Selection(edit, &start, &end);
    SetWindowTextA(edit, text);
    Set_Edit_Selection(edit, less(start, removed), less(end, removed));
}

long Text_Width(HWND window, char const* text) {
    IHostFont* const font = Get_Window_Font(window);
    if (font == nullptr || text == nullptr) return 0;
    const long extent = font->Text_Extent(text, std::strlen(text));
    return extent + font->Overhang() + GetSystemMetrics(SM_CXBORDER);
}

long Text_Line_Height(HWND window) {
    IHostFont* const font = Get_Window_Font(window);
    return font != nullptr ? font->Line_Height() : 0;
}

long Textbox_Height(HWND window, char const* text) {
    char* copy = nullptr;
    const long height = reporting_guard(
        ExceptionLevelHandled, u"Textbox_Height",
        [&]() -> long {
            if (*not_null(text) == 0) return 0;
            copy = copy_of(text);
            if (copy == nullptr) return -1;
            RECT client{};
            GetClientRect(window, &client);
            return Text_Line_Height(window) * lines_of(window, copy, client.right);
        },
        [] { return -1L; });
    delete[] copy;
    return height;
}

}  // namespace tarnwillow
