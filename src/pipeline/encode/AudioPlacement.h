// AudioPlacement.h: which samples of a sound buffer stand where in the file.
#pragma once

#include "media/MediaTime.h"

#include <cstdint>

namespace quillet {

/// Turns the buffers' times into one unbroken row of samples from the file's start on. The first sound stands exactly
/// at its time; later buffers that are off by up to a millisecond (rounded time stamps, a clock that wanders) are
/// simply joined on, and anything more is made good at once, so that the error never grows beyond that millisecond.
///
/// Threads: a value, no locks.
class AudioPlacement {
public:
    static constexpr std::int32_t sampleRate = 48000;
    static constexpr std::int64_t toleranceSamples = sampleRate / 1000;

    explicit AudioPlacement(MediaTime fileStart) : start(fileStart) {}

    struct Place {
        std::int64_t silence = 0; ///< samples of silence that come first
        std::int64_t skip = 0;    ///< samples at the buffer's beginning that are left out
        std::int64_t take = 0;    ///< samples after those that are written
    };
    /// The place of the next buffer, which is taken from then on.
    [[nodiscard]] Place add(MediaTime time, std::int64_t frames);

    /// Samples placed so far, silence included.
    [[nodiscard]] std::int64_t length() const { return placed; }

private:
    MediaTime start;
    std::int64_t placed = 0;
};

} // namespace quillet
