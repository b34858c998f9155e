#include "pipeline/roundedRectCoverage.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace quillet {

namespace {

struct Span {
    double from;
    double to;
};

Span common(Span a, Span b) {
    return {std::max(a.from, b.from), std::max(std::max(a.from, b.from), std::min(a.to, b.to))};
}
double length(Span span) { return span.to - span.from; }

/// The area under a circle's upper half around the origin, from 0 to x.
double areaBelowCircle(double radius, double x) {
    const double inside = std::clamp(x, 0.0, radius);
    return 0.5 * (inside * std::sqrt(std::max(0.0, radius * radius - inside * inside)) +
                  radius * radius * std::asin(std::min(1.0, inside / radius)));
}

/// The area of a box within a disc around the origin; the box lies right of and above the origin.
double areaWithinDisc(double radius, Span x, Span y) {
    if (radius <= 0 || y.from >= radius) return 0;
    const auto reach = [&](double height) { return std::sqrt(std::max(0.0, radius * radius - height * height)); };
    // Up to `full` the circle passes above the box, from there to `end` through it.
    const double full = std::clamp(y.to < radius ? reach(y.to) : 0.0, x.from, x.to);
    const double end = std::clamp(reach(y.from), x.from, x.to);
    const double crossed = areaBelowCircle(radius, end) - areaBelowCircle(radius, full) - (end - full) * y.from;
    return (full - x.from) * length(y) + std::max(0.0, crossed);
}

/// `span` measured away from a corner's centre: which lies at `low` for the first band, at `high` for the last.
Span awayFrom(Span span, double low, double high, std::size_t band) {
    return band == 0 ? Span{low - span.to, low - span.from} : Span{span.from - high, span.to - high};
}

} // namespace

double roundedRectCoverage(const Rect& rect, double radius, double x, double y) {
    const double corner = std::clamp(radius, 0.0, std::min(rect.size().width, rect.size().height) / 2);
    const double left = rect.minX() + corner;
    const double right = std::max(left, rect.maxX() - corner);
    const double bottom = rect.minY() + corner;
    const double top = std::max(bottom, rect.maxY() - corner);
    const std::array<Span, 3> columns{Span{rect.minX(), left}, Span{left, right}, Span{right, rect.maxX()}};
    const std::array<Span, 3> rows{Span{rect.minY(), bottom}, Span{bottom, top}, Span{top, rect.maxY()}};

    double area = 0;
    for (std::size_t column = 0; column < columns.size(); ++column)
        for (std::size_t row = 0; row < rows.size(); ++row) {
            const Span across = common(columns[column], {x, x + 1});
            const Span up = common(rows[row], {y, y + 1});
            if (length(across) <= 0 || length(up) <= 0) continue;
            area += column == 1 || row == 1
                        ? length(across) * length(up)
                        : areaWithinDisc(corner, awayFrom(across, left, right, column), awayFrom(up, bottom, top, row));
        }
    return std::clamp(area, 0.0, 1.0);
}

} // namespace quillet
