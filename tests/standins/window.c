/* A program with a window, as any other on the desktop. It tells the window's number, does what
 * the lines of its input say, and answers pings unless it hangs. One argument: the title. */
#include <poll.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>
#include <xcb/xcb.h>

static xcb_connection_t* server;
static xcb_screen_t* screen;
static xcb_window_t window;
static bool hangs;

static xcb_atom_t atom(char const* name) {
    xcb_intern_atom_reply_t* reply = xcb_intern_atom_reply(
        server, xcb_intern_atom(server, 0, (uint16_t)strlen(name), name), NULL);
    const xcb_atom_t value = reply != NULL ? reply->atom : XCB_ATOM_NONE;
    free(reply);
    return value;
}

static void set_words(xcb_window_t of, char const* name, xcb_atom_t type, uint32_t count,
                      uint32_t const* words) {
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, of, atom(name), type, 32, count, words);
}

static void set_word(xcb_window_t of, char const* name, uint32_t word) {
    set_words(of, name, XCB_ATOM_CARDINAL, 1, &word);
}

static void set_title(xcb_window_t of, char const* title) {
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, of, atom("_NET_WM_NAME"),
                        atom("UTF8_STRING"), 8, (uint32_t)strlen(title), title);
}

/* Only the older property, in its own character set. */
static void set_latin_title(xcb_window_t of, char const* title) {
    xcb_delete_property(server, of, atom("_NET_WM_NAME"));
    xcb_change_property(server, XCB_PROP_MODE_REPLACE, of, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8,
                        (uint32_t)strlen(title), title);
}

static void create(xcb_window_t number, char const* title, uint16_t height) {
    const uint32_t values[] = {screen->white_pixel, XCB_EVENT_MASK_PROPERTY_CHANGE};
    xcb_create_window(server, XCB_COPY_FROM_PARENT, number, screen->root, 10, 10, 300, height, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    set_title(number, title);
    set_word(number, "_NET_WM_PID", (uint32_t)getpid());
    const uint32_t protocols[] = {atom("_NET_WM_PING"), atom("WM_DELETE_WINDOW")};
    set_words(number, "WM_PROTOCOLS", XCB_ATOM_ATOM, 2, protocols);
}

static bool has_property(xcb_window_t of, char const* name) {
    xcb_get_property_reply_t* reply = xcb_get_property_reply(
        server, xcb_get_property(server, 0, of, atom(name), XCB_ATOM_ANY, 0, 1), NULL);
    const bool found = reply != NULL && reply->type != XCB_ATOM_NONE;
    free(reply);
    return found;
}

/* Until the window manager, if there is one, has taken the window over. */
static void show(xcb_window_t shown) {
    xcb_map_window(server, shown);
    const bool managed = has_property(screen->root, "_NET_SUPPORTED");
    while (managed && !has_property(shown, "WM_STATE"))
        free(xcb_wait_for_event(server));
}

static void show_dialog(char const* title) {
    const xcb_window_t dialog = xcb_generate_id(server);
    create(dialog, title, 80);
    set_words(dialog, "WM_TRANSIENT_FOR", XCB_ATOM_WINDOW, 1, &window);
    show(dialog);
    printf("%u\n", dialog);
}

/* A panel at the lower edge. */
static void become_panel(uint32_t height) {
    const uint32_t dock = atom("_NET_WM_WINDOW_TYPE_DOCK");
    set_words(window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, 1, &dock);
    const uint32_t reserved[12] = {0, 0, 0, height, 0, 0, 0, 0, 0, 0, 0, 799};
    set_words(window, "_NET_WM_STRUT_PARTIAL", XCB_ATOM_CARDINAL, 12, reserved);
}

/* What is told by another line than "done" is told by the command itself. */
static bool carry_out(char const* command, char const* rest) {
    const uint32_t number = (uint32_t)strtoul(rest, NULL, 10);
    if (strcmp(command, "title") == 0) set_title(window, rest);
    if (strcmp(command, "latin") == 0) set_latin_title(window, rest);
    if (strcmp(command, "pid") == 0) set_word(window, "_NET_WM_PID", number);
    if (strcmp(command, "input") == 0) set_word(window, "_NET_WM_USER_TIME", number);
    if (strcmp(command, "show") == 0) show(window);
    if (strcmp(command, "panel") == 0) become_panel(number);
    if (strcmp(command, "hang") == 0) hangs = true;
    if (strcmp(command, "wake") == 0) hangs = false;
    if (strcmp(command, "mute") == 0) xcb_delete_property(server, window, atom("WM_PROTOCOLS"));
    if (strcmp(command, "close") == 0) xcb_destroy_window(server, window);
    if (strcmp(command, "again") == 0) create(window, rest, 200); /* the same number once more */
    if (strcmp(command, "dialog") != 0) return true;
    show_dialog(rest);
    return false;
}

static void obey(char* line) {
    line[strcspn(line, "\n")] = 0;
    char* const space = strchr(line, ' ');
    if (space != NULL) *space = 0;
    const bool says_done = carry_out(line, space != NULL ? space + 1 : "");
    free(xcb_get_input_focus_reply(server, xcb_get_input_focus(server), NULL));
    if (says_done) puts("done");
    fflush(stdout);
}

static void answer_ping(xcb_client_message_event_t* event) {
    if (event->type != atom("WM_PROTOCOLS") || event->data.data32[0] != atom("_NET_WM_PING"))
        return;
    event->window = screen->root;
    xcb_send_event(server, 0, screen->root,
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   (char const*)event);
}

static void handle_events(void) {
    xcb_generic_event_t* event;
    while (!hangs && (event = xcb_poll_for_event(server)) != NULL) {
        if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE)
            answer_ping((xcb_client_message_event_t*)event);
        free(event);
    }
    xcb_flush(server);
}

int main(int argc, char** argv) {
    setvbuf(stdin, NULL, _IONBF, 0); /* so that poll sees all that is left to read */
    server = xcb_connect(NULL, NULL);
    if (argc != 2 || xcb_connection_has_error(server)) return 1;
    screen = xcb_setup_roots_iterator(xcb_get_setup(server)).data;
    window = xcb_generate_id(server);
    create(window, argv[1], 200);
    xcb_flush(server);
    printf("%u\n", window);
    fflush(stdout);
    struct pollfd wait[] = {{STDIN_FILENO, POLLIN, 0}, {xcb_get_file_descriptor(server), POLLIN, 0}};
    char line[512];
    for (;;) {
        handle_events();
        if (xcb_connection_has_error(server)) return 2;
        wait[1].events = hangs ? 0 : POLLIN;
        poll(wait, 2, -1);
        if (wait[0].revents == 0) continue;
        if (fgets(line, sizeof line, stdin) == NULL) return 0;
        obey(line);
    }
}
