// XDesktopWatch.h: compositing managers and the stack of windows of an X display.
#pragma once

#include "platform/DesktopWatch.h"
#include "platform/x11/xcbHandles.h"

#include <QObject>
#include <QSocketNotifier>
#include <xcb/xcb.h>

#include <memory>
#include <vector>

namespace quillet {

/// Listens on a connection of its own, so that the toolkit's event masks stay the toolkit's. Threads: main.
class XDesktopWatch : public DesktopWatch {
public:
    /// Null when DISPLAY cannot be reached.
    [[nodiscard]] static std::unique_ptr<XDesktopWatch> make();

    [[nodiscard]] bool isComposited() const override { return composited; }
    [[nodiscard]] bool isProgramInFrontOf(const std::vector<std::uint32_t>& windows) override;

private:
    XDesktopWatch() = default;
    void listen();
    void drain();
    void note(const xcb_generic_event_t& event);
    void noteOrder(xcb_window_t window, xcb_window_t below);
    [[nodiscard]] bool ownsCompositing() const;
    [[nodiscard]] std::vector<xcb_window_t> visibleOf(const std::vector<xcb_window_t>& windows) const;
    [[nodiscard]] bool anyManaged(std::vector<xcb_window_t> windows) const;

    XcbConnectionHandle connection;
    xcb_window_t root = XCB_NONE;
    xcb_atom_t manager = XCB_NONE; // the selection that a compositing manager owns
    xcb_atom_t managedState = XCB_NONE;
    std::uint8_t firstFixesEvent = 0;
    bool composited = false;
    bool compositingChanged = false;
    bool restacked = false;
    // The root's children as reported, bottom up: moves and new sizes report the order again.
    std::vector<xcb_window_t> stack;
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace quillet
