// AudioSampleBuffer.h: a stretch of sound with its time.
#pragma once

#include "media/AudioFormat.h"
#include "media/MediaTime.h"

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

} // namespace quillet
