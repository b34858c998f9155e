// SoundDevice.h: a sound device with a clock of its own, and the tools to measure what became of its sound.
#pragma once

#include "media/AudioSampleBuffer.h"

#include <span>

#include <cstdint>
#include <functional>
#include <random>
#include <vector>

namespace quillet::fakes {

/// What is to be heard at a moment (seconds on the picture's clock): left and right.
struct StereoLevel {
    double left = 0;
    double right = 0;
};
using Sound = std::function<StereoLevel(double seconds)>;

/// A sine on both sides.
[[nodiscard]] Sound sine(double hertz, double amplitude);
/// Two milliseconds of a 2 kHz sine at each whole multiple of `period`, silence between.
[[nodiscard]] Sound clicks(double period, double amplitude);
constexpr double clickSeconds = 0.002;

struct SoundDeviceOptions {
    Sound sound;
    AudioFormat format = commonAudioFormat;
    double start = 1000;        ///< seconds on the picture's clock at which the first sample is heard
    double clockMillionths = 0; ///< how much too fast the device's clock runs
    double jitterSeconds = 0;   ///< the most by which a buffer's time is wrong, either way
    std::int64_t frames = 480;  ///< of each buffer, in the device's format
    unsigned seed = 1;          ///< of the jitter
};

/// Gives one buffer after the other, as a device whose clock is a little wrong would: its samples are heard at the
/// device's pace, its times are on the picture's clock.
class SoundDevice {
public:
    explicit SoundDevice(SoundDeviceOptions options);

    [[nodiscard]] AudioSampleBuffer next();
    /// Loses that many frames.
    void lose(std::int64_t frames) { sample += frames; }
    /// When the next buffer's first sample is heard, and when its last one is over: seconds on the picture's clock.
    [[nodiscard]] double now() const { return timeOf(sample); }
    [[nodiscard]] double nextEnd() const { return timeOf(sample + options.frames); }

private:
    [[nodiscard]] double timeOf(std::int64_t index) const;

    SoundDeviceOptions options;
    std::mt19937 random;
    std::int64_t sample = 0;
};

/// Interleaved stereo of the common format, put together from buffers.
struct HeardSound {
    MediaTime start;
    std::vector<float> samples;
    bool isContiguous = true; ///< each buffer began where the last one ended

    void add(const AudioSampleBuffer& buffer);
    [[nodiscard]] std::int64_t frames() const { return static_cast<std::int64_t>(samples.size() / 2); }
    [[nodiscard]] double startSeconds() const { return start.seconds(); }
    /// One side between two moments.
    [[nodiscard]] std::vector<float> channel(int which, double from, double until) const;
};

/// Moments (seconds on the picture's clock) at which something louder than `threshold` begins after at least 50 ms of
/// quiet.
[[nodiscard]] std::vector<double> onsets(const HeardSound& heard, double threshold, int channel = 0);

/// A sine fitted to samples at 48 kHz.
struct SineFit {
    double amplitude = 0;
    double phase = 0;         ///< radians at the first sample
    double residualPeak = 0;  ///< the largest distance of a sample from the sine
    double residualPower = 0; ///< mean square of those distances
};
[[nodiscard]] SineFit fitSine(std::span<const float> samples, double hertz);

/// The frequency near `guess` that fits best, by the phases of the two halves.
[[nodiscard]] double frequencyOf(std::span<const float> samples, double guess);

} // namespace quillet::fakes
