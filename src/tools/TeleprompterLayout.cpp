#include "tools/TeleprompterLayout.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr int margin = 10;
constexpr int barHeight = 40;
constexpr double slidersLeft = 136;
constexpr double sliderGap = 6;
constexpr double shortestSlider = 40;
constexpr int gripSize = 22;

/// Between two places that need not be whole.
QRect slider(double left, double right) {
    const int from = static_cast<int>(std::lround(left));
    return {from, 10, static_cast<int>(std::lround(right)) - from, 22};
}

} // namespace

TeleprompterLayout::TeleprompterLayout(const QSize& window)
    : playButton(margin, 8, 44, 26), topButton(62, 8, 68, 26),
      script(margin, barHeight, std::max(0, window.width() - 2 * margin),
             std::max(0, window.height() - barHeight - margin)),
      grip(window.width() - gripSize, window.height() - gripSize, gripSize, gripSize) {
    const double width = std::max(shortestSlider, (window.width() - 130 - margin - 12) / 2.0);
    const double second = slidersLeft + width + sliderGap;
    fontSlider = slider(slidersLeft, slidersLeft + width);
    speedSlider = slider(second, second + width);
}

Rect teleprompterFrame(const Rect& visibleFrame) {
    return {visibleFrame.midX() - 230, visibleFrame.minY() + 120, 460, 320};
}

Rect resizedByGrip(const Rect& start, double dx, double dy) {
    const double width = std::max(260.0, start.width + dx);
    const double height = std::max(160.0, start.height - dy);
    return {start.minX(), start.maxY() - height, width, height};
}

Rect withEvenPixels(const Rect& frame, double pixelsPerPoint) {
    const auto even = [&](double points) { return std::ceil(points * pixelsPerPoint / 2) * 2 / pixelsPerPoint; };
    const double height = even(frame.height);
    return {frame.x, frame.y + frame.height - height, even(frame.width), height};
}

} // namespace quillet
