#include "pipeline/AlignedAudioMixer.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace quillet {

namespace {

constexpr std::int32_t rate = 48000;
constexpr std::int64_t mostArrived = 5 * rate;      // of microphone sound that no system sound fetches
constexpr std::int64_t farAhead = 10 * rate;        // no stall of the system sound is longer
constexpr std::int64_t lateMargin = rate / 50;      // what the hold grows by beyond the lateness seen
constexpr std::int64_t joinTolerance = rate / 1000; // of system buffers' times; the file has the same
// The mixer drops microphone sound beyond a quarter second, so longer system buffers go to it in parts.
constexpr std::int64_t longestPart = rate / 10;

double secondsOf(const AudioSampleBuffer& buffer) {
    return static_cast<double>(buffer.frames) / buffer.format.sampleRate;
}

std::int64_t startOf(const AudioSampleBuffer& buffer) { return buffer.presentationTime.valueIn(rate); }

/// Some of a buffer in the common format.
AudioSampleBuffer part(const AudioSampleBuffer& whole, std::int64_t from, std::int64_t frames) {
    AudioSampleBuffer cut = commonSilence(frames, whole.presentationTime + MediaTime{from, rate});
    const auto samples = commonSamples(whole).subspan(static_cast<std::size_t>(2 * from));
    std::memcpy(cut.samples.data(), samples.data(), cut.samples.size());
    return cut;
}

} // namespace

void AlignedAudioMixer::Waiting::add(const AudioSampleBuffer& stretch) {
    if (stretch.frames == 0) return;
    const auto added = commonSamples(stretch);
    const std::int64_t begin = startOf(stretch);
    if (begin != end()) { // the first, or after a gap that was stepped over
        samples.clear();
        used = 0;
        start = begin;
    }
    samples.insert(samples.end(), added.begin(), added.end());
}

void AlignedAudioMixer::Waiting::dropUntil(std::int64_t time) {
    const std::int64_t gone = std::clamp<std::int64_t>(time - start, 0, end() - start);
    used += static_cast<std::size_t>(2 * gone);
    start += gone;
    // Moved together now and then, not for each buffer.
    if (used < static_cast<std::size_t>(rate) && used < samples.size()) return;
    samples.erase(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(used));
    used = 0;
}

AlignedAudioMixer::AlignedAudioMixer(AudioMixer& target) : mixer(target) {}

void AlignedAudioMixer::pushMicrophone(AudioSampleBuffer buffer) {
    if (!mixer.micEnabled || !AudioConverter::canConvert(buffer)) return;
    const std::lock_guard guard(arrivedLock);
    arrivedSeconds += secondsOf(buffer);
    arrived.push_back({std::move(buffer), systemEnd});
    while (arrivedSeconds * rate > mostArrived && arrived.size() > 1) {
        arrivedSeconds -= secondsOf(arrived.front().buffer);
        arrived.pop_front();
    }
}

/// Times that cannot be right are shifted to where the sound must have been heard: it had just arrived. False when
/// nobody can say, because there was no system sound yet.
bool AlignedAudioMixer::correctTime(Arrived& microphoneSound, std::int64_t systemNow) {
    AudioSampleBuffer& buffer = microphoneSound.buffer;
    // Before the first system sound buffers may have waited as long as they are kept.
    const std::int64_t systemThen = microphoneSound.systemEnd.value_or(systemNow);
    const std::int64_t longest = microphoneSound.systemEnd ? longestHold : longestHold + mostArrived;
    const auto isPossible = [&](const MediaTime& time) {
        const std::int64_t begin = time.valueIn(rate);
        return begin > systemThen - longest && begin < systemThen + farAhead;
    };
    const MediaTime own = buffer.presentationTime;
    if (isPossible(own)) {
        shift = {};
        return true;
    }
    if (!microphoneSound.systemEnd) return false;
    if (!isPossible(own + shift))
        shift = MediaTime{systemThen, rate} - MediaTime{std::llround(secondsOf(buffer) * rate), rate} - own;
    buffer.presentationTime = own + shift;
    return true;
}

/// Sound that comes after its moment is out will come in time from now on.
void AlignedAudioMixer::noteLateness(const AudioSampleBuffer& buffer) {
    const std::int64_t late = released ? *released - startOf(buffer) : 0;
    if (late > 0) holdFrames = std::min(longestHold, holdFrames + late + lateMargin);
}

void AlignedAudioMixer::takeMicrophone() {
    std::deque<Arrived> taken;
    {
        const std::lock_guard guard(arrivedLock);
        taken.swap(arrived);
        arrivedSeconds = 0;
        systemEnd = heldUntil;
    }
    for (Arrived& sound : taken) {
        if (!correctTime(sound, heldUntil)) continue;
        noteLateness(sound.buffer);
        waiting.add(microphone.place(std::move(sound.buffer)));
    }
}

/// Where a system buffer begins; rounded times do not tear the microphone's sound apart.
std::int64_t AlignedAudioMixer::placeOf(const AudioSampleBuffer& system) const {
    const std::int64_t begin = startOf(system);
    const bool isNext = released && std::abs(begin - *released) <= joinTolerance;
    return isNext ? *released : begin;
}

AudioSampleBuffer AlignedAudioMixer::microphoneAt(std::int64_t begin, std::int64_t frames) {
    // What the microphone has not said by now was silence.
    if (microphone.hasBegun()) waiting.add(microphone.fillUntil({begin + frames, rate}));
    waiting.dropUntil(begin);
    AudioSampleBuffer said = commonSilence(frames, {begin, rate});
    const std::int64_t before = std::clamp<std::int64_t>(waiting.start - begin, 0, frames);
    const std::int64_t count = std::clamp<std::int64_t>(waiting.end() - begin - before, 0, frames - before);
    if (count > 0)
        std::memcpy(commonSamples(said).data() + 2 * before, waiting.samples.data() + waiting.used,
                    static_cast<std::size_t>(2 * count) * sizeof(float));
    waiting.dropUntil(begin + frames);
    return said;
}

void AlignedAudioMixer::release(AudioSampleBuffer system) {
    const std::int64_t begin = placeOf(system);
    released = begin + system.frames;
    if (system.frames <= longestPart) {
        mixer.pushMicrophone(microphoneAt(begin, system.frames));
        mixer.pushSystem(std::move(system));
        return;
    }
    for (std::int64_t from = 0; from < system.frames; from += longestPart) {
        const std::int64_t frames = std::min(longestPart, system.frames - from);
        mixer.pushMicrophone(microphoneAt(begin + from, frames));
        mixer.pushSystem(part(system, from, frames));
    }
}

void AlignedAudioMixer::pushSystem(AudioSampleBuffer buffer) {
    if (!mixer.micEnabled) {
        mixer.pushSystem(std::move(buffer));
        return;
    }
    std::optional<AudioSampleBuffer> system = systemConverter.convert(std::move(buffer));
    if (!system || system->frames == 0) return;
    const std::int64_t begin = startOf(*system);
    const std::int64_t end = begin + system->frames;
    if (begin < heldUntil - longestHold) startOver();
    heldUntil = end;
    held.push_back(std::move(*system));
    takeMicrophone();
    while (!held.empty() && startOf(held.front()) + held.front().frames + holdFrames <= end) {
        release(std::move(held.front()));
        held.pop_front();
    }
}

void AlignedAudioMixer::drain() {
    if (held.empty()) return;
    takeMicrophone();
    for (; !held.empty(); held.pop_front())
        release(std::move(held.front()));
}

/// The system sound's clock was set back: what was placed by it is void.
void AlignedAudioMixer::startOver() {
    drain();
    microphone = {};
    waiting = {};
    released.reset();
}

} // namespace quillet
