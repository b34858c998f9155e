#include "platform/x11/CoveredMemory.h"

namespace quillet {

void CoveredMemory::begin(const QRegion& shown) {
    area = shown;
    own &= area;
    stale = area;
    recent = {};
}

void CoveredMemory::age(Clock::time_point now) {
    if (now - agedAt < recently) return;
    recent[1] = now - agedAt < 2 * recently ? std::move(recent[0]) : QRegion();
    recent[0] = {};
    agedAt = now;
}

void CoveredMemory::changeGround(const QRegion& part, Clock::time_point now) {
    const QRegion inside = part & area;
    stale += inside & own;
    age(now);
    recent[0] += inside;
    // Only an outline is needed of what many windows have done.
    constexpr int manyRects = 64;
    if (recent[0].rectCount() > manyRects) recent[0] = recent[0].boundingRect();
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
        age(now);
        stale += covered & (recent[0] + recent[1]);
        // What a manager has drawn around and above our windows is to be seen again.
    }
    // The server tells of what it uncovers, but not of what it uncovered while our windows' region still reached there.
    stale += uncovered;
}

} // namespace quillet
