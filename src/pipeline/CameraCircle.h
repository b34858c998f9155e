// CameraCircle.h: the camera picture, cut to a circle, ready to be laid over the screen.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/CircleMaskCache.h"
#include "pipeline/ImageScaler.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace quillet {

/// Scales the camera picture so that its shorter side becomes the diameter, takes the square in the middle and cuts it
/// with the disc. Done again only when the camera picture or the diameter has changed. Threads: one at a time.
class CameraCircle {
public:
    explicit CameraCircle(bool mirrorCamera) : mirrored(mirrorCamera) {}

    /// Makes the circle of this picture. False, and no circle, where there is none to be seen. A frame is known again
    /// by its address and `sequence`; one that does not count is taken for new each time. A diameter that is not finite
    /// stops the program.
    bool update(const PixelBuffer& camera, double diameter);
    void clear();

    /// Changes whenever the pixels may have changed.
    [[nodiscard]] std::uint64_t generation() const { return generationNumber; }
    /// Pixels in each direction; 0 without a circle.
    [[nodiscard]] int side() const { return sideLength; }
    /// Row `y` in memory order, premultiplied.
    [[nodiscard]] const std::byte* row(int y) const {
        return pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(sideLength) * 4;
    }
    /// Where row `y` is not wholly transparent.
    [[nodiscard]] CircleMask::Span span(int y) const { return spans[static_cast<std::size_t>(y)]; }

private:
    struct Key {
        const PixelBuffer* camera;
        std::uint64_t sequence;
        int width;
        int height;
        double diameter;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct Shape {
        int width;
        int height;
        double diameter;
        friend bool operator==(const Shape&, const Shape&) = default;
    };

    void prepareScaler(const Shape& shape);
    void halve(const PixelBuffer& camera);

    bool mirrored;
    CircleMaskCache masks;
    std::uint64_t generationNumber = 0;
    int sideLength = 0;
    std::optional<Key> key;
    std::optional<Shape> shapeOfScaler;
    std::optional<ImageScaler> scaler;
    int halvings = 0;
    std::vector<std::byte> halved; // the camera picture at 1 / 2^halvings, when there are any
    int halvedWidth = 0;
    std::vector<std::byte> pixels;
    std::vector<CircleMask::Span> spans;
};

} // namespace quillet
