#include "platform/x11/CoveredMemory.h"

namespace quillet {

void CoveredMemory::begin(const QRegion& shown) {
    area = shown;
    own &= area;
    stale = area;
    changed = {};
}

void CoveredMemory::changeScreen(const QRegion& part, Clock::time_point now) {
    stale += (part & area) - own;
    changed.draw(part, now);
    changed.settle(now);
}

void CoveredMemory::changeGround(const QRegion& part, Clock::time_point now) {
    const QRegion inside = part & area;
    if (inside.isEmpty()) return;
    stale += inside & own;
    changed.settle(now);
    changed.note({.place = inside, .owed = inside, .atLeast = SettlingPlaces::quiet, .atMost = longestWait}, now);
}

void CoveredMemory::cover(const QRegion& region, Compositing compositing, Clock::time_point now) {
    const QRegion next = region & area;
    if (next == own) return;
    const QRegion covered = next - own;
    const QRegion uncovered = own - next;
    own = next;
    if (compositing == Compositing::byServer) {
        stale += covered;
    } else {
        changed.settle(now);
        stale += covered & changed.places();
        // What a manager has drawn around and above our windows is to be seen again.
    }
    // The server tells of what it uncovers, but not of what it uncovered while our windows' region still reached there.
    stale += uncovered;
}

} // namespace quillet
