#include "media/PixelRect.h"

#include "geometry/fatal.h"

#include <cmath>
#include <limits>

namespace quillet {

PixelRect PixelRect::intersection(const PixelRect& other) const {
    const int left = std::max(x, other.x);
    const int top = std::max(y, other.y);
    return {left, top, std::max(0, std::min(right(), other.right()) - left),
            std::max(0, std::min(bottom(), other.bottom()) - top)};
}

PixelRect PixelRect::united(const PixelRect& other) const {
    if (isEmpty()) return other;
    if (other.isEmpty()) return *this;
    const int left = std::min(x, other.x);
    const int top = std::min(y, other.y);
    return {left, top, std::max(right(), other.right()) - left, std::max(bottom(), other.bottom()) - top};
}

namespace {

int whole(double value) {
    if (!(std::abs(value) <= std::numeric_limits<int>::max()) || std::trunc(value) != value)
        fatal("a rectangle in display pixels is not whole");
    return static_cast<int>(value);
}

} // namespace

PixelRect toMemoryRows(const Rect& rect, int frameHeight) {
    return {whole(rect.minX()), whole(frameHeight - rect.maxY()), whole(rect.size().width), whole(rect.size().height)};
}

Rect fromMemoryRows(const PixelRect& rect, int frameHeight) {
    return {static_cast<double>(rect.x), static_cast<double>(frameHeight - rect.bottom()),
            static_cast<double>(rect.width), static_cast<double>(rect.height)};
}

void PixelRegion::add(const PixelRect& rect) {
    if (rect.isEmpty()) return;
    for (const PixelRect& part : parts)
        if (part.contains(rect)) return;
    std::erase_if(parts, [&](const PixelRect& part) { return rect.contains(part); });
    parts.push_back(rect);
    if (parts.size() <= maximumRects) return;

    std::size_t bestFirst = 0;
    std::size_t bestSecond = 1;
    std::int64_t leastWaste = std::numeric_limits<std::int64_t>::max();
    for (std::size_t i = 0; i < parts.size(); ++i)
        for (std::size_t j = i + 1; j < parts.size(); ++j) {
            const std::int64_t waste = parts[i].united(parts[j]).area() - parts[i].area() - parts[j].area();
            if (waste < leastWaste) {
                leastWaste = waste;
                bestFirst = i;
                bestSecond = j;
            }
        }
    const PixelRect joined = parts[bestFirst].united(parts[bestSecond]);
    parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(bestSecond));
    parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(bestFirst));
    add(joined); // may swallow others; never grows the list past its bound again
}

void PixelRegion::add(const PixelRegion& other) {
    for (const PixelRect& rect : other.parts)
        add(rect);
}

void PixelRegion::clipTo(const PixelRect& bounds) {
    for (PixelRect& part : parts)
        part = part.intersection(bounds);
    std::erase_if(parts, [](const PixelRect& part) { return part.isEmpty(); });
}

PixelRect PixelRegion::bounds() const {
    PixelRect all;
    for (const PixelRect& part : parts)
        all = all.united(part);
    return all;
}

bool PixelRegion::intersects(const PixelRect& rect) const {
    return std::ranges::any_of(parts, [&](const PixelRect& part) { return !part.intersection(rect).isEmpty(); });
}

} // namespace quillet
