#include "pipeline/CircleMaskCache.h"

#include "geometry/Size.h"
#include "pipeline/roundedRectCoverage.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <optional>

namespace quillet {

namespace {

double squared(double value) { return value * value; }

std::optional<CircleMask> drawn(int side) {
    CircleMask mask;
    mask.side = side;
    const auto width = static_cast<std::size_t>(side);
    try {
        mask.coverage.resize(width * width);
        mask.spans.resize(width);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }

    const Rect disc{0.5, 0.5, side - 1.0, side - 1.0};
    const double radius = disc.width / 2;
    const double middle = side / 2.0;
    const int half = side / 2;
    // One quarter is computed and the others are its mirror images: exactly symmetric, and only pixels near the rim
    // need the area at all.
    for (int y = 0; y < half; ++y) {
        int begin = half;
        for (int x = 0; x < half; ++x) {
            const bool begun = squared(middle - x - 1) + squared(middle - y - 1) < squared(radius);
            const bool whole = squared(middle - x) + squared(middle - y) <= squared(radius);
            const double area = whole ? 1 : begun ? roundedRectCoverage(disc, radius, x, y) : 0;
            const auto level = static_cast<std::uint8_t>(std::lround(area * 255));
            if (level != 0) begin = std::min(begin, x);
            for (const int row : {y, side - 1 - y})
                for (const int column : {x, side - 1 - x})
                    mask.coverage[static_cast<std::size_t>(row) * width + static_cast<std::size_t>(column)] = level;
        }
        for (const int row : {y, side - 1 - y})
            mask.spans[static_cast<std::size_t>(row)] = {begin, side - begin};
    }
    return mask;
}

} // namespace

std::int64_t CircleMaskCache::sideFor(double diameter) {
    // Any circle this large is beyond `largestSide` anyway, and 64 bits still hold it.
    const double half = std::round(std::isinf(diameter) ? diameter : std::min(diameter, 1e15) / 2);
    return std::max<std::int64_t>(2 * truncated(half, "the camera circle's diameter"), 2);
}

const CircleMask* CircleMaskCache::mask(double diameter) {
    const std::int64_t side = sideFor(diameter);
    if (const auto known = masks.find(side); known != masks.end()) return &known->second;
    if (masks.size() >= capacity) masks.clear();
    if (side > largestSide) return nullptr;
    std::optional<CircleMask> mask = drawn(static_cast<int>(side));
    if (!mask) return nullptr;
    return &masks.emplace(side, std::move(*mask)).first->second;
}

} // namespace quillet
