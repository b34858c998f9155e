// paintedFrames.h: frames painted by formulas, and pixels to compare them by.
#pragma once

#include "media/PixelBuffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <ostream>

namespace quillet::painted {

/// One pixel as memory has it.
struct Pixel {
    int blue = 0;
    int green = 0;
    int red = 0;
    int alpha = 0;

    friend bool operator==(const Pixel&, const Pixel&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Pixel& pixel) {
        return out << "BGRA(" << pixel.blue << "," << pixel.green << "," << pixel.red << "," << pixel.alpha << ")";
    }
};

inline Pixel pixelAt(const PixelBuffer& frame, int x, int y) {
    const std::byte* at = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
    return {std::to_integer<int>(at[0]), std::to_integer<int>(at[1]), std::to_integer<int>(at[2]),
            std::to_integer<int>(at[3])};
}

inline void setPixel(PixelBuffer& frame, int x, int y, const Pixel& pixel) {
    const std::array<int, 4> values{pixel.blue, pixel.green, pixel.red, pixel.alpha};
    for (std::size_t i = 0; i < 4; ++i)
        frame.row(y)[static_cast<std::size_t>(x) * 4 + i] = static_cast<std::byte>(values[i]);
}

/// A frame whose pixel at (x, y), memory rows, is `formula(x, y)`.
template <typename Formula>
PixelBufferRef frame(int width, int height, Formula formula) {
    PixelBufferRef made = PixelBuffer::make(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            setPixel(*made, x, y, formula(x, y));
    return made;
}

inline PixelBufferRef flat(int width, int height, const Pixel& pixel) {
    return frame(width, height, [&](int, int) { return pixel; });
}

/// Different at each place, opaque.
inline Pixel speckle(int x, int y) {
    const unsigned mixed = (static_cast<unsigned>(x) * 2654435761U) ^ (static_cast<unsigned>(y) * 2246822519U);
    return {static_cast<int>(mixed >> 24), static_cast<int>(mixed >> 16 & 255), static_cast<int>(mixed >> 8 & 255),
            255};
}

inline testing::AssertionResult samePixels(const PixelBuffer& found, const PixelBuffer& expected) {
    if (found.bounds() != expected.bounds()) return testing::AssertionFailure() << "of different sizes";
    for (int y = 0; y < found.height(); ++y)
        for (int x = 0; x < found.width(); ++x)
            if (pixelAt(found, x, y) != pixelAt(expected, x, y))
                return testing::AssertionFailure() << "at " << x << ", " << y << ": " << pixelAt(found, x, y)
                                                   << ", not " << pixelAt(expected, x, y);
    return testing::AssertionSuccess();
}

} // namespace quillet::painted
