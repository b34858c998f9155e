// AudioConverter.h: sound of any format becomes the common one, by libswresample.
#pragma once

#include "media/AudioSampleBuffer.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace quillet {

/// Converts one stream, buffer after buffer. A new converter is made only when the format changes; what the old one
/// still held (less than a millisecond) is dropped then.
///
/// Takes every sample type and layout, 1 to 8 channels, 1 to 768 kHz. One channel goes to both sides at full level,
/// two stay as they are, more are mixed down by their usual places without getting louder.
///
/// Threads: one at a time.
class AudioConverter {
public:
    enum class Speed {
        fixed,      ///< the nominal rates; sound in the common format is passed on untouched
        adjustable, ///< setSpeed counts; everything is resampled
    };
    /// Samples beyond this (53 dB above full scale) are cut to it, so that nothing behind can overflow.
    static constexpr float largestSample = 1000;

    explicit AudioConverter(Speed speed);
    ~AudioConverter();
    AudioConverter(AudioConverter&&) noexcept;
    AudioConverter& operator=(AudioConverter&&) noexcept;

    /// Whether the buffer can be understood: not without frames, with too few bytes, of an impossible format or time.
    [[nodiscard]] static bool canConvert(const AudioSampleBuffer& buffer);

    /// What there is of the buffer in the common format, with the time at which it really begins; the rest follows with
    /// the next buffers. Samples that are not finite become 0. Nothing when canConvert() denies it.
    /// At most trunc(48000 / rate * frames + 32) frames.
    [[nodiscard]] std::optional<AudioSampleBuffer> convert(AudioSampleBuffer buffer);

    /// Makes the sound longer by this many millionths from now on (shorter when negative).
    void setSpeed(double lengthenedByMillionths);

    /// Frames of the output that are still to come of what was put in.
    [[nodiscard]] double pendingFrames() const;
    /// Forgets what is still to come.
    void restart();

    /// How often a converter had to be made.
    [[nodiscard]] int convertersMade() const { return made; }

private:
    struct Library;
    [[nodiscard]] bool prepare(const AudioFormat& format);

    Speed speed;
    double millionths = 0;
    int made = 0;
    std::unique_ptr<Library> library; // none: no format yet, or one that cannot be converted
    std::optional<AudioFormat> inFormat;
};

} // namespace quillet
