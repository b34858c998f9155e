// paintedFrames.h: frames whose every pixel is a formula, so that a test computes what it expects.
#pragma once

#include "media/PixelBuffer.h"

#include <cstdint>

namespace quillet::fakes {

struct Colour {
    std::uint8_t blue = 0;
    std::uint8_t green = 0;
    std::uint8_t red = 0;

    friend bool operator==(const Colour&, const Colour&) = default;
};

inline void fill(PixelBuffer& frame, const PixelRect& rect, Colour colour) {
    for (int y = rect.y; y < rect.bottom(); ++y)
        for (int x = rect.x; x < rect.right(); ++x) {
            std::byte* const pixel = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            pixel[0] = std::byte{colour.blue};
            pixel[1] = std::byte{colour.green};
            pixel[2] = std::byte{colour.red};
            pixel[3] = std::byte{255};
        }
}

/// An opaque frame of one colour.
[[nodiscard]] inline PixelBufferRef solidFrame(int width, int height, Colour colour) {
    PixelBufferRef frame = PixelBuffer::make(width, height);
    fill(*frame, frame->bounds(), colour);
    return frame;
}

} // namespace quillet::fakes
