// SoundTrack.h: sound buffers become AAC packets, every sample at its time.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "pipeline/encode/AacEncoder.h"
#include "pipeline/encode/AudioPlacement.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// Fills gaps with silence, cuts overlaps (AudioPlacement), and encodes in bounded steps: sound that begins an hour
/// after the picture brings an hour of silence with it, which must not keep the pictures waiting.
///
/// Threads: one at a time.
class SoundTrack {
public:
    SoundTrack(std::unique_ptr<AacEncoder> encoder, MediaTime start);

    /// The next buffer, in the common format (any other stops the program); only when none is pending. Samples that are
    /// not finite count as 0.
    void add(AudioSampleBuffer buffer);
    [[nodiscard]] bool isPending() const { return silence > 0 || samplesLeft() > 0; }
    /// Encodes up to `samples` of what is pending.
    [[nodiscard]] std::optional<Error> encode(std::int64_t samples, const AacEncoder::Output& output);
    /// Gives out the last packets, if there was any sound. Nothing may be pending.
    [[nodiscard]] std::optional<Error> finish(const AacEncoder::Output& output);

    /// Samples from the file's start to the end of the sound; 0 without any.
    [[nodiscard]] std::int64_t length() const { return placement.length(); }

private:
    [[nodiscard]] std::int64_t samplesLeft() const { return end - next; }

    std::unique_ptr<AacEncoder> encoder;
    AudioPlacement placement;
    std::int64_t silence = 0; // samples that come before the buffer
    AudioSampleBuffer buffer;
    std::int64_t next = 0; // of the buffer's samples
    std::int64_t end = 0;
    std::vector<float> packet; // interleaved, gathered up to one packet
};

} // namespace quillet
