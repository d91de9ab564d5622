// A box with a text that a person answers. A host with a user interface presents it; without one
// the library's default takes its place, which never waits for anybody.
#pragma once

#include <cstdint>

#include "tarnwillow/platform/api.h"

namespace tarnwillow {

/// The buttons of a box: the low four bits of its style.
inline constexpr std::uint32_t MB_OK = 0;
inline constexpr std::uint32_t MB_OKCANCEL = 1;
inline constexpr std::uint32_t MB_ABORTRETRYIGNORE = 2;
inline constexpr std::uint32_t MB_YESNOCANCEL = 3;
inline constexpr std::uint32_t MB_YESNO = 4;
inline constexpr std::uint32_t MB_RETRYCANCEL = 5;
inline constexpr std::uint32_t MB_TYPEMASK = 0xF;

/// What the presenter may show besides.
inline constexpr std::uint32_t MB_ICONERROR = 0x10;
inline constexpr std::uint32_t MB_SYSTEMMODAL = 0x1000;

/// The button that was chosen. 0 means that the box could not be shown.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr int IDABORT = 3;
inline constexpr int IDRETRY = 4;
inline constexpr int IDIGNORE = 5;
inline constexpr int IDYES = 6;
inline constexpr int IDNO = 7;

/// Shows a box and gives the button. Runs in the thread that asked for the box, which waits: in a
/// signal handler when the box reports a crash. Text and caption are never null and live as long as
/// the call.
using MessageBoxPresenter = int (*)(HWND owner, char16_t const* text, char16_t const* caption,
                                    std::uint32_t style);

/// Sets the presenter of this process, null for the default; gives back the one before, null for
/// the default. Any thread.
TARNWILLOW_API MessageBoxPresenter Set_Message_Box_Presenter(MessageBoxPresenter presenter);

/// Has the box shown and gives the button. The default writes caption and text to standard error,
/// as UTF-8, and answers at once with the button that changes nothing: OK where there is no other,
/// else Cancel, Ignore or No. It keeps off the heap. A null text is empty, a null caption "Error".
/// The narrow form takes UTF-8 and cuts the text at 2,047 characters and the caption at 255.
TARNWILLOW_API int MessageBoxW(HWND owner, char16_t const* text, char16_t const* caption,
                               std::uint32_t style);
TARNWILLOW_API int MessageBoxA(HWND owner, char const* text, char const* caption,
                               std::uint32_t style);

}  // namespace tarnwillow
