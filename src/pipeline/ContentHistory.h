// ContentHistory.h: what each of the last renders changed, so that an old frame can be brought up to date.
#pragma once

#include "media/PixelBuffer.h"

#include <array>
#include <cstdint>

namespace quillet {

/// Renders are numbered 1, 2, 3, …; what a frame holds is noted in its `drawnContent`. Threads: one at a time.
class ContentHistory {
public:
    /// Pooled frames come back within a few renders; one that was away longer is drawn whole.
    static constexpr std::size_t depth = 32;

    ContentHistory();

    /// Begins the next render, which differs from the one before in `changed` at most.
    void advance(const PixelRegion& changed);
    [[nodiscard]] std::uint64_t current() const { return renders; }

    /// What must be drawn so that `frame` holds the current render: `whole` if nothing useful is known of it. The
    /// region is valid until the next call.
    [[nodiscard]] const PixelRegion& staleIn(const PixelBuffer& frame, const PixelRect& whole);
    /// Notes that `frame` now holds the current render.
    void noteDrawn(PixelBuffer& frame) const;

private:
    std::uint64_t history; // tells the histories of all compositors apart
    std::uint64_t renders = 0;
    std::array<PixelRegion, depth> changes;
    PixelRegion stale;
};

} // namespace quillet
