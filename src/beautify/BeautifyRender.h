// BeautifyRender.h: a small picture of what the beautify look does to a recorded frame.
#pragma once

#include "geometry/Size.h"

#include <QImage>

#include <cstdint>

namespace quillet::BeautifyRender {

struct PreviewOptions {
    std::int64_t bgIndex = 0;   ///< preset of BackgroundLibrary, not negative
    double cornerFraction = 0;  ///< corner radius, fraction of the card's shorter side
    double paddingFraction = 0; ///< margin on each side, fraction of the canvas's shorter side
    bool shadow = false;
    Size size;             ///< points, fractions dropped, at least 1 by 1
    double pixelRatio = 1; ///< pixels for one point; the image's device pixel ratio
};

/// The backdrop, and on it a card that stands for the recorded screen: grey, with a title bar of 14 % of its height (at
/// most 26) and three dots of diameter 10. Its place and its corners follow the same arithmetic as a recorded frame.
/// Fractions of any value are drawn without complaint: a padding of 0.5 or more, or none that is a number, leaves the
/// backdrop alone. A negative index or a size that is not finite stops the program.
///
/// Format ARGB32_Premultiplied, opaque, sRGB values. Draws afresh at every call. Threads: any that may use QPainter.
[[nodiscard]] QImage previewImage(const PreviewOptions& options);

} // namespace quillet::BeautifyRender
