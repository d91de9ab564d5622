#include "tarnwillow/platform/x11Monitors.h"

#include <xcb/randr.h>

#include <algorithm>

#include "tarnwillow/platform/coordinates.h"
#include "tarnwillow/platform/x11Properties.h"

namespace tarnwillow::platform::x11 {

namespace {

RECT whole_screen(Connection& connection) {
    const auto size = connection.reply<xcb_get_geometry_reply_t>(
        xcb_get_geometry(connection.raw(), connection.root()));
    if (size != nullptr) return {0, 0, size->width, size->height};
    return {0, 0, connection.screen().width_in_pixels, connection.screen().height_in_pixels};
}

RECT rectangle_of(const xcb_randr_monitor_info_t& monitor) {
    return {monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height};
}

/// Calls `each` for every monitor, the primary one first; how many there are.
template <class Each>
std::size_t for_monitors(Connection& connection, Each each) {
    const auto list = connection.has_monitors()
                          ? connection.reply<xcb_randr_get_monitors_reply_t>(
                                xcb_randr_get_monitors(connection.raw(), connection.root(), 1))
                          : nullptr;
    if (list == nullptr) return 0;
    std::size_t count = 0;
    for (const bool primary : {true, false})
        for (auto at = xcb_randr_get_monitors_monitors_iterator(list.get()); at.rem > 0;
             xcb_randr_monitor_info_next(&at))
            if ((at.data->primary != 0) == primary) each(count++, rectangle_of(*at.data));
    return count;
}

/// What is reserved at the four edges of the whole screen, in the order of the properties.
struct Reserved {
    std::uint32_t left, right, top, bottom;
    std::uint32_t spans[8];  // from and to along each edge
};

constexpr std::uint32_t kToTheEnd = 0x7FFF;

/// A stranger's number, of which no more counts than fits on any screen.
std::int32_t bounded(std::uint32_t value) {
    return static_cast<std::int32_t>(std::min(value, kToTheEnd));
}

RECT common_part(const RECT& one, const RECT& other) {
    return {std::max(one.left, other.left), std::max(one.top, other.top),
            std::min(one.right, other.right), std::min(one.bottom, other.bottom)};
}

/// The widest band that has been taken away from a monitor so far.
class Bands {
public:
    Bands(const RECT& screen, const RECT& monitor) : screen_(screen), monitor_(monitor) {}

    void add(const Reserved& reserved) {
        const auto [left, top, right, bottom] = screen_;
        const std::uint32_t* const at = reserved.spans;
        if (reserved.left > 0)
            add({left, bounded(at[0]), left + bounded(reserved.left), bounded(at[1]) + 1}, true);
        if (reserved.right > 0)
            add({right - bounded(reserved.right), bounded(at[2]), right, bounded(at[3]) + 1}, true);
        if (reserved.top > 0)
            add({bounded(at[4]), top, bounded(at[5]) + 1, top + bounded(reserved.top)}, false);
        if (reserved.bottom > 0)
            add({bounded(at[6]), bottom - bounded(reserved.bottom), bounded(at[7]) + 1, bottom},
                false);
    }

    bool widest(RECT* out) const {
        if (thickness_ > 0) *out = widest_;
        return thickness_ > 0;
    }

private:
    /// Only what takes most of the edge of this monitor, and leaves some of it.
    void add(const RECT& band, bool upright) {
        const RECT part = common_part(band, monitor_);
        const std::int32_t thickness = upright ? width_of(part) : height_of(part);
        const std::int32_t length = upright ? height_of(part) : width_of(part);
        const std::int32_t whole = upright ? height_of(monitor_) : width_of(monitor_);
        const std::int32_t depth = upright ? width_of(monitor_) : height_of(monitor_);
        if (length * 2 <= whole || thickness <= thickness_ || thickness >= depth) return;
        thickness_ = thickness;
        widest_ = part;
    }

    RECT screen_;
    RECT monitor_;
    RECT widest_{};
    std::int32_t thickness_ = 0;
};

void add_panel(Connection& connection, xcb_window_t window, Bands& bands) {
    const Property exact(connection, window, connection.atom(Name::net_wm_strut_partial), 12);
    const Property whole(connection, window, connection.atom(Name::net_wm_strut), 4);
    const auto words = exact.words().size() == 12 ? exact.words() : whole.words();
    if (words.size() < 4) return;
    Reserved reserved{words[0],
                      words[1],
                      words[2],
                      words[3],
                      {0, kToTheEnd, 0, kToTheEnd, 0, kToTheEnd, 0, kToTheEnd}};
    if (words.size() == 12) std::copy(words.begin() + 4, words.end(), reserved.spans);
    bands.add(reserved);
}

/// What the window manager says is left, for panels that tell nothing.
void add_work_area(Connection& connection, const RECT& screen, Bands& bands) {
    const auto desktop =
        word_of(connection, connection.root(), Name::net_current_desktop).value_or(0);
    const Property areas(connection, connection.root(), connection.atom(Name::net_workarea), 1024);
    const auto words = areas.words();
    const std::size_t at = std::size_t{desktop} * 4;
    if (words.size() < at + 4) return;
    const std::int32_t left = bounded(words[at]), top = bounded(words[at + 1]);
    const std::int32_t right = screen.right - left - bounded(words[at + 2]);
    const std::int32_t bottom = screen.bottom - top - bounded(words[at + 3]);
    const auto reserved = [](std::int32_t size) {
        return static_cast<std::uint32_t>(std::max(size, 0));
    };
    bands.add({reserved(left),
               reserved(right),
               reserved(top),
               reserved(bottom),
               {0, kToTheEnd, 0, kToTheEnd, 0, kToTheEnd, 0, kToTheEnd}});
}

}  // namespace

std::size_t monitors(Connection& connection, RECT* dest, std::size_t room) {
    const std::size_t count = for_monitors(connection, [&](std::size_t i, const RECT& monitor) {
        if (i < room) dest[i] = monitor;
    });
    if (count > 0) return count;
    if (room > 0) dest[0] = whole_screen(connection);
    return 1;
}

RECT primary_monitor(Connection& connection) {
    RECT first{};
    monitors(connection, &first, 1);
    return first;
}

bool task_bar(Connection& connection, RECT* out) {
    const RECT screen = whole_screen(connection);
    Bands bands(screen, primary_monitor(connection));
    const Clients clients(connection);
    for (const xcb_window_t window : clients.windows())
        add_panel(connection, window, bands);
    if (bands.widest(out)) return true;
    add_work_area(connection, screen, bands);
    return bands.widest(out);
}

}  // namespace tarnwillow::platform::x11
