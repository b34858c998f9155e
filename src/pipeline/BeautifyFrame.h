// BeautifyFrame.h: the backdrop, and the picture set into it.
#pragma once

#include "beautify/DropShadow.h"
#include "media/PixelBuffer.h"
#include "pipeline/BeautifySettings.h"
#include "pipeline/ImageScaler.h"
#include "pipeline/ScreenPicture.h"

#include <optional>
#include <vector>

namespace quillet {

/// Where the picture stands on its canvas; the same in both directions of y, because it stands in the middle.
struct InsetGeometry {
    double scale;
    Rect picture; ///< canvas pixels, not rounded
    double cornerRadius;
    double shadowBlur; ///< standard deviation
    double shadowDrop;

    InsetGeometry(const BeautifySettings& settings, int width, int height);
};

/// Everything that does not change from frame to frame is made once: the backdrop with its shadow, the mask of the
/// round corners, the scaler. With a scale of zero or less there is no picture, only the backdrop.
///
/// Threads: one at a time.
class BeautifyFrame {
public:
    /// Canvas and picture have the same size in pixels. The program stops if memory is short.
    BeautifyFrame(const BeautifySettings& settings, int width, int height);

    /// The canvas pixels that depend on these pixels of the picture.
    [[nodiscard]] PixelRect canvasShowing(const PixelRect& partOfPicture) const;

    /// Draws `part` of the canvas.
    void draw(const PixelRect& part, const ScreenPicture& picture, PixelBuffer& into);

private:
    void drawPicture(const PixelRect& part, const ScreenPicture& picture, PixelBuffer& into);
    void copyBackdrop(const PixelRect& part, PixelBuffer& into) const;

    PixelBufferRef backdrop;
    ShapeMask mask;
    PixelRect pictureBounds;             ///< canvas pixels that the mask shows
    std::vector<CircleMask::Span> solid; ///< for each row of the canvas, where the mask is full
    std::optional<ImageScaler> scaler;   ///< absent without a picture
};

} // namespace quillet
