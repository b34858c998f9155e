// AudioSampleBuffer.h: a stretch of sound with its time.
#pragma once

#include "media/AudioFormat.h"
#include "media/MediaTime.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace quillet {

/// A value: the samples are the buffer's own.
struct AudioSampleBuffer {
    AudioFormat format;
    std::int64_t frames = 0;        ///< samples per channel
    MediaTime presentationTime;     ///< of the first frame, on the picture's clock
    std::vector<std::byte> samples; ///< frames * channels * sampleBytes, laid out as `format` says
};

/// Whether the time is one to calculate with: no clock counts three centuries.
[[nodiscard]] inline bool hasUsableTime(const AudioSampleBuffer& buffer) {
    const double seconds = buffer.presentationTime.seconds();
    return seconds > -1e10 && seconds < 1e10;
}

/// Silence in the common format.
[[nodiscard]] AudioSampleBuffer commonSilence(std::int64_t frames, MediaTime time);

/// The samples of a buffer that is in the common format (any other stops the program): left and right in turns.
[[nodiscard]] std::span<float> commonSamples(AudioSampleBuffer& buffer);
[[nodiscard]] std::span<const float> commonSamples(const AudioSampleBuffer& buffer);

} // namespace quillet
