#include "tools/bubbleArithmetic.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr double distanceFromEdges = 40;
constexpr double cosineOf45Degrees = 0.70710678;

double within(double diameter) { return std::min(std::max(diameter, smallestBubble), largestBubble); }

} // namespace

double bubbleDiameter(double stored) { return stored > 0 ? within(stored) : usualBubble; }

Rect defaultBubbleFrame(double diameter, const Screen& screen) {
    const Rect& visible = screen.visibleFrame;
    return {visible.maxX() - diameter - distanceFromEdges, visible.minY() + distanceFromEdges, diameter, diameter};
}

Point bubbleGripCentre(Size view) {
    const double reach = (std::min(view.width, view.height) / 2 - bubbleRingWidth / 2) * cosineOf45Degrees;
    return {view.width / 2 + reach, view.height / 2 - reach};
}

BubbleDrag bubbleDragAt(Point point, Size view) {
    const Point grip = bubbleGripCentre(view);
    const Rect zone{view.width - bubbleGripZone, 0, bubbleGripZone, bubbleGripZone};
    const bool takesGrip = std::hypot(point.x - grip.x, point.y - grip.y) <= bubbleGripReach || zone.contains(point);
    return takesGrip ? BubbleDrag::resize : BubbleDrag::move;
}

Rect resizedBubble(const Rect& start, double dx) {
    const double diameter = within(start.width + dx);
    return {start.minX(), start.minY() + (start.height - diameter), diameter, diameter};
}

} // namespace quillet
