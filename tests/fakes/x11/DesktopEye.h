// DesktopEye.h: a desktop as somebody in front of it sees and touches it, from outside the program.
#pragma once

#include "platform/x11/xcbHandles.h"
#include "tests/fakes/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quillet::testing {

/// Looks at the pixels, moves the mouse and presses keys of the display that DISPLAY names, on a connection of its own.
///
/// Every call has reached the server when it returns. Threads: one.
class DesktopEye {
public:
    DesktopEye();

    [[nodiscard]] xcb_connection_t* xcb() const { return connection.get(); }
    [[nodiscard]] xcb_window_t root() const { return screen->root; }

    /// What the screen shows at `rect`, which lies inside it; without the pointer.
    [[nodiscard]] Picture look(const PixelRect& rect) const;
    [[nodiscard]] std::uint32_t at(int x, int y) const { return look({x, y, 1, 1}).at(0, 0); }

    void movePointer(int x, int y);
    void press(int button = 1);
    void release(int button = 1);

    /// A window of plain `colour` in the care of the window manager; `fullScreen` asks it for the whole screen. Mapped
    /// when the call returns, though the manager may take its time.
    enum class Extent { asGiven, fullScreen };
    xcb_window_t openWindow(const PixelRect& rect, std::uint32_t colour, Extent extent = Extent::asGiven);
    /// A menu or the like: of no window manager's concern.
    xcb_window_t openPopup(const PixelRect& rect, std::uint32_t colour);
    void close(xcb_window_t window);
    void raise(xcb_window_t window);
    /// Makes it look as if a window manager cared for it, and brings it to the front. For desktops without one.
    void markAsManaged(xcb_window_t window);
    /// The visible windows, bottom up.
    [[nodiscard]] std::vector<xcb_window_t> stack() const;

    /// How often the mouse was pressed in a window that this eye has opened.
    [[nodiscard]] int pressesIn(xcb_window_t window);
    [[nodiscard]] xcb_window_t keyboardHolder() const;
    /// Where a window is on the screen, as far as its shape goes; an empty rectangle when it does not exist.
    [[nodiscard]] PixelRect placeOf(xcb_window_t window) const;
    [[nodiscard]] bool isViewable(xcb_window_t window) const;
    void sync() const; ///< one round trip

private:
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;
    xcb_window_t create(const PixelRect& rect, std::uint32_t colour, std::uint32_t isUnmanaged);

    XcbConnectionHandle connection;
    const xcb_screen_t* screen = nullptr;
    std::vector<xcb_window_t> pressed; // one entry for each press
};

} // namespace quillet::testing
