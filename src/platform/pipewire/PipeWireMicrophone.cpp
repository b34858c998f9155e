#include "platform/pipewire/PipeWireMicrophone.h"

#include "platform/pipewire/SoundStream.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace quillet {

namespace {

/// The main thread asks; it may wait this long for the server's first answer, which needs a tenth of it.
constexpr std::chrono::milliseconds longestWait{300};

/// start, stop and destruction on the queue.
class PipeWireMicrophone final : public CaptureDevice {
public:
    PipeWireMicrophone(std::shared_ptr<NodeDirectory> directory, SerialQueue& cameraQueue,
                       std::function<void(AudioSampleBuffer)> callback)
        : nodes(std::move(directory)), queue(cameraQueue), onSample(std::move(callback)),
          signal(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
    ~PipeWireMicrophone() override {
        stop();
        if (signal >= 0) ::close(signal);
    }

    [[nodiscard]] bool isUsable() const { return signal >= 0; }

    void start() override {
        if (stream) return;
        queue.watch(signal, [this] { deliver(); });
        stream.emplace(nodes, SoundStream::Options{SoundStream::Source::microphone, [this] { wake(); }});
    }
    void stop() override {
        if (!stream) return;
        queue.unwatch(signal);
        stream.reset();
    }

private:
    // On the server's data thread. It can only fail when the queue is awake anyway.
    void wake() const {
        const std::uint64_t one = 1;
        static_cast<void>(::write(signal, &one, sizeof one) == sizeof one);
    }
    void deliver() {
        std::uint64_t count = 0;
        static_cast<void>(::read(signal, &count, sizeof count) == sizeof count);
        while (auto sound = stream->take())
            onSample(std::move(sound->buffer));
    }

    std::shared_ptr<NodeDirectory> nodes; // shared with all that capture
    SerialQueue& queue;
    std::function<void(AudioSampleBuffer)> onSample;
    int signal;
    std::optional<SoundStream> stream;
};

} // namespace

bool hasMicrophone(const NodeDirectory& directory) {
    if (directory.waitUntilKnown(longestWait) != NodeDirectory::Knowledge::known) return false;
    const auto source = directory.defaultNode(NodeDirectory::Default::audioSource);
    return source && source->isSoundSource();
}

std::function<std::unique_ptr<CaptureDevice>(SerialQueue&, std::function<void(AudioSampleBuffer)>)>
pipeWireMicrophoneFactory(std::shared_ptr<NodeDirectory> directory) {
    return [directory = std::move(directory)](
               SerialQueue& queue, std::function<void(AudioSampleBuffer)> onSample) -> std::unique_ptr<CaptureDevice> {
        if (!directory || !hasMicrophone(*directory)) return nullptr;
        auto microphone = std::make_unique<PipeWireMicrophone>(directory, queue, std::move(onSample));
        return microphone->isUsable() ? std::move(microphone) : nullptr;
    };
}

} // namespace quillet
