#include "pipeline/mp4/DiskRoom.h"

#include <algorithm>

namespace quillet::mp4 {

namespace {

constexpr double paceSeconds = 10;       // over which the pace is averaged
constexpr double leastPace = 100'000;    // bytes a second: a screen that stands still may begin to move
constexpr double leastExhaustion = 4e6;  // at least two seconds of a fast film
constexpr double recoveredSeconds = 180; // more than lowSeconds, so that the line does not flicker

} // namespace

DiskCondition DiskRoom::judge(std::uint64_t fileBytes, std::uint64_t available) {
    const double pace = static_cast<double>(fileBytes - std::min(lastBytes, fileBytes)) / seconds;
    lastBytes = fileBytes;
    elapsed += seconds;
    bytesPerSecond += (pace - bytesPerSecond) * std::min(1.0, seconds / std::min(paceSeconds, elapsed));

    const double reserve = static_cast<double>(reserveBytes) + static_cast<double>(reserveBytesPerSecond) * elapsed;
    const double usable = static_cast<double>(available) - reserve;
    // What comes until the next look, and while the file is completed.
    if (usable < std::max(leastExhaustion, 4 * seconds * std::max(pace, bytesPerSecond)))
        return DiskCondition::exhausted;
    const double left = usable / std::max(leastPace, bytesPerSecond);
    wasLow = left < (wasLow ? recoveredSeconds : lowSeconds);
    return wasLow ? DiskCondition::low : DiskCondition::ample;
}

} // namespace quillet::mp4
