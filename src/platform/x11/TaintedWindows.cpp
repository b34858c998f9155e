#include "platform/x11/TaintedWindows.h"

#include <algorithm>

namespace quillet {

void TaintedWindows::begin(std::uint32_t window, const QRegion& part, Watched watched, Clock::time_point now) {
    if (part.isEmpty()) return forget(window);
    Taint taint{part, std::nullopt};
    if (watched == Watched::tooLate) taint.until = now + trustAfter;
    parts.insert_or_assign(window, std::move(taint));
}

void TaintedWindows::paint(std::uint32_t window, const QRegion& part) {
    const auto found = parts.find(window);
    if (found == parts.end()) return;
    found->second.part -= part;
    if (found->second.part.isEmpty()) parts.erase(found);
}

bool TaintedWindows::expire(Clock::time_point now) {
    return std::erase_if(parts, [&](const auto& each) { return each.second.until && *each.second.until <= now; }) > 0;
}

std::optional<TaintedWindows::Clock::time_point> TaintedWindows::nextExpiry() const {
    std::optional<Clock::time_point> next;
    for (const auto& [window, taint] : parts)
        if (taint.until && (!next || *taint.until < *next)) next = taint.until;
    return next;
}

const QRegion* TaintedWindows::partOf(std::uint32_t window) const {
    const auto found = parts.find(window);
    return found == parts.end() ? nullptr : &found->second.part;
}

QRegion TaintedWindows::places(const WindowStack& stack) const {
    QRegion result;
    for (const auto& [id, taint] : parts) {
        const StackedWindow* const window = stack.find(id);
        if (window && window->isVisible() && !window->isOwn)
            result += taint.part.translated(window->outer.x, window->outer.y) & window->place();
    }
    return result;
}

} // namespace quillet
