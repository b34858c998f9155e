// Picture.h: a computed picture to hold frames against.
#pragma once

#include "media/PixelBuffer.h"

#include <cstdint>
#include <cstring>
#include <vector>

namespace quillet::testing {

/// Opaque pixels, 0xRRGGBB, top row first.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels;

    Picture() = default;
    Picture(int columns, int rows, std::uint32_t colour = 0)
        : width(columns), height(rows),
          pixels(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows), colour) {}

    /// The colours of a frame, without their fourth byte.
    static Picture of(const PixelBuffer& frame) {
        Picture picture(frame.width(), frame.height());
        for (int y = 0; y < frame.height(); ++y)
            for (int x = 0; x < frame.width(); ++x) {
                std::uint32_t pixel;
                std::memcpy(&pixel, frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4, 4);
                picture.at(x, y) = pixel & 0xffffffU;
            }
        return picture;
    }

    [[nodiscard]] std::uint32_t& at(int x, int y) {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }
    [[nodiscard]] std::uint32_t at(int x, int y) const {
        return pixels[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x)];
    }

    /// Paints `colour(x, y)`, counted from the rectangle's own corner, where `rect` meets the picture.
    template <typename Colour>
    void paint(const PixelRect& rect, Colour colour) {
        const PixelRect visible = rect.intersection({0, 0, width, height});
        for (int y = visible.y; y < visible.bottom(); ++y)
            for (int x = visible.x; x < visible.right(); ++x)
                at(x, y) = colour(x - rect.x, y - rect.y) & 0xffffffU;
    }

    /// The part at `rect`, which lies inside.
    [[nodiscard]] Picture cut(const PixelRect& rect) const {
        Picture part(rect.width, rect.height);
        part.paint({0, 0, rect.width, rect.height}, [&](int x, int y) { return at(rect.x + x, rect.y + y); });
        return part;
    }

    friend bool operator==(const Picture&, const Picture&) = default;
};

/// Per-pixel noise, which shows every slip of one pixel: 0xRRGGBB.
inline std::uint32_t noise(std::uint32_t seed, int x, int y) {
    std::uint32_t value =
        seed * 0x9e3779b9U ^ static_cast<std::uint32_t>(x) * 0x85ebca6bU ^ static_cast<std::uint32_t>(y) * 0xc2b2ae35U;
    value ^= value >> 15;
    value *= 0x2c1b3c6dU;
    value ^= value >> 12;
    return value & 0xffffffU;
}

} // namespace quillet::testing
