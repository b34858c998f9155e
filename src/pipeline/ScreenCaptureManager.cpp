#include "pipeline/ScreenCaptureManager.h"

#include "pipeline/PacedAudioSource.h"
#include "pipeline/queueLabels.h"

#include <utility>

namespace quillet {

/// What tasks on the queue share with the manager.
struct ScreenCaptureManager::Stream {
    // The queue only.
    std::unique_ptr<ScreenSource> source;
    std::unique_ptr<SystemAudioSource> systemAudio;
};

ScreenCaptureManager::ScreenCaptureManager(ScreenCaptureSources wanted)
    : sources(std::move(wanted)), sampleQueue(screenQueueLabel) {}

ScreenCaptureManager::~ScreenCaptureManager() {
    if (!stream) return;
    sampleQueue.sync([this] {
        stream->source.reset();
        stream->systemAudio.reset();
    });
}

void ScreenCaptureManager::start(std::uint32_t displayID, Size pixelSize, int fps,
                                 std::set<std::uint32_t> excludeWindowIDs,
                                 std::function<void(std::optional<Error>)> completion) {
    stream = std::make_shared<Stream>();
    ScreenSourceOptions options{.displayID = displayID,
                                .pixelSize = pixelSize,
                                .fps = fps,
                                .excludeWindowIDs = std::move(excludeWindowIDs),
                                .onFrame = onScreenFrame,
                                .onLost = onLost};
    sampleQueue.async([this, running = stream, options = std::move(options), completion = std::move(completion)] {
        Error error;
        running->source = sources.screen(sampleQueue, options, error);
        if (running->source) running->systemAudio = startSystemAudio();
        completion(running->source ? std::nullopt : std::optional(error));
    });
}

std::unique_ptr<SystemAudioSource> ScreenCaptureManager::startSystemAudio() {
    const auto receive = [callback = onSystemAudio](AudioSampleBuffer buffer) {
        if (callback) callback(std::move(buffer));
    };
    if (sources.systemAudio)
        if (auto started = sources.systemAudio(sampleQueue, receive)) return started;
    return std::make_unique<PacedAudioSource>(sampleQueue,
                                              PacedAudioSource::Options{.now = sources.now, .onBuffer = receive});
}

void ScreenCaptureManager::makeAnotherFrame() {
    if (stream && stream->source) stream->source->makeAnother();
}

void ScreenCaptureManager::stop(std::function<void()> completion) {
    if (!stream) {
        completion();
        return;
    }
    sampleQueue.async([running = stream, completion = std::move(completion)] {
        running->source.reset();
        if (running->systemAudio) running->systemAudio->drain();
        running->systemAudio.reset();
        completion();
    });
}

} // namespace quillet
