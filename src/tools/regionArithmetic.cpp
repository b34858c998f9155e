#include "tools/regionArithmetic.h"

#include <algorithm>

namespace quillet {

namespace {

constexpr double handleInset = 4;

Size chosenSize(RangeMode mode, Size current, const Rect& visible) {
    const std::optional<double> aspect = aspectRatio(mode);
    if (!aspect)
        return {std::min(std::max(current.width, 480.0), 0.8 * visible.width),
                std::min(std::max(current.height, 320.0), 0.8 * visible.height)};
    if (*aspect >= 1) {
        const double width = std::min(0.6 * visible.width, 1280.0);
        return {width, width / *aspect};
    }
    const double height = std::min(0.7 * visible.height, 900.0);
    return {*aspect * height, height};
}

} // namespace

Rect placedRegion(RangeMode mode, Size current, const Screen& screen) {
    if (mode == RangeMode::fullscreen) return screen.frame;
    const Rect& visible = screen.visibleFrame;
    const Size size = chosenSize(mode, current, visible);
    return {visible.midX() - size.width / 2, visible.midY() - size.height / 2, size.width, size.height};
}

Rect resizedRegion(const Rect& start, double dx, double dy, std::optional<double> aspect, const Rect& screenFrame) {
    double width = std::max(smallestRegionSide, start.width + dx);
    double height = std::max(smallestRegionSide, start.height - dy);
    if (aspect) {
        height = width / *aspect;
        if (height < smallestRegionSide) {
            height = smallestRegionSide;
            width = *aspect * smallestRegionSide;
        }
    }
    const double x = start.minX();
    // Not from the upper edge, so that an unchanged height gives the very same place.
    double y = start.minY() + (start.height - height);
    if (x + width > screenFrame.maxX()) width = screenFrame.maxX() - x;
    if (y < screenFrame.minY()) {
        height -= screenFrame.minY() - y;
        y = screenFrame.minY();
    }
    return {x, y, width, height};
}

Rect moveHandleFrame(const Rect& region) {
    return {region.minX() + handleInset, region.maxY() - moveHandleSize.height - handleInset, moveHandleSize.width,
            moveHandleSize.height};
}

Rect resizeHandleFrame(const Rect& region) {
    return {region.maxX() - resizeHandleSize.width - handleInset, region.minY() + handleInset, resizeHandleSize.width,
            resizeHandleSize.height};
}

} // namespace quillet
