// BubblePicture.h: what the camera bubble shows: the camera's circle, exactly as films show it, and the ring on its
// edge.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/CameraCircle.h"

#include <QImage>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace quillet {

/// Draws a picture once, when it or the size is new; showing it again is a copy. Threads: one.
class BubblePicture {
public:
    /// `circles`: those of a film of the same camera; null: none.
    explicit BubblePicture(std::shared_ptr<CircleShelf> circles = nullptr) : circle(true, std::move(circles)) {}

    /// What is beneath the edge, where pixels are covered in part.
    enum class Edge {
        soft, ///< nothing: they stay transparent in part
        hard, ///< the ring's own white: every pixel of the bubble is opaque, and others do not matter
    };

    /// How the bubble is to look.
    struct Look {
        int side;         ///< pixels, even
        double ringWidth; ///< pixels
        Edge edge;
        friend bool operator==(const Look&, const Look&) = default;
    };

    /// Draws `camera`, or the ring alone where that is null.
    void draw(const PixelBuffer* camera, const Look& look);
    /// What was drawn last; absent: nothing yet.
    [[nodiscard]] const std::optional<Look>& look() const { return drawn; }

    /// Premultiplied.
    [[nodiscard]] const QImage& image() const { return canvas; }

private:
    /// A run of pixels that the ring covers.
    struct RingRun {
        int y;
        int begin;
        int end;
    };
    void prepareRing(const Look& look);

    CameraCircle circle;
    QImage canvas;
    QImage ring;             // premultiplied
    std::vector<QRgb> white; // as long as a run may be
    std::optional<Look> drawn;
    std::vector<RingRun> runs;
};

} // namespace quillet
