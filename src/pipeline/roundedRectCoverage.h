// roundedRectCoverage.h: how much of a pixel a rounded rectangle covers.
#pragma once

#include "geometry/Rect.h"

namespace quillet {

/// The exact area, 0 to 1, that the rectangle with round corners (circles of `radius`, at most half the shorter side)
/// and the unit square from (x, y) to (x + 1, y + 1) have in common. With half the side as radius of a square: a disc.
[[nodiscard]] double roundedRectCoverage(const Rect& rect, double radius, double x, double y);

} // namespace quillet
