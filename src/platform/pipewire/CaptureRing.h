// CaptureRing.h: sound on its way from the sound server's data thread to a queue.
#pragma once

#include "media/AudioSampleBuffer.h"

#include <span>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace quillet {

/// A stretch of stereo sound as the server gave it.
struct CapturedSound {
    AudioSampleBuffer buffer; ///< in the common format, its time on CLOCK_MONOTONIC
    std::uint32_t device = 0; ///< another number means: from another device
};

/// One writer that must neither wait nor allocate, one reader. Full means that the reader has been away for longer than
/// `capacityFrames`: what comes then is dropped, and shows as a gap between the times.
///
/// Threads: push on one, take on another.
class CaptureRing {
public:
    explicit CaptureRing(std::size_t capacityFrames);

    /// `samples` are interleaved stereo. False when dropped.
    bool push(std::span<const float> samples, std::chrono::nanoseconds time, std::uint32_t device);
    /// The oldest stretch.
    [[nodiscard]] std::optional<CapturedSound> take();

private:
    struct Stretch {
        std::chrono::nanoseconds time{};
        std::uint32_t device = 0;
        std::size_t samples = 0;
    };
    /// Stretches of a hundred frames, as the smallest devices' periods give them, fill samples and places alike.
    static constexpr std::size_t framesPerPlace = 100;

    std::vector<float> samples;
    std::vector<Stretch> places;
    // Positions only grow; each side writes its own pair and publishes it with the count of stretches.
    std::size_t writtenSamples = 0; // the writer only
    std::size_t readSamples = 0;    // the reader only
    std::atomic<std::size_t> writtenPlaces{0};
    std::atomic<std::size_t> readPlaces{0};
    std::atomic<std::size_t> freedSamples{0};
};

} // namespace quillet
