// PixelRect.h: rectangles of whole pixels in a frame's memory, and the one place where y is flipped.
#pragma once

#include "geometry/Rect.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace quillet {

/// Whole pixels of a frame as memory counts them: x to the right, y downwards from the first row. Never negative in
/// size.
struct PixelRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;

    [[nodiscard]] bool isEmpty() const { return width <= 0 || height <= 0; }
    [[nodiscard]] int right() const { return x + width; }   ///< first column outside
    [[nodiscard]] int bottom() const { return y + height; } ///< first row outside
    [[nodiscard]] std::int64_t area() const { return isEmpty() ? 0 : static_cast<std::int64_t>(width) * height; }

    [[nodiscard]] PixelRect intersection(const PixelRect& other) const;
    /// The smallest rectangle around both; an empty one adds nothing.
    [[nodiscard]] PixelRect united(const PixelRect& other) const;
    [[nodiscard]] bool contains(const PixelRect& other) const {
        return other.x >= x && other.y >= y && other.right() <= right() && other.bottom() <= bottom();
    }
    [[nodiscard]] PixelRect offsetBy(int dx, int dy) const { return {x + dx, y + dy, width, height}; }
    /// Grown by `margin` pixels on every side.
    [[nodiscard]] PixelRect grownBy(int margin) const {
        return {x - margin, y - margin, width + 2 * margin, height + 2 * margin};
    }

    friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

/// `rect` (whole display pixels, origin at the bottom left of a frame of `frameHeight` rows, y up) as memory counts.
/// The only flip between the two; its inverse is fromMemoryRows. Fractions and sizes beyond 32 bits stop the program.
[[nodiscard]] PixelRect toMemoryRows(const Rect& rect, int frameHeight);
[[nodiscard]] Rect fromMemoryRows(const PixelRect& rect, int frameHeight);

/// A set of pixels as few rectangles, so that costs follow what changed without bookkeeping that costs more.
///
/// The rectangles may overlap and cover more than was added, never less. At most `maximumRects` are kept: when one more
/// comes, the two whose union wastes least are joined. Threads: a value, no locks.
class PixelRegion {
public:
    static constexpr std::size_t maximumRects = 16;

    void add(const PixelRect& rect);
    void add(const PixelRegion& other);
    void clear() { parts.clear(); }
    /// Cuts every rectangle to `bounds`.
    void clipTo(const PixelRect& bounds);

    [[nodiscard]] bool isEmpty() const { return parts.empty(); }
    [[nodiscard]] const std::vector<PixelRect>& rects() const { return parts; }
    [[nodiscard]] PixelRect bounds() const;
    [[nodiscard]] bool intersects(const PixelRect& rect) const;

private:
    std::vector<PixelRect> parts;
};

} // namespace quillet
