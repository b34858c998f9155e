// SystemAudioSource.h: what a sound system must offer so that what the speakers play can be recorded.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/SerialQueue.h"

#include <functional>
#include <memory>

namespace quillet {

/// The sound of the default output while it lives. It never pauses: where nothing plays, where there is no output, and
/// while there is no sound server, it delivers silence, so that whoever takes its buffers as a clock is never left
/// waiting. Consecutive buffers do not overlap in time and leave no gap.
///
/// Threads: made, used and destroyed on the queue that it was made with; callbacks come there too, none after its
/// destruction.
class SystemAudioSource {
public:
    virtual ~SystemAudioSource() = default;

    /// Delivers what has been heard up to now and has not been handed over yet, for the end of a recording.
    virtual void drain() = 0;
};

/// Starts a source on `queue` (and is called there). `onBuffer` receives each stretch of sound in the common format,
/// with its time on the picture's clock. Null only where there is no sound system to speak of; not set: the same.
using SystemAudioSourceFactory = std::function<std::unique_ptr<SystemAudioSource>(
    SerialQueue& queue, std::function<void(AudioSampleBuffer)> onBuffer)>;

} // namespace quillet
