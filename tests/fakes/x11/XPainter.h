// XPainter.h: a program that shows computed windows on an X display.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/monitors.h"
#include "platform/x11/xcbHandles.h"
#include "tests/fakes/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace quillet::testing {

/// Windows of noise over a plain root window, and what the display must look like: expected() is computed from what was
/// asked of the painter, never read back.
///
/// Every call has reached the server when it returns. Threads: one.
class XPainter {
public:
    explicit XPainter(const std::string& displayName);

    [[nodiscard]] xcb_connection_t* xcb() const { return connection.get(); }
    [[nodiscard]] xcb_window_t root() const { return screen->root; }
    [[nodiscard]] std::vector<Monitor> monitors() const;

    enum class Management { ignored, managed }; ///< by a window manager

    /// Maps a window of noise and gives its number, for the calls below. The latest one is on top.
    std::size_t addWindow(const PixelRect& rect, std::uint32_t seed, Management management = Management::ignored);
    void repaint(std::size_t window, std::uint32_t seed);
    /// New noise in `part` of the window only.
    void repaintPart(std::size_t window, const PixelRect& part, std::uint32_t seed);
    /// Paints again what the server has asked for since the last call.
    void repaintExposed();
    void move(std::size_t window, int x, int y);
    void unmap(std::size_t window);
    void raise(std::size_t window);

    void movePointer(int x, int y); ///< as a hand would, with XTEST
    void warpPointer(int x, int y); ///< as a program does
    /// Gives the root and all windows a pointer of plain `colour`, opaque, with its hot spot at (hotX, hotY); an empty
    /// size hides it.
    void setCursor(int width, int height, int hotX, int hotY, std::uint32_t colour);

    /// Changes the size of the screen through RandR.
    void resizeScreen(int width, int height);

    void sync() const; ///< one round trip
    /// Waits until `name` is owned: that a compositing manager runs.
    [[nodiscard]] bool waitForSelection(const std::string& name) const;
    /// Waits until the root has a property: that a window manager runs.
    [[nodiscard]] bool waitForRootProperty(const std::string& name) const;
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const;

    /// The display without the pointer. Managed windows are not in it.
    [[nodiscard]] Picture expected() const;
    [[nodiscard]] PixelRect cursorRect() const; ///< where the pointer's picture is now

private:
    struct Window {
        xcb_window_t id = 0;
        PixelRect rect;
        Picture content;
        bool isMapped = true;
    };
    void put(const Window& window, const PixelRect& part) const;

    XcbConnectionHandle connection;
    const xcb_screen_t* screen = nullptr;
    xcb_gcontext_t graphics = 0;
    std::vector<Window> windows;    // by number
    std::vector<std::size_t> order; // bottom up
    xcb_cursor_t cursor = 0;
    PixelRect cursorImage; // x and y: minus the hot spot
    int pointerX = 0;
    int pointerY = 0;
};

} // namespace quillet::testing
