#include "tools/TeleprompterScroll.h"

#include <cmath>

namespace quillet {

std::optional<double> TeleprompterScroll::tick(const Place& place, double pointsPerSecond) {
    if (!playing) return std::nullopt;
    accumulator = accumulator + pointsPerSecond / ticksPerSecond;
    if (accumulator < 1) return std::nullopt;
    const double whole = std::floor(accumulator);
    accumulator = accumulator - whole;
    const double y = place.y + whole;
    if (y < place.most) return y;
    playing = false;
    return place.most;
}

} // namespace quillet
