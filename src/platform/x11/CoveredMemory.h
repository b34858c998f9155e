// CoveredMemory.h: which pixels of the picture are out of date, and how each is to be brought up to date.
#pragma once

#include "platform/x11/OwnRegion.h"
#include "platform/x11/SettlingPlaces.h"

#include <QRegion>

#include <chrono>

namespace quillet {

/// Outside our windows' region a pixel is out of date when the screen has changed there, and is fetched plainly. Inside
/// it is when something beneath has changed, and is rebuilt from the other windows.
///
/// What a compositing manager has drawn (shadows, title bars) cannot be rebuilt. So where our windows come over
/// something under a manager, the pixels are not rebuilt but keep what they last showed, until something beneath
/// changes. Everything is in pixels of the root.
/// Threads: a value.
class CoveredMemory {
public:
    using Clock = SettlingPlaces::Clock;

    /// From now on the picture shows `area` (and nothing of it yet).
    void begin(const QRegion& area);
    /// The screen has changed, whoever has changed it.
    void changeScreen(const QRegion& part, Clock::time_point now);
    /// What windows of others show has changed.
    void changeGround(const QRegion& part, Clock::time_point now);
    /// Our windows' region is `region` now.
    void cover(const QRegion& region, Compositing compositing, Clock::time_point now);

    [[nodiscard]] QRegion toFetch() const { return stale - own; }
    [[nodiscard]] QRegion toRebuild() const { return stale & own; }
    [[nodiscard]] bool isCurrent() const { return stale.isEmpty(); }
    [[nodiscard]] const QRegion& covered() const { return own; } ///< our windows' region inside the area
    /// Where windows of others have changed so recently that the screen may show something else.
    [[nodiscard]] const QRegion& unsettled() const { return changed.places(); }
    /// The picture shows it all.
    void bringUpToDate() { stale = {}; }

private:
    // A manager draws later than the windows change: what is not settled may be missing on the screen that the picture
    // was last fetched from. What it has not drawn after this long is hidden.
    static constexpr std::chrono::milliseconds longestWait{3000};

    QRegion area;
    QRegion own;
    QRegion stale;
    SettlingPlaces changed;
};

} // namespace quillet
