// bubbleArithmetic.h: the camera bubble's places and sizes. Global screen points or, where said, its own with y up.
#pragma once

#include "geometry/Rect.h"
#include "geometry/Screen.h"

namespace quillet {

inline constexpr double smallestBubble = 90; ///< diameters
inline constexpr double largestBubble = 700;
inline constexpr double usualBubble = 200;

inline constexpr double bubbleRingWidth = 3;   ///< its outer edge is the bubble's
inline constexpr double bubbleGripRadius = 10; ///< as drawn
inline constexpr double bubbleGripReach = 18;  ///< how far from its centre a press still takes it
inline constexpr double bubbleGripZone = 22;   ///< side of the square in the lower right corner that takes it, too

enum class BubbleDrag { none, move, resize };

/// From what the settings hold (0: nothing) to what is shown.
[[nodiscard]] double bubbleDiameter(double stored);
/// The lower right corner of the visible part of the screen, 40 points from its edges.
[[nodiscard]] Rect defaultBubbleFrame(double diameter, const Screen& screen);

/// The middle of the grip in a view of this size: on the ring, at 45 degrees to the lower right.
[[nodiscard]] Point bubbleGripCentre(Size view);
/// What a press at `point` of a view of this size begins.
[[nodiscard]] BubbleDrag bubbleDragAt(Point point, Size view);

/// `start` resized by the mouse's way to the right; the upper left corner stays, and the screen's edges do not count.
[[nodiscard]] Rect resizedBubble(const Rect& start, double dx);

} // namespace quillet
