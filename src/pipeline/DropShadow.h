// DropShadow.h: a soft shadow, drawn once into the backdrop.
#pragma once

#include "media/PixelBuffer.h"

#include <cstdint>
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

/// Darkens `backdrop` (opaque, of the mask's size) by the shape's shadow: its coverage blurred with a Gaussian of
/// standard deviation `blur` (the canvas's edges go on beyond it), moved down by `drop`, both in pixels, at `opacity`.
/// Quick for shapes whose rows and columns are mostly alike, right for any.
void castShadow(PixelBuffer& backdrop, const ShapeMask& shape, double blur, double drop, double opacity);

} // namespace quillet
