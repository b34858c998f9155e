// RebuiltGround.h: a picture of the screen without our windows, drawn by the server where it is needed.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/PictureFormats.h"
#include "platform/x11/WallpaperGround.h"
#include "platform/x11/WindowPixels.h"
#include "platform/x11/WindowStack.h"
#include "platform/x11/XConnection.h"
#include "platform/x11/groundPlan.h"

#include <QRegion>
#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstdint>

namespace quillet {

/// A pixmap of the captured area; valid only where the last plan was drawn. Threads: the connection's.
class RebuiltGround {
public:
    RebuiltGround(const XConnection& connection, const PictureFormats& formats, const PixelRect& area);
    ~RebuiltGround();
    RebuiltGround(const RebuiltGround&) = delete;
    RebuiltGround& operator=(const RebuiltGround&) = delete;

    struct Sources {
        const WindowStack& stack;
        WindowPixels& windows;
        xcb_render_picture_t background;
    };
    /// Sends; does not wait.
    void draw(const GroundPlan& plan, const Sources& sources);

    [[nodiscard]] xcb_drawable_t drawable() const { return pixmap; }
    [[nodiscard]] const PixelRect& area() const { return place; }

private:
    void clipTo(const QRegion& region);
    [[nodiscard]] xcb_render_picture_t maskOf(std::uint32_t opacity);

    const XConnection& connection;
    const PictureFormats& formats;
    PixelRect place;
    xcb_pixmap_t pixmap = 0;
    xcb_render_picture_t target = 0;
    xcb_render_picture_t mask = 0; // 0 or of `maskLevel`
    std::uint32_t maskLevel = 0;
};

} // namespace quillet
