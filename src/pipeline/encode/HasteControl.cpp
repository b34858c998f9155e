#include "pipeline/encode/HasteControl.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

// What was counts for less with every picture: a sudden burden is known after three, before a queue of four is full,
// and one key picture of twice a period beside others of half a period does not look like one.
constexpr double fading = 0.8;
// The share of the time that may be used up before a queue that fills is the encoder's fault.
constexpr double busy = 0.85;
// A step back costs a third more at most, the last one a sixth (measured on video), which must fit as well.
constexpr double roomy = 0.6;
constexpr double roomyForAll = 0.7;
constexpr double leastPatience = 1;
constexpr double mostPatience = 16;
// A return that had to be taken back within this time was one too soon.
constexpr double soon = 4;
// Pictures until a change shows in the time taken.
constexpr int settling = 2;
// A picture after a long pause earns no more time than this.
constexpr double longestPeriod = 0.25;

} // namespace

HasteControl::HasteControl(int fps)
    : period(1.0 / std::max(1, fps)), patience(leastPatience), lastReturn(-2 * mostPatience) {}

void HasteControl::hurry(double now) {
    calm = 0;
    if (haste == Haste::most) return;
    if (now - lastReturn < soon) patience = std::min(2 * patience, mostPatience);
    haste = static_cast<Haste>(static_cast<int>(haste) + 1);
    sinceChange = 0;
}

void HasteControl::relax(double now) {
    calm = 0;
    if (haste == Haste::none) {
        if (now - lastReturn > mostPatience) patience = leastPatience;
        return;
    }
    haste = static_cast<Haste>(static_cast<int>(haste) - 1);
    lastReturn = now;
    sinceChange = 0;
}

Haste HasteControl::after(std::int64_t microseconds, std::chrono::nanoseconds taken, std::size_t waiting) {
    const double now = static_cast<double>(microseconds) / 1e6;
    const double had = std::clamp(now - lastTime, period, longestPeriod);
    lastTime = now;
    if (std::exchange(isFirst, false)) return haste;
    secondsTaken = secondsTaken * fading + std::chrono::duration<double>(taken).count();
    secondsHad = secondsHad * fading + had;
    const double load = secondsTaken / secondsHad;
    ++sinceChange;

    if (sinceChange > settling && ((waiting >= 2 && load > busy) || (waiting >= 1 && load > 1)))
        hurry(now);
    else if (waiting > 0 || load > (haste <= Haste::some ? roomyForAll : roomy))
        calm = 0;
    else if ((calm += had) >= patience)
        relax(now);
    return haste;
}

} // namespace quillet
