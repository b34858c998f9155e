// regionArithmetic.h: where the capture range goes: chosen, moved, resized; and its handles. Global screen points.
#pragma once

#include "geometry/RangeMode.h"
#include "geometry/Rect.h"
#include "geometry/Screen.h"

#include <optional>

namespace quillet {

/// The smallest width and height that a resize gives away from the screen's edges.
inline constexpr double smallestRegionSide = 120;
inline constexpr Size moveHandleSize{30, 30};
inline constexpr Size resizeHandleSize{26, 26};

/// The range for `mode` on `screen`. Landscape takes 60 % of the visible width, portrait 70 % of the visible height,
/// both with a limit in points; free keeps `current` within limits; full screen is the whole screen, panels included.
[[nodiscard]] Rect placedRegion(RangeMode mode, Size current, const Screen& screen);

/// `start` with its lower right corner moved by (dx, dy); the upper left one stays. With an aspect (width / height) the
/// width leads. The screen's right and bottom edges cut last, whatever that does to aspect and smallest size.
[[nodiscard]] Rect resizedRegion(const Rect& start, double dx, double dy, std::optional<double> aspect,
                                 const Rect& screenFrame);

/// Inside the upper left corner.
[[nodiscard]] Rect moveHandleFrame(const Rect& region);
/// Inside the lower right corner.
[[nodiscard]] Rect resizeHandleFrame(const Rect& region);

} // namespace quillet
