// AudioMixer.h: system sound and microphone become one stereo stream.
#pragma once

#include "media/AudioSampleBuffer.h"

#include <functional>

namespace quillet {

/// What the recording session asks of a mixer. System sound is the clock of the mix.
///
/// Threads: pushSystem on the screen queue, pushMicrophone on the camera queue, the fields before sound flows.
class AudioMixer {
public:
    virtual ~AudioMixer() = default;

    virtual void pushSystem(AudioSampleBuffer buffer) = 0;
    virtual void pushMicrophone(AudioSampleBuffer buffer) = 0;

    bool micEnabled = true;
    /// Each mixed buffer, in the common format; called on the screen queue, no lock held.
    std::function<void(AudioSampleBuffer)> onMixed;
};

} // namespace quillet
