// DropShadow.h: a soft shadow, as rows of translucent black.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace quillet {

/// A shape's coverage, one byte for each pixel of a canvas, top row first.
struct ShapeMask {
    int width = 0;
    int height = 0;
    std::vector<std::uint8_t> coverage;

    [[nodiscard]] const std::uint8_t* row(int y) const {
        return coverage.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
};

/// A shape's coverage blurred with a Gaussian (the canvas's edges go on beyond it) and moved down.
struct DropShadow {
    double blur;    ///< standard deviation, pixels
    double drop;    ///< pixels
    double opacity; ///< 0 to 1
};

/// Calls `draw` for each row of the canvas, from the top, with the shadow's pixels: black in premultiplied BGRA, valid
/// during the call. Quick for shapes whose rows and columns are mostly alike, right for any.
void castShadow(const ShapeMask& shape, const DropShadow& shadow,
                const std::function<void(int y, const std::byte* black)>& draw);

} // namespace quillet
