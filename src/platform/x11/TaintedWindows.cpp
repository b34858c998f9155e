#include "platform/x11/TaintedWindows.h"

namespace quillet {

void TaintedWindows::begin(std::uint32_t window, const QRegion& part) {
    if (part.isEmpty())
        forget(window);
    else
        parts.insert_or_assign(window, part);
}

void TaintedWindows::paint(std::uint32_t window, const QRegion& part) {
    const auto found = parts.find(window);
    if (found == parts.end()) return;
    found->second -= part;
    if (found->second.isEmpty()) parts.erase(found);
}

const QRegion* TaintedWindows::partOf(std::uint32_t window) const {
    const auto found = parts.find(window);
    return found == parts.end() ? nullptr : &found->second;
}

QRegion TaintedWindows::places(const WindowStack& stack) const {
    QRegion result;
    for (const auto& [id, part] : parts) {
        const StackedWindow* const window = stack.find(id);
        if (window && window->isVisible() && !window->isOwn)
            result += part.translated(window->outer.x, window->outer.y) & window->place();
    }
    return result;
}

} // namespace quillet
