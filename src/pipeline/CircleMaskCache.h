// CircleMaskCache.h: the soft-edged discs that cut the camera picture.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace quillet {

/// Coverage of a disc in a square of pixels, 0 to 255, kept half a pixel away from the square's edges.
struct CircleMask {
    /// The pixels of a row that are not wholly outside.
    struct Span {
        int begin;
        int end;
    };

    int side = 0;
    std::vector<std::uint8_t> coverage; ///< side * side; symmetric, so up and down do not matter
    std::vector<Span> spans;            ///< for each row

    [[nodiscard]] const std::uint8_t* row(int y) const {
        return coverage.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(side);
    }
};

/// Masks already drawn, so that a bubble that keeps its size, or goes back to it, costs nothing. Threads: one at a
/// time.
class CircleMaskCache {
public:
    /// When this many are kept and another one is drawn, all are dropped first.
    static constexpr std::size_t capacity = 24;
    /// Larger circles than any screen shows are not drawn at all.
    static constexpr int largestSide = 8192;

    /// The side of the mask for a circle of `diameter`: even, at least 2. A diameter that is not finite stops the
    /// program.
    [[nodiscard]] static std::int64_t sideFor(double diameter);

    /// Null when it cannot be made, and then nothing is kept. Valid until the next call.
    [[nodiscard]] const CircleMask* mask(double diameter);

    [[nodiscard]] std::size_t size() const { return masks.size(); }

private:
    std::map<std::int64_t, CircleMask> masks;
};

} // namespace quillet
