#include "pipeline/AudioMixer.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

namespace quillet {

AudioMixer::AudioMixer() : micRing(2 * micCapFrames) {}

std::unique_ptr<AudioMixer> AudioMixer::make() {
    try {
        return std::unique_ptr<AudioMixer>(new AudioMixer);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::optional<AudioSampleBuffer> AudioMixer::convertToCommon(AudioSampleBuffer buffer, AudioConverter& converter) {
    const MediaTime time = buffer.presentationTime;
    std::optional<AudioSampleBuffer> converted = converter.convert(std::move(buffer));
    if (!converted || converted->frames == 0) return std::nullopt;
    converted->presentationTime = time;
    return converted;
}

void AudioMixer::pushMicrophone(AudioSampleBuffer buffer) {
    if (!micEnabled) return;
    const std::optional<AudioSampleBuffer> converted = convertToCommon(std::move(buffer), micConverter);
    if (!converted) return;
    const std::span<const float> samples = commonSamples(*converted);

    constexpr std::int64_t ringSize = 2 * micCapFrames;
    const std::lock_guard guard(lock);
    std::int64_t at = (micHead + 2 * micCount) % ringSize;
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        micRing[static_cast<std::size_t>(at)] = samples[i];
        micRing[static_cast<std::size_t>(at) + 1] = samples[i + 1];
        if (micCount >= micCapFrames)
            micHead = (micHead + 2) % ringSize;
        else
            ++micCount;
        at = (at + 2) % ringSize;
    }
}

void AudioMixer::addMicrophone(std::span<float> samples) {
    constexpr std::int64_t ringSize = 2 * micCapFrames;
    const std::lock_guard guard(lock);
    if (micCount > micMaxBacklog) {
        micHead = (micHead + 2 * (micCount - micMaxBacklog)) % ringSize;
        micCount = micMaxBacklog;
    }
    const std::int64_t frames = std::min(micCount, static_cast<std::int64_t>(samples.size() / 2));
    for (std::int64_t i = 0; i < frames; ++i) {
        const auto from = static_cast<std::size_t>((micHead + 2 * i) % ringSize);
        samples[static_cast<std::size_t>(2 * i)] += micRing[from];
        samples[static_cast<std::size_t>(2 * i) + 1] += micRing[from + 1];
    }
    micHead = (micHead + 2 * frames) % ringSize;
    micCount -= frames;
}

void AudioMixer::limit(std::span<float> samples) {
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        const float left = outputGain * samples[i];
        const float right = outputGain * samples[i + 1];
        const float peak = std::max(std::abs(left), std::abs(right));
        const float coefficient = limiterEnv < peak ? limiterAttackCoef : limiterReleaseCoef;
        limiterEnv = peak + coefficient * (limiterEnv - peak);
        // One gain for both sides keeps the stereo picture.
        const float gain = limiterEnv > limiterThreshold ? limiterThreshold / limiterEnv : 1;
        samples[i] = std::clamp(left * gain, -1.0F, 1.0F);
        samples[i + 1] = std::clamp(right * gain, -1.0F, 1.0F);
    }
}

void AudioMixer::pushSystem(AudioSampleBuffer buffer) {
    std::optional<AudioSampleBuffer> mixed = convertToCommon(std::move(buffer), systemConverter);
    if (!mixed) return;
    const std::span<float> samples = commonSamples(*mixed);
    if (micEnabled) addMicrophone(samples);
    limit(samples);
    if (onMixed) onMixed(std::move(*mixed));
}

} // namespace quillet
