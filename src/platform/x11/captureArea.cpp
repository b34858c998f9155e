#include "platform/x11/captureArea.h"

namespace quillet {

PixelRect captureArea(const PixelRect& monitor, const PixelRect& root, int width, int height) {
    const PixelRect area = PixelRect{monitor.x, monitor.y, width, height}.intersection(monitor).intersection(root);
    return area.isEmpty() ? PixelRect{monitor.x, monitor.y, 0, 0} : area;
}

std::vector<PixelRect> fetchPlan(const PixelRegion& wanted, const PixelRect& area) {
    std::int64_t pixels = 0;
    for (const PixelRect& rect : wanted.rects())
        pixels += rect.area();
    // Rectangles may overlap, and each costs a request.
    if (pixels * 4 > area.area() * 3) return {wanted.bounds()};
    return wanted.rects();
}

} // namespace quillet
