// WindowWatch.h: keeps the mirror of the stack true to what the server tells.
#pragma once

#include "platform/x11/WindowDamage.h"
#include "platform/x11/WindowQuery.h"
#include "platform/x11/WindowStack.h"
#include "platform/x11/XClientResources.h"
#include "platform/x11/XConnection.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <set>
#include <unordered_set>
#include <vector>

namespace quillet {

/// Turns events into a WindowStack, asks for what they leave out, and knows which windows are ours: those that our
/// connections have made, those that were listed, and the frames that a window manager has put around either.
///
/// The server's own windows (a compositing manager's overlay is one) and those of this connection are left out.
/// Threads: the connection's.
class WindowWatch {
public:
    /// To be selected on the root, by whoever selects there.
    static constexpr std::uint32_t rootEvents = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_PROPERTY_CHANGE;

    struct Ours {
        std::vector<XClientResources> clients;
        std::set<std::uint32_t> listed;
    };
    WindowWatch(const XConnection& connection, WindowDamage& damage, Ours ours);

    /// Pixels of a window begin anew: it is about to be seen, or has another size. `part` is counted from its corner;
    /// the stack knows its new place already.
    std::function<void(std::uint32_t window, const QRegion& part)> onBeginning;
    /// The window has another place, or one inside it that watchInside() was called for.
    std::function<void(std::uint32_t window)> onMoved;
    /// The window has another size, and another picture. If it can be seen, onBeginning tells what of it begins anew.
    std::function<void(std::uint32_t window)> onResized;
    /// The window is no longer seen, and its picture is gone.
    std::function<void(std::uint32_t window)> onEnd;

    /// Reads all windows. After rootEvents have been selected; events that came before are then ignored.
    void start();
    /// True if the event was for this watch.
    bool handleEvent(const xcb_generic_event_t& event);
    /// From now on onMoved is also called when a window right inside this one has another place.
    void watchInside(std::uint32_t window);
    /// Asks for what events have left open: one round trip for each kind of question, none if nothing is open.
    void refresh();
    [[nodiscard]] bool needsRefresh() const { return !urgent.empty() || !reparented.empty(); }

    [[nodiscard]] const WindowStack& stack() const { return windows; }
    void forgetChanges() { windows.forgetChanges(); }
    /// Whether a property has changed that says what the root's background is. Asking forgets it.
    [[nodiscard]] bool takeWallpaperNews();

private:
    [[nodiscard]] bool isOurs(std::uint32_t window) const;
    [[nodiscard]] bool isIgnored(std::uint32_t window) const;
    void markUnknown(std::uint32_t window);
    void beginWatching(std::uint32_t window);
    void add(StackedWindow window);
    void remove(std::uint32_t window);
    void setMapped(std::uint32_t window, bool isMapped);
    void configure(const xcb_configure_notify_event_t& event);
    void reparent(const xcb_reparent_notify_event_t& event);
    void moveInside(std::uint32_t window);
    void beginAll(std::uint32_t window);
    void findFrames(const std::vector<std::uint32_t>& candidates);
    void climb(std::uint32_t window);

    const XConnection& connection;
    WindowDamage& damage;
    WindowQuery query;
    Ours ours;
    XClientResources self;
    WindowStack windows;
    std::uint32_t startedAt = 0;               // events numbered below are older than what start() has read
    std::unordered_set<std::uint32_t> unknown; // hidden windows whose facts are to be asked for once they are mapped
    std::unordered_set<std::uint32_t> urgent;  // mapped ones
    std::vector<std::uint32_t> reparented;     // windows of ours inside unknown ones
    std::vector<xcb_atom_t> wallpaperAtoms;
    bool wallpaperNews = false;
};

} // namespace quillet
