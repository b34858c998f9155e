#include "platform/x11/SettlingPlaces.h"

#include <algorithm>

namespace quillet {

namespace {

// Only an outline is needed of what many windows have done.
constexpr int manyRects = 64;

// A drag changes hundreds of places in their time.
constexpr std::chrono::milliseconds aboutTheSame{20};

void simplify(QRegion& region) {
    if (region.rectCount() > manyRects) region = region.boundingRect();
}

} // namespace

SettlingPlaces::Clock::time_point SettlingPlaces::Place::due() const {
    const Clock::time_point last = changed + atMost;
    return undrawn.isEmpty() ? std::min(last, std::max(changed + atLeast, drawn + quiet)) : last;
}

void SettlingPlaces::note(const Change& change, Clock::time_point now) {
    if (change.place.isEmpty()) return;
    all += change.place;
    const auto same = std::ranges::find_if(open, [&](const Place& each) {
        return each.atLeast == change.atLeast && each.atMost == change.atMost && each.drawn == each.changed &&
               now - each.changed < aboutTheSame;
    });
    if (same == open.end()) {
        open.push_back({change.place, change.owed, now, now, change.atLeast, change.atMost});
        return;
    }
    same->place += change.place;
    simplify(same->place);
    same->undrawn += change.owed;
    simplify(same->undrawn);
    same->changed = now;
    same->drawn = now;
}

void SettlingPlaces::draw(const QRegion& part, Clock::time_point now) {
    if (!all.boundingRect().intersects(part.boundingRect())) return;
    for (Place& each : open) {
        const QRegion drawn = part & each.place;
        if (drawn.isEmpty()) continue;
        each.undrawn -= drawn;
        simplify(each.undrawn);
        each.drawn = now;
    }
}

void SettlingPlaces::settle(Clock::time_point now) {
    if (std::erase_if(open, [&](const Place& each) { return each.due() <= now; }) == 0) return;
    all = {};
    for (const Place& each : open)
        all += each.place;
}

std::optional<SettlingPlaces::Clock::time_point> SettlingPlaces::nextSettling() const {
    if (open.empty()) return std::nullopt;
    return std::ranges::min_element(open, {}, &Place::due)->due();
}

} // namespace quillet
