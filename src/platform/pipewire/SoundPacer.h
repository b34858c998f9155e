// SoundPacer.h: the system's sound as a steady clock, whatever the sound server gives or does not give.
#pragma once

#include "pipeline/SoundTimeline.h"
#include "platform/pipewire/CaptureRing.h"

#include <chrono>
#include <cstdint>
#include <vector>

namespace quillet {

/// Hands out stretches that join without gap and overlap from the moment of its making on. Sound is handed out as soon
/// as it has been heard; where some is missing it is waited for until it is `leastPatience` late, and is silence
/// afterwards. A server with long periods is given one of them and `margin`, if that is more.
///
/// Threads: one at a time.
class SoundPacer {
public:
    /// Far more than a server needs on a busy machine, and less than a mix waits for the microphone.
    static constexpr std::chrono::milliseconds leastPatience{100};
    static constexpr std::chrono::milliseconds margin{60};
    static constexpr std::chrono::milliseconds mostPatience{500}; ///< the longest period that servers have is 170 ms

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
    std::chrono::milliseconds patience = leastPatience;
};

} // namespace quillet
