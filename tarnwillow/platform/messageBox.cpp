#include "tarnwillow/platform/messageBox.h"

#include <atomic>
#include <cstring>

#include "tarnwillow/platform/codepage.h"
#include "tarnwillow/platform/standardError.h"
#include "tarnwillow/platform/wideText.h"

namespace tarnwillow {

namespace {

std::atomic<MessageBoxPresenter> presenter{nullptr};

int unchanging_button(std::uint32_t style) {
    switch (style & MB_TYPEMASK) {
        case MB_OK:
            return IDOK;
        case MB_ABORTRETRYIGNORE:
            return IDIGNORE;
        case MB_YESNO:
            return IDNO;
        default:
            return IDCANCEL;
    }
}

// Lines of a box may end in a bare carriage return, which a terminal would overwrite.
void write_lines(char16_t const* text) {
    for (;;) {
        char16_t const* const end = wide::find(text, u'\r');
        const std::size_t length =
            end != nullptr ? static_cast<std::size_t>(end - text) : wide::length(text);
        platform::write_standard_error(text, length);
        text += length;
        if (*text == 0) return;
        ++text;
        if (*text != u'\n') platform::write_standard_error("\n", 1);
    }
}

int present_on_standard_error(HWND, char16_t const* text, char16_t const* caption,
                              std::uint32_t style) {
    write_lines(caption);
    platform::write_standard_error(": ", 2);
    write_lines(text);
    platform::write_standard_error("\n", 1);
    return unchanging_button(style);
}

/// A stack holder of converted text.
template <std::size_t room>
class WideCopy {
public:
    explicit WideCopy(char const* text) : given_(text != nullptr) {
        if (!given_) return;
        const platform::Conversion done =
            platform::narrow_to_wide(text, std::strlen(text), units_, room - 1);
        units_[done.written] = 0;
    }
    char16_t const* text() const { return given_ ? units_ : nullptr; }

private:
    bool given_;
    char16_t units_[room];
};

}  // namespace

MessageBoxPresenter Set_Message_Box_Presenter(MessageBoxPresenter new_presenter) {
    return presenter.exchange(new_presenter);
}

int MessageBoxW(HWND owner, char16_t const* text, char16_t const* caption, std::uint32_t style) {
    const MessageBoxPresenter host = presenter.load();
    return (host != nullptr ? host : present_on_standard_error)(
        owner, text != nullptr ? text : u"", caption != nullptr ? caption : u"Error", style);
}

int MessageBoxA(HWND owner, char const* text, char const* caption, std::uint32_t style) {
    const WideCopy<2048> wide_text(text);
    const WideCopy<256> wide_caption(caption);
    return MessageBoxW(owner, wide_text.text(), wide_caption.text(), style);
}

}  // namespace tarnwillow
