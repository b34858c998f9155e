// PipeWireSystemAudio.cpp: the source keeps the time itself; the server only fills in what is heard.
//
// Threads: everything here runs on the source's queue; the stream's sound comes over its ring.
#include "platform/pipewire/PipeWireSystemAudio.h"

#include "platform/pipewire/SoundPacer.h"
#include "platform/pipewire/SoundStream.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <utility>

namespace quillet {

namespace {

/// How often sound is handed over. Nobody listens, so this is only a matter of waking up seldom; a mix waits longer for
/// the microphone.
constexpr std::chrono::milliseconds interval{100};

class PipeWireSystemAudio final : public SystemAudioSource {
public:
    PipeWireSystemAudio(std::shared_ptr<NodeDirectory> directory, SerialQueue& screenQueue,
                        std::function<void(AudioSampleBuffer)> callback)
        : queue(screenQueue), onBuffer(std::move(callback)), pacer(mediaTimeNow()) {
        if (directory) stream.emplace(std::move(directory), SoundStream::Options{SoundStream::Source::output, {}});
        due = SerialQueue::Clock::now();
        arm();
    }
    ~PipeWireSystemAudio() override { queue.cancel(timer); }

    void drain() override {
        collect();
        deliver(pacer.rest(mediaTimeNow()));
    }

private:
    void arm() {
        // After a queue that stood still there is one turn, not one for each that was missed.
        due = std::max(due + interval, SerialQueue::Clock::now());
        timer = queue.after(due, [this] {
            arm();
            collect();
            deliver(pacer.next(mediaTimeNow()));
        });
    }
    void collect() {
        if (!stream) return;
        while (auto sound = stream->take())
            pacer.add(std::move(*sound));
    }
    void deliver(AudioSampleBuffer buffer) {
        if (buffer.frames > 0 && onBuffer) onBuffer(std::move(buffer));
    }

    SerialQueue& queue;
    std::function<void(AudioSampleBuffer)> onBuffer;
    SoundPacer pacer;
    SerialQueue::Clock::time_point due;
    SerialQueue::TimerId timer = 0;
    std::optional<SoundStream> stream;
};

} // namespace

SystemAudioSourceFactory pipeWireSystemAudioFactory(std::shared_ptr<NodeDirectory> directory) {
    return [directory = std::move(directory)](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onBuffer) {
        return std::make_unique<PipeWireSystemAudio>(directory, queue, std::move(onBuffer));
    };
}

} // namespace quillet
