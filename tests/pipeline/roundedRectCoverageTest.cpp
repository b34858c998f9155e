#include "pipeline/roundedRectCoverage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace quillet {
namespace {

bool inside(const Rect& rect, double radius, double x, double y) {
    if (x < rect.minX() || x > rect.maxX() || y < rect.minY() || y > rect.maxY()) return false;
    const double dx = std::max({rect.minX() + radius - x, x - (rect.maxX() - radius), 0.0});
    const double dy = std::max({rect.minY() + radius - y, y - (rect.maxY() - radius), 0.0});
    return dx * dx + dy * dy <= radius * radius || radius == 0;
}

double counted(const Rect& rect, double radius, int x, int y) {
    constexpr int samples = 100;
    int hits = 0;
    for (int i = 0; i < samples; ++i)
        for (int j = 0; j < samples; ++j)
            hits += inside(rect, radius, x + (i + 0.5) / samples, y + (j + 0.5) / samples);
    return hits / static_cast<double>(samples * samples);
}

struct Shape {
    const char* name;
    Rect rect;
    double radius;
};

class Coverage : public testing::TestWithParam<Shape> {};

TEST_P(Coverage, isTheShareOfSamplesInside) {
    const auto& [name, rect, radius] = GetParam();
    const double corner = std::min(radius, std::min(rect.width, rect.height) / 2);
    for (int y = -1; y < 12; ++y)
        for (int x = -1; x < 14; ++x)
            EXPECT_NEAR(roundedRectCoverage(rect, radius, x, y), counted(rect, corner, x, y), 0.012) << x << ", " << y;
}

TEST_P(Coverage, addsUpToTheArea) {
    const auto& [name, rect, radius] = GetParam();
    const double corner = std::min(radius, std::min(rect.width, rect.height) / 2);
    double sum = 0;
    for (int y = -1; y < 14; ++y)
        for (int x = -1; x < 14; ++x)
            sum += roundedRectCoverage(rect, radius, x, y);
    EXPECT_NEAR(sum, rect.width * rect.height - (4 - M_PI) * corner * corner, 1e-6);
}

INSTANTIATE_TEST_SUITE_P(
    Table, Coverage,
    testing::Values(Shape{"sharp", {1.3, 2.6, 9.5, 6.1}, 0}, Shape{"round", {1.3, 2.6, 9.5, 6.1}, 2.2},
                    Shape{"disc", {0.5, 0.5, 11, 11}, 5.5}, Shape{"smallestDisc", {0.5, 0.5, 1, 1}, 0.5},
                    Shape{"withinOnePixel", {3.2, 3.3, 0.4, 0.5}, 0.1}, Shape{"radiusBeyondHalf", {1, 1, 8, 5}, 40}),
    [](const auto& parameter) { return parameter.param.name; });

} // namespace
} // namespace quillet
