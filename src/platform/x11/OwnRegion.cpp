#include "platform/x11/OwnRegion.h"

#include "platform/x11/regions.h"

#include <algorithm>

namespace quillet {

namespace {

QRegion withShadow(const QRegion& place, bool mayCastShadow) {
    return mayCastShadow ? grown(place, OwnRegion::shadowMargin) : place;
}

/// Cuts off what windows above `window` hide of `place`.
void subtractCovers(QRegion& place, const StackedWindow& window, const WindowStack& stack) {
    const std::vector<std::uint32_t>& order = stack.order();
    for (auto above = order.rbegin(); above != order.rend() && *above != window.id && !place.isEmpty(); ++above) {
        const StackedWindow& cover = *stack.find(*above);
        if (!cover.isVisible() || cover.isOwn || !cover.isKnown) continue;
        if (place.intersects(toQRect(cover.outer))) place -= cover.place();
    }
}

} // namespace

void OwnRegion::leave(const std::vector<LeftPlace>& places, Compositing compositing, Clock::time_point now) {
    const bool isByManager = compositing == Compositing::byManager;
    for (const LeftPlace& each : places) {
        const auto atLeast = each.reason == LeftPlace::Reason::unmapped ? graceAfterUnmap : graceAfterMove;
        left.note({.place = withShadow(each.place, isByManager && each.mayCastShadow),
                   .owed = each.place,
                   .atLeast = atLeast,
                   .atMost = isByManager ? longestGrace : atLeast},
                  now);
    }
}

QRegion OwnRegion::region(const WindowStack& stack, Compositing compositing) const {
    if (compositing == Compositing::byManager) return trace(stack, compositing);
    QRegion result;
    if (stack.ownCount() == 0) return result;
    for (const std::uint32_t id : stack.order()) {
        const StackedWindow& window = *stack.find(id);
        if (!window.isOwn || !window.isVisible()) continue;
        QRegion place = window.place();
        subtractCovers(place, window, stack);
        result += place;
    }
    return result;
}

QRegion OwnRegion::trace(const WindowStack& stack, Compositing compositing) const {
    const bool shadows = compositing == Compositing::byManager;
    QRegion result;
    if (stack.ownCount() > 0)
        for (const std::uint32_t id : stack.order()) {
            const StackedWindow& window = *stack.find(id);
            if (window.isOwn && window.isVisible())
                result += withShadow(window.place(), shadows && WindowStack::mayCastShadow(window));
        }
    return result + left.places();
}

} // namespace quillet
