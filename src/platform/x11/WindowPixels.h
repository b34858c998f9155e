// WindowPixels.h: other programs' windows as sources to draw from.
#pragma once

#include "platform/x11/PictureFormats.h"
#include "platform/x11/WindowStack.h"
#include "platform/x11/XConnection.h"

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <unordered_map>

namespace quillet {

/// Each window's own picture, border included, as the server keeps it; needs a WindowRedirection.
///
/// Pictures get their names when they are first needed. A window that is gone by then gives one that draws nothing;
/// the server's complaint about it (handleError) makes the next use try anew.
/// Threads: the connection's.
class WindowPixels {
public:
    WindowPixels(const XConnection& connection, const PictureFormats& formats);
    ~WindowPixels();
    WindowPixels(const WindowPixels&) = delete;
    WindowPixels& operator=(const WindowPixels&) = delete;

    /// 0 when the window's pixels are of a kind that cannot be drawn.
    [[nodiscard]] xcb_render_picture_t pictureOf(const StackedWindow& window);
    /// The window has been unmapped or resized: it has no picture, or another one.
    void forget(std::uint32_t window);
    void handleError(const xcb_generic_error_t& error);

private:
    struct Named {
        xcb_pixmap_t pixmap = 0;
        xcb_render_picture_t picture = 0;
    };
    void release(const Named& named);

    const XConnection& connection;
    const PictureFormats& formats;
    std::unordered_map<std::uint32_t, Named> named; // by window
};

} // namespace quillet
