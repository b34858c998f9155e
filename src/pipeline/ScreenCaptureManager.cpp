#include "pipeline/ScreenCaptureManager.h"

#include "pipeline/queueLabels.h"

#include <utility>

namespace quillet {

/// What tasks on the queue share with the manager.
struct ScreenCaptureManager::Stream {
    std::unique_ptr<ScreenSource> source; // the queue only
};

ScreenCaptureManager::ScreenCaptureManager(ScreenSourceFactory sources)
    : factory(std::move(sources)), sampleQueue(screenQueueLabel) {}

ScreenCaptureManager::~ScreenCaptureManager() {
    if (stream) sampleQueue.sync([this] { stream->source.reset(); });
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
        running->source = factory(sampleQueue, options, error);
        completion(running->source ? std::nullopt : std::optional(error));
    });
}

void ScreenCaptureManager::stop(std::function<void()> completion) {
    if (!stream) {
        completion();
        return;
    }
    sampleQueue.async([running = stream, completion = std::move(completion)] {
        running->source.reset();
        completion();
    });
}

} // namespace quillet
