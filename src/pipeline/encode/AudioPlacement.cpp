#include "pipeline/encode/AudioPlacement.h"

#include <algorithm>
#include <cstdlib>

namespace quillet {

AudioPlacement::Place AudioPlacement::add(MediaTime time, std::int64_t frames) {
    const std::int64_t wanted = (time - start).valueIn(sampleRate);
    std::int64_t offset = wanted - placed;
    if (placed > 0 && std::abs(offset) <= toleranceSamples) offset = 0;

    Place place;
    place.skip = std::clamp<std::int64_t>(-offset, 0, frames);
    place.take = frames - place.skip;
    // A buffer that lies wholly in the past leaves nothing, not even the silence that would lead up to it.
    if (place.take > 0) place.silence = std::max<std::int64_t>(0, offset);
    placed += place.silence + place.take;
    return place;
}

} // namespace quillet
