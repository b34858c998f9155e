#include "media/MediaTime.h"

#include "geometry/fatal.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace quillet {

namespace {

// 128 bits hold any product of a value and a timescale.
__extension__ using Wide = __int128;

std::int64_t rescaled(std::int64_t value, std::int64_t from, std::int64_t to) {
    const Wide product = static_cast<Wide>(value) * to;
    const Wide half = from / 2;
    const Wide result = product >= 0 ? (product + half) / from : -((-product + half) / from);
    if (result > std::numeric_limits<std::int64_t>::max() || result < std::numeric_limits<std::int64_t>::min())
        fatal("a media time overflows its timescale");
    return static_cast<std::int64_t>(result);
}

std::int32_t commonTimescale(std::int32_t a, std::int32_t b) {
    const std::int64_t multiple = std::lcm(static_cast<std::int64_t>(a), static_cast<std::int64_t>(b));
    return multiple <= std::numeric_limits<std::int32_t>::max() ? static_cast<std::int32_t>(multiple) : std::max(a, b);
}

} // namespace

std::int64_t MediaTime::valueIn(std::int32_t otherTimescale) const {
    return rescaled(value, timescale, otherTimescale);
}

std::strong_ordering operator<=>(const MediaTime& a, const MediaTime& b) {
    const Wide left = static_cast<Wide>(a.value) * b.timescale;
    const Wide right = static_cast<Wide>(b.value) * a.timescale;
    return left < right ? std::strong_ordering::less
                        : (left > right ? std::strong_ordering::greater : std::strong_ordering::equal);
}

MediaTime operator+(const MediaTime& a, const MediaTime& b) {
    const std::int32_t scale = commonTimescale(a.timescale, b.timescale);
    return {a.valueIn(scale) + b.valueIn(scale), scale};
}

MediaTime operator-(const MediaTime& a, const MediaTime& b) {
    const std::int32_t scale = commonTimescale(a.timescale, b.timescale);
    return {a.valueIn(scale) - b.valueIn(scale), scale};
}

MediaTime mediaTimeAt(std::chrono::steady_clock::time_point moment) {
    using Microseconds = std::chrono::duration<std::int64_t, std::ratio<1, liveTimescale>>;
    return {std::chrono::duration_cast<Microseconds>(moment.time_since_epoch()).count(), liveTimescale};
}

} // namespace quillet
