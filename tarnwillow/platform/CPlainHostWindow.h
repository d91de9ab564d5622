#pragma once

#include <string>

#include "tarnwillow/platform/IHostWindow.h"

namespace tarnwillow {

/// A dialog or a control in memory, for hosts without a toolkit. It is registered while it lives.
/// The thread that makes it owns it.
class TARNWILLOW_API CPlainHostWindow : public IHostWindow {
public:
    /// `place` is in the parent's client area, or on the screen without a parent.
    explicit CPlainHostWindow(const RECT& place, HWND parent = nullptr, int item = 0,
                              char const* text = "");
    ~CPlainHostWindow() override;
    CPlainHostWindow(const CPlainHostWindow&) = delete;
    CPlainHostWindow& operator=(const CPlainHostWindow&) = delete;

    /// Null if it could not be registered.
    HWND Handle() const { return handle; }

    /// How far the frame reaches into the window at each edge; none at first.
    void Set_Frame(const RECT& thickness) { frame = thickness; }

    /// A font that must stay alive; null for the stock font, as at first.
    void Set_Font(IHostFont* own) { font = own; }

    std::size_t Get_Text(char* dest, std::size_t size) override;
    bool Set_Text(char const* new_text) override;
    bool Get_Selection(std::uint32_t* start, std::uint32_t* end) override;
    bool Set_Selection(std::uint32_t start, std::uint32_t end) override;
    RECT Get_Rectangle() override;
    RECT Get_Client_Area() override;
    bool Move(const RECT& new_place, bool repaint) override;
    /// See IHostWindow.
    bool Is_Visible() override { return visible; }
    void Show(bool shown) override { visible = shown; }
    bool Bring_To_Front() override { return false; }
    IHostFont* Get_Font() override { return font; }

private:
    RECT place;
    RECT frame{};
    std::string text;
    std::uint32_t selection_start = 0;
    std::uint32_t selection_end = 0;
    bool visible = true;
    IHostFont* font = nullptr;
    HWND handle;
};

}  // namespace tarnwillow
