// PacedAudioSource.h: sound at the pace of a clock: silence where there is no system sound, or a formula's.
#pragma once

#include "media/MediaTime.h"
#include "pipeline/SystemAudioSource.h"

#include <chrono>
#include <cstdint>
#include <functional>

namespace quillet {

/// Keeps the clock of the mix, so that the microphone reaches the file although there is no system sound.
///
/// Threads: the queue's.
class PacedAudioSource final : public SystemAudioSource {
public:
    static constexpr std::int64_t bufferFrames = 960; ///< 20 ms of the common format, the longest that is delivered
    static constexpr std::chrono::milliseconds interval{100};
    /// What is made good after the queue was busy; more is left out.
    static constexpr std::int64_t longestCatchUp = 10 * 48000;

    struct Options {
        std::function<MediaTime()> now = mediaTimeNow;           ///< the picture's clock; sound begins at its moment
        std::function<void(AudioSampleBuffer)> onBuffer;         ///< on the queue
        std::function<void(AudioSampleBuffer&)> paint = nullptr; ///< fills in the sound; not set: silence
    };

    PacedAudioSource(SerialQueue& queue, Options options);
    ~PacedAudioSource() override;
    PacedAudioSource(const PacedAudioSource&) = delete;
    PacedAudioSource& operator=(const PacedAudioSource&) = delete;

    void drain() override;

private:
    void schedule();

    SerialQueue& queue;
    Options options;
    std::int64_t position; // in 48000ths of a second
    SerialQueue::TimerId timer = 0;
};

} // namespace quillet
