#include "platform/x11/regions.h"

#include <algorithm>
#include <limits>

namespace quillet {

namespace {

/// What a further request costs, in pixels that could be copied meanwhile.
constexpr std::int64_t requestCost = 16384;
constexpr std::size_t mostRects = 16;
constexpr int manyRects = 16;

std::int64_t waste(const PixelRect& first, const PixelRect& second) {
    return first.united(second).area() - first.area() - second.area();
}

void joinInto(std::vector<PixelRect>& rects, const PixelRect& rect) {
    std::size_t best = rects.size();
    std::int64_t least = rects.size() < mostRects ? requestCost : std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < rects.size(); ++i)
        if (const std::int64_t price = waste(rects[i], rect); price < least) {
            least = price;
            best = i;
        }
    if (best == rects.size())
        rects.push_back(rect);
    else
        rects[best] = rects[best].united(rect);
}

/// Whether the second may follow the first in a list of bands.
bool followsInBands(const QRect& first, const QRect& second) {
    if (second.top() == first.top()) return second.bottom() == first.bottom() && second.left() > first.right();
    return second.top() > first.bottom();
}

} // namespace

QRegion regionOf(const xcb_rectangle_t* rects, std::size_t count) {
    if (count == 0) return {};
    std::vector<QRect> converted;
    converted.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        if (rects[i].width != 0 && rects[i].height != 0)
            converted.emplace_back(rects[i].x, rects[i].y, rects[i].width, rects[i].height);
    QRegion region;
    const auto isOut = [](const QRect& first, const QRect& second) { return !followsInBands(first, second); };
    if (std::adjacent_find(converted.begin(), converted.end(), isOut) == converted.end())
        region.setRects(converted.data(), static_cast<int>(converted.size()));
    else // taken as bands, it would be no region at all
        for (const QRect& rect : converted)
            region += rect;
    return region;
}

QRegion grown(const QRegion& region, int margin) {
    const auto grow = [&](const QRect& rect) { return rect.adjusted(-margin, -margin, margin, margin); };
    if (region.isEmpty()) return {};
    if (region.rectCount() > manyRects) return grow(region.boundingRect());
    QRegion result;
    for (const QRect& rect : region)
        result += grow(rect);
    return result;
}

std::vector<PixelRect> coarseRects(const QRegion& region, const PixelRect& area) {
    std::vector<PixelRect> rects;
    for (const QRect& rect : region)
        joinInto(rects, toPixelRect(rect));
    std::int64_t pixels = 0;
    for (const PixelRect& rect : rects)
        pixels += rect.area();
    if (pixels * 4 > area.area() * 3) return {toPixelRect(region.boundingRect())};
    return rects;
}

} // namespace quillet
