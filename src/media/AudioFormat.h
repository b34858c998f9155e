// AudioFormat.h: how the samples of a sound buffer lie in memory.
#pragma once

#include <cstddef>

namespace quillet {

/// Native byte order. int24in32: the lower 24 bits of 32 hold the sample with its sign, the upper 8 may hold anything.
enum class SampleType { uint8, int16, int24in32, int32, float32, float64 };

[[nodiscard]] constexpr std::size_t sampleBytes(SampleType type) {
    switch (type) {
        case SampleType::uint8:
            return 1;
        case SampleType::int16:
            return 2;
        case SampleType::int24in32:
        case SampleType::int32:
        case SampleType::float32:
            return 4;
        case SampleType::float64:
            return 8;
    }
    return 0;
}

enum class SampleLayout {
    interleaved, ///< frame after frame
    planar,      ///< one channel after the other, each `frames` samples long
};

struct AudioFormat {
    SampleType sampleType = SampleType::float32;
    double sampleRate = 48000; ///< frames per second
    int channels = 2;
    SampleLayout layout = SampleLayout::interleaved;

    friend bool operator==(const AudioFormat&, const AudioFormat&) = default;
};

/// What the mix and the file use: 32-bit float, 48000 Hz, stereo, interleaved.
inline constexpr AudioFormat commonAudioFormat{};

} // namespace quillet
