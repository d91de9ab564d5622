#include "support/x11Display.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/windowTexts.h"
#include "tarnwillow/platform/x11Windows.h"

namespace tarnwillow::test {

namespace {

constexpr int kPatienceMilliseconds = 30000;

bool is_installed(std::string_view program) {
    const char* const path = std::getenv("PATH");
    for (std::string_view rest = path != nullptr ? path : "/usr/bin"; !rest.empty();) {
        const std::string_view folder = rest.substr(0, rest.find(':'));
        rest.remove_prefix(std::min(rest.size(), folder.size() + 1));
        if (access((std::string(folder) + "/" + std::string(program)).c_str(), X_OK) == 0)
            return true;
    }
    return false;
}

/// Starts a program that ends with this one. `kept` stays open for it as descriptor 3.
pid_t start(std::vector<std::string> arguments, int kept = -1) {
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    const int nowhere = open("/dev/null", O_RDWR);
    dup2(nowhere, STDIN_FILENO);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    if (kept >= 0) dup2(kept, 3);
    execvp(pointers[0], pointers.data());
    _exit(127);
}

void run(std::vector<std::string> arguments) {
    int state = 0;
    const pid_t child = start(std::move(arguments));
    if (waitpid(child, &state, 0) != child || state != 0) throw std::runtime_error("a tool failed");
}

/// The server writes its number once it listens.
std::string read_line(int descriptor) {
    std::string line;
    char c = 0;
    for (pollfd wait{descriptor, POLLIN, 0};
         poll(&wait, 1, kPatienceMilliseconds) > 0 && read(descriptor, &c, 1) == 1 && c != '\n';)
        line += c;
    return line;
}

xcb_atom_t atom(xcb_connection_t* server, std::string_view name) {
    auto* const reply = xcb_intern_atom_reply(
        server, xcb_intern_atom(server, 0, static_cast<std::uint16_t>(name.size()), name.data()),
        nullptr);
    const xcb_atom_t value = reply != nullptr ? reply->atom : 0;
    std::free(reply);
    return value;
}

bool has_property(xcb_connection_t* server, xcb_window_t window, xcb_atom_t name) {
    auto* const reply = xcb_get_property_reply(
        server, xcb_get_property(server, 0, window, name, XCB_ATOM_ANY, 0, 1), nullptr);
    const bool found = reply != nullptr && reply->type != XCB_ATOM_NONE;
    std::free(reply);
    return found;
}

/// Asks the window manager for the frame that a window would have.
void ask_for_frame(xcb_connection_t* server, xcb_window_t root, xcb_window_t window) {
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(server, "_NET_REQUEST_FRAME_EXTENTS");
    xcb_send_event(server, 0, root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<char const*>(&event));
    xcb_flush(server);
}

/// Waits until the window manager answers: what it tells of itself, it tells before it listens.
bool wait_for_manager(std::string const& display) {
    constexpr int kAskAgainMilliseconds = 50;
    xcb_connection_t* const server = xcb_connect(display.c_str(), nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(server)).data->root;
    const xcb_window_t window = xcb_generate_id(server);
    const std::uint32_t changes = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(server, XCB_COPY_FROM_PARENT, window, root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                      &changes);
    const xcb_atom_t answer = atom(server, "_NET_FRAME_EXTENTS");
    bool found = false;
    for (int asked = 0; !found && asked < kPatienceMilliseconds; asked += kAskAgainMilliseconds) {
        ask_for_frame(server, root, window);
        pollfd wait{xcb_get_file_descriptor(server), POLLIN, 0};
        poll(&wait, 1, kAskAgainMilliseconds);
        found = has_property(server, window, answer);
        while (xcb_generic_event_t* const event = xcb_poll_for_event(server))
            std::free(event);
    }
    xcb_disconnect(server);
    return found;
}

}  // namespace

std::string X11Display::missing() {
    std::string all;
    for (char const* program : {"Xvfb", "openbox", "xrandr"})
        if (!is_installed(program)) all += std::string(all.empty() ? "" : ", ") + program;
    return all;
}

X11Display::Process::~Process() { end(SIGTERM); }

void X11Display::Process::end(int signal) {
    if (id <= 0) return;
    kill(id, signal);
    kill(id, SIGCONT);
    while (waitpid(id, nullptr, 0) < 0 && errno == EINTR) {
    }
    id = -1;
}

std::string X11Display::own_name() { return ":" + std::to_string(1000 + getpid() % 50000); }

X11Display::X11Display(bool with_manager, std::string name) : name_(std::move(name)) {
    start_server();
    platform::leave_x11_windows();  // whatever the process took for its display before
    if (with_manager) start_manager();
}

X11Display::~X11Display() {
    platform::leave_x11_windows();
    unsetenv("DISPLAY");
}

void X11Display::start_server() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    std::vector<std::string> arguments{"Xvfb"};
    if (!name_.empty()) arguments.push_back(name_);
    for (char const* more :
         {"-displayfd", "3", "-screen", "0", "1600x800x24", "-nolisten", "tcp", "-noreset"})
        arguments.emplace_back(more);
    server_.id = start(arguments, ends[1]);
    close(ends[1]);
    const std::string number = read_line(ends[0]);
    close(ends[0]);
    if (number.empty()) throw std::runtime_error("no X server");
    name_ = ":" + number;
    setenv("DISPLAY", name_.c_str(), 1);
    run({"xrandr", "--setmonitor", "*left", "800/200x800/200+0+0", "screen"});
    run({"xrandr", "--setmonitor", "right", "800/200x800/200+800+0", "none"});
}

void X11Display::start_manager() {
    // No settings but those of the machine.
    manager_.id = start(
        {"env", "HOME=/nonexistent", "XDG_CONFIG_HOME=/nonexistent", "openbox", "--sm-disable"});
    if (!wait_for_manager(name_)) throw std::runtime_error("no window manager");
}

void X11Display::lose_monitor() { run({"xrandr", "--delmonitor", "right"}); }

void X11Display::kill_server() {
    server_.end(SIGKILL);
    manager_.end(SIGTERM);
}

void X11Display::freeze(bool frozen) { kill(server_.id, frozen ? SIGSTOP : SIGCONT); }

Window::Window(std::string_view title, bool shown)
    : program_(Program{TARNWILLOW_STANDINS "/window", std::string(title)}),
      handle_(to_window(program_.line())) {
    if (shown) tell("show");
}

void Window::tell(std::string_view command) {
    if (program_.ask(command) != "done") throw std::runtime_error("the window's program failed");
}

HWND Window::add_dialog(std::string_view title) {
    return to_window(program_.ask("dialog " + std::string(title)));
}

}  // namespace tarnwillow::test
