// groundPlan.h: which window is to be drawn where, so that a part of the screen appears without our windows.
#pragma once

#include "platform/x11/OwnRegion.h"
#include "platform/x11/TaintedWindows.h"
#include "platform/x11/WindowStack.h"

#include <QRegion>

#include <cstdint>
#include <vector>

namespace quillet {

struct GroundLayer {
    std::uint32_t window = 0;
    QRegion clip; ///< pixels of the root
    bool isOpaque = true;
};

struct GroundPlan {
    QRegion background;              ///< where the root itself is seen
    std::vector<GroundLayer> layers; ///< bottom to top, over the background
};

/// The cheapest drawing of `wanted`: each window of others only where nothing opaque lies above it. What a tainted
/// window has not painted yet counts as not there. When the server composes, every window is opaque, for it ignores
/// transparency.
[[nodiscard]] GroundPlan groundPlan(const QRegion& wanted, const WindowStack& stack, const TaintedWindows& tainted,
                                    Compositing compositing);

} // namespace quillet
