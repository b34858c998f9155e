#include "media/AudioSampleBuffer.h"

#include "geometry/fatal.h"

#include <algorithm>

namespace quillet {

namespace {

constexpr std::size_t channels = 2;

std::size_t sampleCount(const AudioSampleBuffer& buffer) {
    const std::size_t count = static_cast<std::size_t>(std::max<std::int64_t>(0, buffer.frames)) * channels;
    if (buffer.format != commonAudioFormat || buffer.samples.size() < count * sizeof(float))
        fatal("a sound buffer is not in the common format");
    return count;
}

} // namespace

AudioSampleBuffer commonSilence(std::int64_t frames, MediaTime time) {
    const std::size_t count = static_cast<std::size_t>(std::max<std::int64_t>(0, frames)) * channels;
    return {commonAudioFormat, frames, time, std::vector<std::byte>(count * sizeof(float))};
}

std::span<float> commonSamples(AudioSampleBuffer& buffer) {
    const std::size_t count = sampleCount(buffer);
    return {reinterpret_cast<float*>(buffer.samples.data()), count};
}

std::span<const float> commonSamples(const AudioSampleBuffer& buffer) {
    const std::size_t count = sampleCount(buffer);
    return {reinterpret_cast<const float*>(buffer.samples.data()), count};
}

} // namespace quillet
