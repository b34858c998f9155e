// regions.h: exact sets of pixels, and the few rectangles that a server is asked for.
#pragma once

#include "media/PixelRect.h"

#include <QRegion>
#include <xcb/xcb.h>

#include <cstddef>
#include <vector>

namespace quillet {

// Beneath and around windows every pixel counts, so these sets are QRegions, which are exact and keep their rectangles
// in bands: joining and cutting costs microseconds also for the hundreds of rectangles of a disc.

[[nodiscard]] inline QRect toQRect(const PixelRect& rect) { return {rect.x, rect.y, rect.width, rect.height}; }
[[nodiscard]] inline PixelRect toPixelRect(const QRect& rect) {
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

/// What the server tells as a list of rectangles without overlaps, sorted in bands, as its own regions are. A list that
/// is in no such order takes longer.
[[nodiscard]] QRegion regionOf(const xcb_rectangle_t* rects, std::size_t count);

/// `region` with `margin` pixels more on every side; where it consists of many rectangles, the same around its bounds.
[[nodiscard]] QRegion grown(const QRegion& region, int margin);

/// Few rectangles that cover `region`, because each costs a request while some more pixels cost little. They may cover
/// each other, and are never more pixels together than `area`, which must hold the region.
[[nodiscard]] std::vector<PixelRect> coarseRects(const QRegion& region, const PixelRect& area);

} // namespace quillet
