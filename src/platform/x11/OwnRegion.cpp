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

void OwnRegion::leave(const std::vector<LeftPlace>& left, Clock::time_point now) {
    for (const LeftPlace& each : left) {
        const auto until = now + (each.reason == LeftPlace::Reason::unmapped ? graceAfterUnmap : graceAfterMove);
        // A drag leaves hundreds of places in its time: those of about the same moment become one.
        constexpr std::chrono::milliseconds aboutTheSame{20};
        if (!places.empty() && places.back().mayCastShadow == each.mayCastShadow && until >= places.back().until &&
            until - places.back().until < aboutTheSame) {
            places.back().place += each.place;
            places.back().until = until;
        } else {
            places.push_back({each.place, until, each.mayCastShadow});
        }
    }
}

void OwnRegion::expire(Clock::time_point now) {
    std::erase_if(places, [&](const Remembered& each) { return each.until <= now; });
}

std::optional<OwnRegion::Clock::time_point> OwnRegion::nextExpiry() const {
    if (places.empty()) return std::nullopt;
    return std::ranges::min(places, {}, &Remembered::until).until;
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
    for (const Remembered& each : places)
        result += withShadow(each.place, shadows && each.mayCastShadow);
    return result;
}

} // namespace quillet
