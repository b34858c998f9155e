// WindowDamage.h: what programs draw into their top-level windows, seen or hidden.
#pragma once

#include "platform/x11/XConnection.h"

#include <QRegion>
#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace quillet {

/// The screen's own damage says nothing of what is drawn beneath an opaque window; each window's own does.
///
/// The server announces the first change of a window after it was last taken or dropped, and no more.
/// Threads: the connection's.
class WindowDamage {
public:
    explicit WindowDamage(const XConnection& connection);
    ~WindowDamage();
    WindowDamage(const WindowDamage&) = delete;
    WindowDamage& operator=(const WindowDamage&) = delete;

    /// Begins to watch a window, whatever it shows already.
    void watch(std::uint32_t window);
    /// The window is gone, and what watched it with it.
    void forget(std::uint32_t window);

    /// True if the event was for a watched window.
    bool handleEvent(const xcb_generic_event_t& event);
    [[nodiscard]] const std::unordered_set<std::uint32_t>& announced() const { return flagged; }

    /// What has been drawn into the window so far is of no interest.
    void drop(std::uint32_t window);
    /// Asks for what has been drawn into these windows since, announced or not; does not wait. Then collect() waits.
    void request(const std::vector<std::uint32_t>& windows);
    /// Windows into which nothing was drawn are left out. Regions are counted from the window's inner corner, inside
    /// its border.
    [[nodiscard]] std::vector<std::pair<std::uint32_t, QRegion>> collect();

private:
    const XConnection& connection;
    struct Watch {
        xcb_damage_damage_t damage;
        std::uint32_t answeredBy; // the sequence number of the last request that took or dropped it, or that began it
    };
    std::unordered_map<std::uint32_t, Watch> watches; // by window
    std::unordered_set<std::uint32_t> flagged;
    std::vector<xcb_xfixes_region_t> spare; // used again and again
    std::vector<std::pair<std::uint32_t, xcb_xfixes_fetch_region_cookie_t>> asked;
};

} // namespace quillet
