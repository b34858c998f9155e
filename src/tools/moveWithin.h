// moveWithin.h: how far a dragged window goes.
#pragma once

#include "geometry/Rect.h"

#include <algorithm>

namespace quillet {

/// `start` moved by (dx, dy) and kept inside `bounds`; what is larger than these ends at their upper edges.
[[nodiscard]] inline Rect moveWithin(const Rect& start, double dx, double dy, const Rect& bounds) {
    const auto kept = [](double wanted, double lower, double upper) {
        return std::min(std::max(wanted, lower), upper);
    };
    return {kept(start.minX() + dx, bounds.minX(), bounds.maxX() - start.width),
            kept(start.minY() + dy, bounds.minY(), bounds.maxY() - start.height), start.width, start.height};
}

} // namespace quillet
