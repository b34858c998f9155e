#include "platform/x11/groundPlan.h"

#include "platform/x11/regions.h"

#include <algorithm>

namespace quillet {

GroundPlan groundPlan(const QRegion& wanted, const WindowStack& stack, const TaintedWindows& tainted,
                      Compositing compositing) {
    GroundPlan plan;
    QRegion open = wanted; // where nothing opaque has been met yet
    const std::vector<std::uint32_t>& order = stack.order();
    for (auto each = order.rbegin(); each != order.rend() && !open.isEmpty(); ++each) {
        const StackedWindow& window = *stack.find(*each);
        if (!window.isVisible() || window.isOwn || !window.isKnown) continue;
        if (!open.boundingRect().intersects(toQRect(window.outer))) continue;
        QRegion clip = open & window.place();
        if (const QRegion* unpainted = tainted.partOf(window.id))
            clip -= unpainted->translated(window.outer.x, window.outer.y);
        if (clip.isEmpty()) continue;
        const bool isOpaque =
            compositing == Compositing::byServer || (!window.hasAlpha && window.opacity == 0xffffffffU);
        if (isOpaque) open -= clip;
        plan.layers.push_back({window.id, std::move(clip), isOpaque});
    }
    std::ranges::reverse(plan.layers);
    plan.background = std::move(open);
    return plan;
}

} // namespace quillet
