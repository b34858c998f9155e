// SilentAudioSource.h: the clock of the mix where there is no system sound.
#pragma once

#include "media/MediaTime.h"
#include "pipeline/SystemAudioSource.h"

namespace quillet {

/// Delivers silence at the pace of a clock, so that the microphone still reaches the file.
///
/// Threads: the queue's.
class SilentAudioSource final : public SystemAudioSource {
public:
    static constexpr std::int64_t bufferFrames = 960; ///< 20 ms of the common format
    static constexpr std::chrono::milliseconds interval{100};
    /// What is made good after the queue was busy; more is left out.
    static constexpr std::int64_t longestCatchUp = 10 * 48000;

    /// Begins at `now()`, which is the picture's clock.
    SilentAudioSource(SerialQueue& queue, std::function<MediaTime()> now,
                      std::function<void(AudioSampleBuffer)> onBuffer);
    ~SilentAudioSource() override;
    SilentAudioSource(const SilentAudioSource&) = delete;
    SilentAudioSource& operator=(const SilentAudioSource&) = delete;

    void drain() override;

private:
    void schedule();

    SerialQueue& queue;
    std::function<MediaTime()> now;
    std::function<void(AudioSampleBuffer)> onBuffer;
    std::int64_t position; // in 48000ths of a second
    SerialQueue::TimerId timer = 0;
};

} // namespace quillet
