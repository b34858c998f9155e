#include "pipeline/ContentHistory.h"

#include <atomic>

namespace quillet {

namespace {

struct DrawnContent {
    std::uint64_t history;
    std::uint64_t render;
};

std::uint64_t nextHistory() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

} // namespace

ContentHistory::ContentHistory() : history(nextHistory()) {}

void ContentHistory::advance(const PixelRegion& changed) {
    ++renders;
    changes[renders % depth] = changed;
}

const PixelRegion& ContentHistory::staleIn(const PixelBuffer& frame, const PixelRect& whole) {
    stale.clear();
    const auto* content = static_cast<const DrawnContent*>(frame.drawnContent.get());
    if (!content || content->history != history || renders - content->render > depth) {
        stale.add(whole);
        return stale;
    }
    for (std::uint64_t render = content->render + 1; render <= renders; ++render)
        stale.add(changes[render % depth]);
    return stale;
}

void ContentHistory::noteDrawn(PixelBuffer& frame) const {
    // The note is made once for each pooled frame and written over from then on.
    if (!frame.drawnContent) frame.drawnContent = std::make_shared<DrawnContent>();
    *static_cast<DrawnContent*>(frame.drawnContent.get()) = {history, renders};
}

} // namespace quillet
