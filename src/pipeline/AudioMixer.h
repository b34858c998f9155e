// AudioMixer.h: system sound and microphone become one stereo stream.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "pipeline/AudioConverter.h"

#include <span>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace quillet {

/// System sound is the clock of the mix: the microphone's sound waits in a ring, and each system buffer leaves with as
/// many frames of it as are waiting, up to its own length, under a gain, a peak limiter and a hard clip. Times play no
/// part in it; whoever wants the microphone in time pushes its frames at the right moment (AlignedAudioMixer).
///
/// Threads: pushSystem on one queue (the screen's), pushMicrophone on one queue, the public fields before sound flows.
/// One lock, for the ring alone; it is never held while converting or calling out.
class AudioMixer {
public:
    /// The most frames of microphone sound that may wait when a system buffer arrives: a quarter second. What is older
    /// is dropped.
    static constexpr std::int64_t micMaxBacklog = 12000;

    /// Null when memory is short.
    [[nodiscard]] static std::unique_ptr<AudioMixer> make();

    /// Any PCM format; what cannot be understood is dropped. Calls onMixed.
    void pushSystem(AudioSampleBuffer buffer);
    /// Any PCM format; what cannot be understood is dropped. When the ring is full the oldest frames give way.
    void pushMicrophone(AudioSampleBuffer buffer);

    /// Whether the microphone is taken and mixed in.
    bool micEnabled = true;
    /// Each mixed buffer, in the common format, with the system buffer's time; on pushSystem's queue, no lock held.
    std::function<void(AudioSampleBuffer)> onMixed;

private:
    static constexpr std::int64_t micCapFrames = 48000; // one second
    static constexpr float outputGain = 0.7F;
    static constexpr float limiterThreshold = 0.9F;
    static constexpr float limiterAttackCoef = 0.97938216F;  // exp(-1/48): 1 ms at 48 kHz
    static constexpr float limiterReleaseCoef = 0.99982643F; // exp(-1/5760): 120 ms

    AudioMixer();
    [[nodiscard]] static std::optional<AudioSampleBuffer> convertToCommon(AudioSampleBuffer buffer,
                                                                          AudioConverter& converter);
    void addMicrophone(std::span<float> samples);
    void limit(std::span<float> samples);

    std::mutex lock; // guards micRing, micCount, micHead
    std::vector<float> micRing;
    std::int64_t micCount = 0; // frames waiting
    std::int64_t micHead = 0;  // index of the oldest waiting sample, always even

    AudioConverter systemConverter{AudioConverter::Speed::fixed}; // pushSystem's queue
    AudioConverter micConverter{AudioConverter::Speed::fixed};    // pushMicrophone's queue
    float limiterEnv = 0;                                         // pushSystem's queue
};

} // namespace quillet
