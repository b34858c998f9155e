#include "geometry/Rect.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quillet {

namespace {

/// Nearest integer, halves to the even neighbour, whatever rounding mode the thread runs in.
double roundedToEven(double value) {
    const double below = std::floor(value);
    const double fraction = value - below;
    if (fraction != 0.5) return fraction < 0.5 ? below : below + 1;
    return std::fmod(below, 2) == 0 ? below : below + 1;
}

double evenExtent(double extent) {
    const std::int64_t whole = truncated(roundedToEven(extent), "a rectangle's size");
    return static_cast<double>(std::max<std::int64_t>(whole % 2 == 0 ? whole : whole - 1, 2));
}

} // namespace

Rect Rect::null() {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {infinity, infinity, 0, 0};
}

bool Rect::isNull() const { return std::isinf(x) || std::isinf(y); }

bool Rect::isEmpty() const { return isNull() || width == 0 || height == 0; }

Rect Rect::standardised() const {
    if (isNull()) return null();
    return {minX(), minY(), size().width, size().height};
}

Rect Rect::offsetBy(double dx, double dy) const {
    if (isNull()) return null();
    return {minX() + dx, minY() + dy, size().width, size().height};
}

bool Rect::contains(Point point) const {
    if (isEmpty()) return false;
    return point.x >= minX() && point.x < maxX() && point.y >= minY() && point.y < maxY();
}

Rect Rect::intersection(const Rect& other) const {
    if (isNull() || other.isNull()) return null();
    const double left = std::max(minX(), other.minX());
    const double right = std::min(maxX(), other.maxX());
    const double bottom = std::max(minY(), other.minY());
    const double top = std::min(maxY(), other.maxY());
    if (right < left || top < bottom) return null();
    return {left, bottom, right - left, top - bottom};
}

bool Rect::intersects(const Rect& other) const { return !intersection(other).isEmpty(); }

Rect Rect::integralEven() const {
    return {roundedToEven(minX()), roundedToEven(minY()), evenExtent(size().width), evenExtent(size().height)};
}

} // namespace quillet
