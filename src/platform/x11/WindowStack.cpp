#include "platform/x11/WindowStack.h"

#include "platform/x11/regions.h"

#include <algorithm>

namespace quillet {

namespace {

// Masks of many rectangles are remembered by their bounds where they stood for a moment only.
QRegion simplified(const QRegion& place) {
    constexpr int manyRects = 16;
    return place.rectCount() > manyRects ? QRegion(place.boundingRect()) : place;
}

} // namespace

QRegion StackedWindow::place() const { return isKnown ? shape.translated(outer.x, outer.y) : QRegion(toQRect(outer)); }

StackedWindow* WindowStack::edit(std::uint32_t id) {
    const auto found = windows.find(id);
    return found == windows.end() ? nullptr : &found->second;
}

const StackedWindow* WindowStack::find(std::uint32_t id) const {
    const auto found = windows.find(id);
    return found == windows.end() ? nullptr : &found->second;
}

void WindowStack::noteAppearance(const StackedWindow& window) {
    if (!window.isVisible()) return;
    news.any = true;
    if (window.isOwn)
        news.ownPlaces += simplified(window.place());
    else
        news.others += window.place();
}

void WindowStack::noteDisappearance(const StackedWindow& window, LeftPlace::Reason reason) {
    if (!window.isVisible()) return;
    news.any = true;
    if (window.isOwn)
        news.left.push_back({simplified(window.place()), reason, mayCastShadow(window)});
    else
        news.others += window.place();
}

void WindowStack::noteRestacking(const StackedWindow& window) {
    if (!window.isVisible()) return;
    news.any = true;
    if (window.isOwn)
        news.ownPlaces += simplified(window.place());
    else
        news.others += window.place();
}

void WindowStack::add(const StackedWindow& window) {
    remove(window.id);
    windows.emplace(window.id, window);
    ids.push_back(window.id);
    if (window.isOwn) ++owned;
    noteAppearance(window);
}

void WindowStack::remove(std::uint32_t id) {
    const StackedWindow* const window = find(id);
    if (!window) return;
    noteDisappearance(*window, LeftPlace::Reason::unmapped);
    if (window->isOwn) --owned;
    std::erase(ids, id);
    windows.erase(id);
}

void WindowStack::setMapped(std::uint32_t id, bool isMapped) {
    StackedWindow* const window = edit(id);
    if (!window || window->isMapped == isMapped) return;
    if (!isMapped) noteDisappearance(*window, LeftPlace::Reason::unmapped);
    window->isMapped = isMapped;
    if (isMapped) noteAppearance(*window);
}

void WindowStack::place(std::uint32_t id, std::size_t position) {
    const auto from = std::ranges::find(ids, id);
    const auto to = ids.begin() + static_cast<std::ptrdiff_t>(position);
    if (from < to)
        std::rotate(from, from + 1, to + 1);
    else
        std::rotate(to, from, from + 1);
}

void WindowStack::configure(std::uint32_t id, const Placement& placement) {
    StackedWindow* const window = edit(id);
    if (!window) return;

    const auto from = static_cast<std::size_t>(std::ranges::find(ids, id) - ids.begin());
    std::size_t to = 0;
    if (placement.above != 0) {
        // A window that is not here (the server's own, which lies above all) keeps everything where it is.
        const auto below = std::ranges::find(ids, placement.above);
        const auto belowAt = static_cast<std::size_t>(below - ids.begin());
        to = below == ids.end() ? from : from > belowAt ? belowAt + 1 : belowAt;
    }
    if (to != from) {
        noteRestacking(*window);
        place(id, to);
    }

    setPlace(id, placement.outer, placement.border);
}

void WindowStack::setPlace(std::uint32_t id, const PixelRect& outer, int border) {
    StackedWindow* const window = edit(id);
    if (!window || (window->outer == outer && window->border == border)) return;
    const bool resized =
        window->outer.width != outer.width || window->outer.height != outer.height || window->border != border;
    noteDisappearance(*window, LeftPlace::Reason::moved);
    window->outer = outer;
    window->border = border;
    // A mask does not grow with its window, but a window without one does; what is right comes with learn().
    if (resized) window->shape = QRegion(0, 0, outer.width, outer.height);
    noteAppearance(*window);
}

void WindowStack::raise(std::uint32_t id) {
    const StackedWindow* const window = find(id);
    if (!window || ids.back() == id) return;
    noteRestacking(*window);
    place(id, ids.size() - 1);
}

void WindowStack::lower(std::uint32_t id) {
    const StackedWindow* const window = find(id);
    if (!window || ids.front() == id) return;
    noteRestacking(*window);
    place(id, 0);
}

void WindowStack::learn(const StackedWindow& facts) {
    StackedWindow* const window = edit(facts.id);
    if (!window) return;
    const bool isNews = !window->isKnown || window->isDrawn != facts.isDrawn || window->hasAlpha != facts.hasAlpha ||
                        window->shape != facts.shape || window->opacity != facts.opacity;
    window->keepsPixels = facts.keepsPixels;
    if (!isNews) return;
    noteDisappearance(*window, LeftPlace::Reason::moved);
    window->isKnown = true;
    window->isDrawn = facts.isDrawn;
    window->hasAlpha = facts.hasAlpha;
    window->visual = facts.visual;
    window->shape = facts.shape;
    window->opacity = facts.opacity;
    noteAppearance(*window);
}

void WindowStack::makeOwn(std::uint32_t id) {
    StackedWindow* const window = edit(id);
    if (!window || window->isOwn) return;
    noteDisappearance(*window, LeftPlace::Reason::moved);
    window->isOwn = true;
    ++owned;
    noteAppearance(*window);
}

} // namespace quillet
