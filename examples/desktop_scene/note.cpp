// note TITLE [X Y WIDTH HEIGHT]: a window with a note. There is one of each title: a second start
// brings the first one to the front. It comes back where it stood when it was closed.
//
// Lines of its input tell it to "minimise", to "close", and to tell "where" it stands.
#include <tarnwillow/crossprocess/instanceControl.h>
#include <tarnwillow/desktop/windowPositions.h>
#include <tarnwillow/platform/windows.h>

#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

class Note {
public:
    explicit Note(char const* title) : title_(title), server_(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(server_) != 0) return;
        screen_ = xcb_setup_roots_iterator(xcb_get_setup(server_)).data;
        protocols_ = atom("WM_PROTOCOLS");
        ping_ = atom("_NET_WM_PING");
        close_ = atom("WM_DELETE_WINDOW");
        create();
    }
    ~Note() { xcb_disconnect(server_); }
    Note(const Note&) = delete;
    Note& operator=(const Note&) = delete;

    explicit operator bool() const { return screen_ != nullptr; }
    tarnwillow::HWND handle() const {
        return reinterpret_cast<tarnwillow::HWND>(std::uintptr_t{window_});
    }
    int descriptor() const { return xcb_get_file_descriptor(server_); }

    void say(const std::string& line) {
        lines_.push_back(line);
        xcb_clear_area(server_, 1, window_, 0, 0, 0, 0);
        xcb_flush(server_);
    }

    /// False once the window is to close.
    bool handle_events() {
        bool stays = xcb_connection_has_error(server_) == 0;
        while (
            const std::unique_ptr<xcb_generic_event_t, Free> event{xcb_poll_for_event(server_)}) {
            const int kind = event->response_type & 0x7F;
            if (kind == XCB_EXPOSE) draw();
            if (kind == XCB_CLIENT_MESSAGE)
                stays &= answer(*reinterpret_cast<xcb_client_message_event_t*>(event.get()));
        }
        xcb_flush(server_);
        return stays;
    }

private:
    xcb_atom_t atom(char const* name) {
        const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(xcb_intern_atom_reply(
            server_,
            xcb_intern_atom(server_, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
            nullptr));
        return reply != nullptr ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    void create() {
        window_ = xcb_generate_id(server_);
        const std::uint32_t values[] = {0xFFF6D0, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(server_, XCB_COPY_FROM_PARENT, window_, screen_->root, 40, 40, 360, 160,
                          0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen_->root_visual,
                          XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        set(XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, title_.size(), title_.data());
        const auto process = static_cast<std::uint32_t>(getpid());
        set(atom("_NET_WM_PID"), XCB_ATOM_CARDINAL, 32, 1, &process);
        const xcb_atom_t protocols[] = {ping_, close_};
        set(protocols_, XCB_ATOM_ATOM, 32, 2, protocols);
        const xcb_font_t font = xcb_generate_id(server_);
        xcb_open_font(server_, font, 5, "fixed");
        pen_ = xcb_generate_id(server_);
        const std::uint32_t colours[] = {0x303030, 0xFFF6D0, font};
        xcb_create_gc(server_, pen_, window_, XCB_GC_FOREGROUND | XCB_GC_BACKGROUND | XCB_GC_FONT,
                      colours);
        // The library asks about the window over a connection of its own.
        const std::unique_ptr<void, Free> done(
            xcb_get_input_focus_reply(server_, xcb_get_input_focus(server_), nullptr));
    }

    void set(xcb_atom_t name, xcb_atom_t type, std::uint8_t format, std::size_t count,
             void const* data) {
        xcb_change_property(server_, XCB_PROP_MODE_REPLACE, window_, name, type, format,
                            static_cast<std::uint32_t>(count), data);
    }

    void draw() {
        std::int16_t y = 24;
        for (const std::string& line : lines_) {
            const std::size_t length = std::min<std::size_t>(line.size(), 255);
            xcb_image_text_8(server_, static_cast<std::uint8_t>(length), window_, pen_, 12, y,
                             line.data());
            y = static_cast<std::int16_t>(y + 18);
        }
    }

    bool answer(xcb_client_message_event_t& event) {
        if (event.type != protocols_) return true;
        if (event.data.data32[0] == close_) return false;
        if (event.data.data32[0] != ping_) return true;
        event.window = screen_->root;
        xcb_send_event(server_, 0, screen_->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<char const*>(&event));
        return true;
    }

    std::string title_;
    std::vector<std::string> lines_;
    xcb_connection_t* server_;
    xcb_screen_t const* screen_ = nullptr;
    xcb_window_t window_ = 0;
    xcb_gcontext_t pen_ = 0;
    xcb_atom_t protocols_ = 0, ping_ = 0, close_ = 0;
};

std::string where(tarnwillow::HWND window) {
    tarnwillow::RECT r{};
    if (!tarnwillow::GetWindowRect(window, &r)) return "nowhere";
    return std::to_string(r.left) + "," + std::to_string(r.top) + " " +
           std::to_string(r.right - r.left) + "x" + std::to_string(r.bottom - r.top);
}

void place(Note& note, char const* title, int count, char** numbers) {
    const tarnwillow::HWND window = note.handle();
    if (tarnwillow::Restore_Saved_Window_Position(title, window, true, true)) {
        note.say("Back where it stood, or where it fits:");
    } else {
        if (count == 4)
            tarnwillow::MoveWindow(window, std::atoi(numbers[0]), std::atoi(numbers[1]),
                                   std::atoi(numbers[2]), std::atoi(numbers[3]), false);
        tarnwillow::ShowWindow(window, tarnwillow::SW_SHOW);
        note.say("Shown for the first time:");
    }
    note.say(where(window));
}

void obey(Note& note, const std::string& line) {
    if (line == "minimise") tarnwillow::ShowWindow(note.handle(), tarnwillow::SW_MINIMIZE);
    if (tarnwillow::IsIconic(note.handle()))
        std::cout << "minimised" << std::endl;
    else
        std::cout << where(note.handle()) << std::endl;
}

/// Until its input ends, or somebody closes the window.
void live(Note& note) {
    std::cin.rdbuf()->pubsetbuf(nullptr, 0);
    pollfd wait[] = {{STDIN_FILENO, POLLIN, 0}, {note.descriptor(), POLLIN, 0}};
    while (note.handle_events()) {
        poll(wait, 2, -1);
        if (wait[0].revents == 0) continue;
        std::string line;
        if (!std::getline(std::cin, line) || line == "close") return;
        obey(note, line);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    Note note(argv[1]);
    if (!note) {
        std::cerr << "there is no display\n";
        return 1;
    }
    if (!tarnwillow::First_Instance("note", argv[1], note.handle())) {
        std::cout << argv[1] << " is open already: it is in front now" << std::endl;
        return 0;
    }
    place(note, argv[1], argc - 2, argv + 2);
    std::cout << argv[1] << " at " << where(note.handle()) << std::endl;
    live(note);
    tarnwillow::Save_Window_Position(argv[1], note.handle());
}
