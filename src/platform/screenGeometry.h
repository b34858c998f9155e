// screenGeometry.h: the arrangement of monitors in global screen points, and the one place where the window layer's y
// turns.
#pragma once

#include "geometry/Screen.h"
#include "platform/Monitor.h"

#include <QPointF>
#include <QRect>
#include <QRectF>

#include <vector>

namespace quillet {

/// Where global screen points (y up) begin in the toolkit's coordinates (y down): the main screen's bottom left corner.
struct ScreenSpace {
    double left = 0;
    double bottom = 0;

    friend bool operator==(const ScreenSpace&, const ScreenSpace&) = default;
};

/// The toolkit's coordinates as global screen points, and back. Both keep sizes; a rectangle's place is its top left
/// corner there and its bottom left corner here.
[[nodiscard]] Point toGlobal(const QPointF& point, const ScreenSpace& space);
[[nodiscard]] Rect toGlobal(const QRectF& rect, const ScreenSpace& space);
[[nodiscard]] QPointF toQt(const Point& point, const ScreenSpace& space);
[[nodiscard]] QRectF toQt(const Rect& rect, const ScreenSpace& space);

/// What the toolkit says of one screen, in its own coordinates.
struct ToolkitScreen {
    std::string name;
    QRect geometry;
    QRect availableGeometry; ///< without panels and docks
    double pixelRatio = 1;   ///< pixels per point
};

struct ScreenArrangement {
    ScreenList list;
    ScreenSpace space;
    /// Toolkit and window system agree on every screen's size. While screens change they may not: one of them is ahead,
    /// and another look is needed, which nothing announces.
    bool isSettled = true;
};

/// Joins the toolkit's screens (the primary one first, as the toolkit sorts them) with the window system's monitors, by
/// name or else by place and size.
///
/// Frames are the toolkit's: their places are what windows are moved to. With several scale factors the toolkit leaves
/// every screen's corner at its place in pixels and only shrinks its size, so that there are gaps between screens; no
/// window ever stands in one. The toolkit also cuts sizes to whole points; they are made exact again from the pixels
/// (533 points of an 800-pixel screen at 1.5 become 533.33), so that a place counted from the bottom is off by no
/// fraction of a pixel. A monitor that the toolkit does not know is left out; a screen that no monitor matches has no
/// display identifier.
[[nodiscard]] ScreenArrangement arrangeScreens(const std::vector<ToolkitScreen>& screens,
                                               const std::vector<Monitor>& monitors);

/// Where a window with this frame stands in pixels of the whole desktop (y down), rounded as a film of its screen
/// rounds it; that is the screen with its centre, else the main one. Without any screen a point is a pixel.
[[nodiscard]] PixelRect desktopPixels(const Rect& frame, const ScreenArrangement& arrangement);

/// A pixel of the whole desktop (y down) as a global screen point, by the screen that it is on; on none, as if the main
/// one went on. Between pixels of one screen the ways are exact: a pixel is one point divided by the screen's scale.
[[nodiscard]] Point globalPoint(const QPoint& pixel, const ScreenArrangement& arrangement);

} // namespace quillet
