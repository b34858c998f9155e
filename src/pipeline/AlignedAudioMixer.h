// AlignedAudioMixer.h: the microphone is mixed with the system sound of the same moment.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "pipeline/AudioMixer.h"
#include "pipeline/SoundTimeline.h"

#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace quillet {

/// Stands in front of an AudioMixer. System buffers are held back for a while (in sound, not by a timer: until system
/// sound is there that is so much younger) and go to the mixer together with exactly as many microphone frames, those
/// of the same times: silence where there is none. A mixed buffer therefore comes later than its system buffer, but
/// carries its time.
///
/// The microphone's sound may arrive as late as system buffers are held; when it comes later than that, the hold grows
/// to what was seen, up to longestHold. While the mixer's microphone is off, nothing is held.
///
/// Threads: pushMicrophone on one queue, pushSystem and drain on another (the screen's), where all the work is done and
/// the mixer is called. The lock guards the handing over alone.
class AlignedAudioMixer {
public:
    static constexpr std::int64_t firstHold = 5760;    ///< frames of 48 kHz: 120 ms
    static constexpr std::int64_t longestHold = 48000; ///< a second

    /// `mixer` must outlive this.
    explicit AlignedAudioMixer(AudioMixer& mixer);

    /// System sound: consecutive, on the picture's clock.
    void pushSystem(AudioSampleBuffer buffer);
    /// Microphone sound with its time on the picture's clock: any format, jitter, drift, gaps, jumps. A time that
    /// cannot be right (more than longestHold before the system's sound, or as far ahead of it as no stall reaches) is
    /// replaced by the time of arrival, and those that follow are shifted alike.
    void pushMicrophone(AudioSampleBuffer buffer);
    /// Hands all system sound that is held to the mixer, with what there is of the microphone: a recording ends.
    void drain();

    /// How long system sound is held now, in frames of 48 kHz.
    [[nodiscard]] std::int64_t hold() const { return holdFrames; }

private:
    /// The microphone's frames that wait for their system sound.
    struct Waiting {
        std::int64_t start = 0; // of the first frame that is left, in frames of 48 kHz on the picture's clock
        std::vector<float> samples;
        std::size_t used = 0; // of samples

        [[nodiscard]] std::int64_t end() const {
            return start + static_cast<std::int64_t>((samples.size() - used) / 2);
        }
        void add(const AudioSampleBuffer& stretch);
        void dropUntil(std::int64_t time);
    };

    struct Arrived {
        AudioSampleBuffer buffer;
        std::optional<std::int64_t> systemEnd; // of the system sound that was known then, in frames of 48 kHz
    };

    void takeMicrophone();
    [[nodiscard]] bool correctTime(Arrived& microphoneSound, std::int64_t systemNow);
    void noteLateness(const AudioSampleBuffer& buffer);
    [[nodiscard]] std::int64_t placeOf(const AudioSampleBuffer& system) const;
    /// The microphone's sound from `begin` on; what came before is given up.
    [[nodiscard]] AudioSampleBuffer microphoneAt(std::int64_t begin, std::int64_t frames);
    void release(AudioSampleBuffer system);
    void startOver();

    AudioMixer& mixer;

    std::mutex arrivedLock; // guards arrived, arrivedSeconds and systemEnd
    std::deque<Arrived> arrived;
    double arrivedSeconds = 0;
    std::optional<std::int64_t> systemEnd;

    // The screen queue's.
    AudioConverter systemConverter{AudioConverter::Speed::fixed};
    SoundTimeline microphone;
    Waiting waiting;
    MediaTime shift;                        // added to the microphone's times
    std::deque<AudioSampleBuffer> held;     // system sound
    std::int64_t heldUntil = INT64_MIN / 2; // the end of the newest
    std::int64_t holdFrames = firstHold;
    std::optional<std::int64_t> released; // the end of the system sound that is out
};

} // namespace quillet
