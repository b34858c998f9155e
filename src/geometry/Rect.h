// Rect.h: rectangles with y up, as the window layer and the pipeline's display pixels use them.
#pragma once

#include "geometry/Point.h"
#include "geometry/Size.h"

namespace quillet {

/// A rectangle of doubles, origin at its bottom-left corner, y up.
///
/// A negative width or height is allowed in the fields and means the same area described from another corner; every
/// operation works on the standardised form. Minimum edges belong to the rectangle, maximum edges do not. The null
/// rectangle ("no rectangle", the result of intersecting rectangles that do not even touch) is told apart from an empty
/// one (zero width or height at a known place).
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    /// The null rectangle: infinite origin, zero size.
    [[nodiscard]] static Rect null();

    [[nodiscard]] bool isNull() const;
    /// True for the null rectangle and for one without area.
    [[nodiscard]] bool isEmpty() const;

    [[nodiscard]] double minX() const { return width < 0 ? x + width : x; }
    [[nodiscard]] double minY() const { return height < 0 ? y + height : y; }
    [[nodiscard]] double maxX() const { return width < 0 ? x : x + width; }
    [[nodiscard]] double maxY() const { return height < 0 ? y : y + height; }
    [[nodiscard]] double midX() const { return x + width / 2; }
    [[nodiscard]] double midY() const { return y + height / 2; }
    [[nodiscard]] Size size() const { return {width < 0 ? -width : width, height < 0 ? -height : height}; }
    [[nodiscard]] Point centre() const { return {midX(), midY()}; }

    /// The same area with a size that is not negative.
    [[nodiscard]] Rect standardised() const;
    [[nodiscard]] Rect offsetBy(double dx, double dy) const;

    /// Minimum edges inclusive, maximum edges exclusive; an empty rectangle holds no point.
    [[nodiscard]] bool contains(Point point) const;

    /// The common area. Rectangles that only share an edge or a corner give an empty rectangle there; rectangles that
    /// do not touch give the null rectangle.
    [[nodiscard]] Rect intersection(const Rect& other) const;
    /// Whether the common area is neither null nor empty.
    [[nodiscard]] bool intersects(const Rect& other) const;

    /// The frame size that a video encoder accepts, at a whole place: x, y, width and height rounded to the nearest
    /// integer (halves to the even neighbour), then width and height made even by rounding down and at least 2. The
    /// origin is not made even. A size that is not finite or beyond 64 bits stops the program.
    [[nodiscard]] Rect integralEven() const;

    friend bool operator==(const Rect&, const Rect&) = default;
};

} // namespace quillet
