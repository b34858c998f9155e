// CameraCircle.h: the camera picture, cut to a circle, ready to be laid over the screen.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/CircleMaskCache.h"
#include "pipeline/CircleShelf.h"
#include "pipeline/ImageScaler.h"
#include "pipeline/PixelBufferPool.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// Scales the camera picture so that its shorter side becomes the diameter, takes the square in the middle and cuts it
/// with the disc. Done again only when the camera picture or the diameter has changed, and not at all when the shelf,
/// if there is one, has the same circle. Threads: one at a time.
class CameraCircle {
public:
    explicit CameraCircle(bool mirrorCamera, std::shared_ptr<CircleShelf> sharedCircles = nullptr)
        : mirrored(mirrorCamera), shelf(std::move(sharedCircles)) {}

    /// Makes the circle of this picture. False, and no circle, where there is none to be seen. A frame is known again
    /// by its address and `sequence`; one that does not count is taken for new each time. A diameter that is not finite
    /// stops the program.
    bool update(const PixelBuffer& camera, double diameter);
    void clear();

    /// Changes whenever the pixels may have changed.
    [[nodiscard]] std::uint64_t generation() const { return generationNumber; }
    /// Pixels in each direction; 0 without a circle.
    [[nodiscard]] int side() const { return circle ? circle->width() : 0; }
    /// Row `y` in memory order, premultiplied.
    [[nodiscard]] const std::byte* row(int y) const { return circle->row(y); }
    /// Where row `y` is not wholly transparent.
    [[nodiscard]] CircleMask::Span span(int y) const { return spans[static_cast<std::size_t>(y)]; }

private:
    struct Shape {
        int width;
        int height;
        double diameter;
        friend bool operator==(const Shape&, const Shape&) = default;
    };

    [[nodiscard]] ConstPixelBufferRef draw(const PixelBuffer& camera, double diameter, const CircleMask& mask);
    void prepareScaler(const Shape& shape);
    void halve(const PixelBuffer& camera);

    bool mirrored;
    std::shared_ptr<CircleShelf> shelf; // shared with those who show the same camera
    CircleMaskCache masks;
    std::uint64_t generationNumber = 0;
    std::optional<CircleShelf::Key> key;
    ConstPixelBufferRef circle;
    std::unique_ptr<PixelBufferPool> pool;
    std::optional<Shape> shapeOfScaler;
    std::optional<ImageScaler> scaler;
    int halvings = 0;
    std::vector<std::byte> halved; // the camera picture at 1 / 2^halvings, when there are any
    int halvedWidth = 0;
    std::vector<CircleMask::Span> spans; // of spansDiameter
    double spansDiameter = 0;
};

} // namespace quillet
