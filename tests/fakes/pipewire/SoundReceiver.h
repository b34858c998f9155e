// SoundReceiver.h: takes a sound source's buffers on a queue of its own.
#pragma once

#include "media/SerialQueue.h"
#include "pipeline/CameraManager.h"
#include "pipeline/SystemAudioSource.h"
#include "tests/fakes/SoundDevice.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace quillet::testing {

/// Keeps all that one source delivers. Threads: the test's.
class SoundReceiver {
public:
    SoundReceiver() = default;
    ~SoundReceiver();

    void start(const SystemAudioSourceFactory& factory);
    /// False when there is no such device.
    bool start(const decltype(CaptureDeviceFactories::microphone)& factory);
    /// Destroys the source.
    void stop();
    void drain();

    /// Waits until what has been heard satisfies `condition`; false after 20 seconds, which means failure.
    [[nodiscard]] bool waitFor(const std::function<bool(const fakes::HeardSound&)>& condition);
    [[nodiscard]] fakes::HeardSound heard() const;
    /// Forgets what has been heard up to now; returns when the source has delivered nothing older.
    void forget();
    /// Waits until a buffer is delivered less than 0.1 s after its end (each one would be, on a machine that does
    /// nothing else); false after 20 seconds, which means failure.
    [[nodiscard]] bool becomesPrompt();
    /// Buffers whose time lies before the end of the one before by more than a frame.
    [[nodiscard]] int overlaps() const;

    SerialQueue queue{"org.quillet.Quillet.screen"};

private:
    void receive(const AudioSampleBuffer& buffer);

    std::unique_ptr<SystemAudioSource> system; // the queue only
    std::unique_ptr<CaptureDevice> microphone; // the queue only
    mutable std::mutex mutex;                  // guards all below
    std::condition_variable arrived;
    fakes::HeardSound sound;
    double latestEnd = 0;
    double latency = 1e9; // of the newest buffer, in seconds
    int overlapCount = 0;
};

/// A sine of that frequency and amplitude on one side (0 left, 1 right) is what the last `seconds` were, and nothing
/// else; hertz 0 is silence.
[[nodiscard]] bool endsWithTone(const fakes::HeardSound& heard, int channel, double hertz, double amplitude,
                                double seconds = 0.2);

} // namespace quillet::testing
