#include <tarnwillow/desktop/windowHelpers.h>
#include <tarnwillow/desktop/windowPositions.h>
#include <tarnwillow/platform/CPlainHostFont.h>
#include <tarnwillow/platform/CPlainHostWindow.h>

#include <cstdio>

using namespace tarnwillow;

int main() {
    // A host with a toolkit registers its own windows by IHostWindow; these are kept in memory.
    CPlainHostFont font(8, 18);
    CPlainHostWindow dialog({2000, 100, 2300, 400});
    CPlainHostWindow advanced({0, 200, 300, 300}, dialog.Handle(), 10);
    CPlainHostWindow port({100, 20, 200, 40}, dialog.Handle(), 11, "80a80");
    port.Set_Font(&font);

    Filter_Edit_Field(port.Handle(), "0123456789", nullptr);
    char text[20];
    GetWindowTextA(port.Handle(), text, sizeof text);
    std::printf("port %s, %ld pixels wide\n", text, Text_Width(port.Handle(), text));

    Collapse_Dialog_Frame(dialog.Handle(), 10);
    RECT place;
    GetWindowRect(dialog.Handle(), &place);
    std::printf("folded to %d pixels\n", place.bottom - place.top);

    // The monitor that the dialog stood on is gone by now: it comes back onto the one that is left.
    Save_Window_Position("options", dialog.Handle());
    const RECT monitor{0, 0, 1280, 800};
    Set_Headless_Desktop(&monitor, 1, nullptr);
    Restore_Saved_Window_Position("options", dialog.Handle(), true, true);
    GetWindowRect(dialog.Handle(), &place);
    std::printf("back at %d,%d\n", place.left, place.top);
}
