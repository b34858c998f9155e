// TeleprompterLayout.h: where the parts of the teleprompter stand.
#pragma once

#include "geometry/Rect.h"

#include <QRect>
#include <QSize>

namespace quillet {

/// Points within the window, y down. A bar of buttons and sliders above, the script below it, the grip in the lower
/// right corner over everything.
struct TeleprompterLayout {
    explicit TeleprompterLayout(const QSize& window);

    QRect playButton;
    QRect topButton;
    QRect fontSlider;
    QRect speedSlider;
    QRect script;
    QRect grip;
};

/// 460 by 320, in the middle and 120 above the lower edge of what a screen leaves to windows. Global screen points.
[[nodiscard]] Rect teleprompterFrame(const Rect& visibleFrame);

/// The frame after its lower right corner was dragged by (dx, dy), y up: the upper left corner stays, and it never is
/// smaller than 260 by 160.
[[nodiscard]] Rect resizedByGrip(const Rect& start, double dx, double dy);

/// The frame with a size of an even number of pixels, less than two more, and the same upper left corner. Floating
/// windows round their size down to that and keep the lower edge, so that corner would tremble during a resize.
[[nodiscard]] Rect withEvenPixels(const Rect& frame, double pixelsPerPoint);

} // namespace quillet
