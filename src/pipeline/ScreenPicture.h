// ScreenPicture.h: the region of one screen frame with the camera circle over it, row by row.
#pragma once

#include "media/PixelBuffer.h"
#include "pipeline/CameraCircle.h"

namespace quillet {

/// What a frame shows before any framing. A view: everything it names outlives it. Places are pixels of the region in
/// memory order.
struct ScreenPicture {
    const PixelBuffer& screen;
    PixelRect region;           ///< in the screen frame's rows; may reach beyond it
    const CameraCircle* circle; ///< null: none
    int circleX = 0;            ///< the circle's square within the region
    int circleY = 0;

    /// Writes the pixels `begin` to `end` of `row`: premultiplied, transparent black outside the screen.
    void writeRow(int row, int begin, int end, std::byte* into) const;

    /// Where pixel 0 of `row` is in the screen frame, if the pixels from `begin` to `end` need nothing done to them but
    /// for what their fourth byte means, and `overread` more behind them can be read; else null.
    [[nodiscard]] const std::byte* plainRow(int row, int begin, int end, int overread) const;

    /// Whether every pixel is known to be opaque.
    [[nodiscard]] bool isOpaque() const;
};

} // namespace quillet
