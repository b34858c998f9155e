// SoundPacer.h: the system's sound as a steady clock, whatever the sound server gives or does not give.
#pragma once

#include "pipeline/SoundTimeline.h"
#include "platform/pipewire/CaptureRing.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace quillet {

/// Hands out stretches that join without gap and overlap from the moment of its making on, each ending `latency` before
/// the moment at which it is asked for. Sound that is missing then is waited for until it is `patience` late, and
/// silence afterwards.
///
/// Threads: one at a time.
class SoundPacer {
public:
    /// Time for the microphone's sound of the same moment to come, so that a mix finds both.
    static constexpr std::chrono::milliseconds latency{50};
    static constexpr std::chrono::milliseconds patience{90};

    explicit SoundPacer(MediaTime begin);

    void add(CapturedSound sound);
    /// The next stretch in the common format, empty if none is due.
    [[nodiscard]] AudioSampleBuffer next(MediaTime now);
    /// All up to `now`, with silence for what has not come.
    [[nodiscard]] AudioSampleBuffer rest(MediaTime now);

private:
    void fillUntil(MediaTime time);
    void keep(const AudioSampleBuffer& stretch);
    [[nodiscard]] AudioSampleBuffer handOver(MediaTime until);

    SoundTimeline timeline;
    std::vector<float> waiting;  // interleaved
    std::int64_t handedOver = 0; // where `waiting` begins, in 48000ths of a second
    std::uint32_t device = 0;
};

} // namespace quillet
