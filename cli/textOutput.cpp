#include "textOutput.h"

#include <cstdio>

#include "tarnwillow/platform/status.h"

namespace tarnwillow::cli {

namespace {
constexpr unsigned long kPiece = 128 * 1024;
}

void TextOutput::write(std::u16string_view text) {
    if (text.empty()) return;
    const long bytes = static_cast<long>(text.size() * sizeof(char16_t));
    if (pending_.Write(text.data(), bytes) != S_OK) failed_ = true;
}

void TextOutput::end_line() {
    write(u"\n");
    if (pending_.Get_End_Of_Data() >= kPiece) flush();
}

bool TextOutput::finish() {
    flush();
    return std::fflush(stdout) == 0 && !failed_;
}

void TextOutput::flush() {
    const unsigned long length = pending_.Get_End_Of_Data();
    if (length == 0) return;
    // The conversion drops a U+FEFF that the piece begins with, as a mark.
    if (pending_.Is_Unicode_File() && std::fputs("\xEF\xBB\xBF", stdout) < 0) failed_ = true;
    if (pending_.Convert_To_Asci() != S_OK) failed_ = true;
    char const* const bytes = pending_;
    const unsigned long count = pending_.Get_End_Of_Data();
    if (std::fwrite(bytes, 1, count, stdout) != count) failed_ = true;
    if (pending_.Initialize(2 * static_cast<long>(kPiece)) != S_OK) failed_ = true;
}

}  // namespace tarnwillow::cli
