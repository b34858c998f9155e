#include "platform/pipewire/PipeWireCamera.h"

#include "platform/pipewire/cameraFormats.h"

#include <algorithm>
#include <utility>

namespace quillet {

std::unique_ptr<PipeWireCamera> PipeWireCamera::make(std::shared_ptr<NodeDirectory> nodes, SerialQueue& queue,
                                                     OnFrame onFrame) {
    if (!nodes) return nullptr;
    nodes->waitUntilKnown(patience);
    std::unique_ptr<PipeWireCamera> camera(new PipeWireCamera(std::move(nodes), queue, std::move(onFrame)));
    return camera->directory.defaultCamera() ? std::move(camera) : nullptr;
}

PipeWireCamera::PipeWireCamera(std::shared_ptr<NodeDirectory> nodes, SerialQueue& ownQueue, OnFrame receiver)
    : queue(ownQueue), onFrame(std::move(receiver)), connection(nodes->sharedConnection()),
      directory(std::move(nodes)) {
    const PipeWireConnection::Lock lock(*connection);
    deadline.emplace(connection->loop(), [this] { giveUp(); });
    subscription = directory.nodes().subscribe([this] { follow(); });
}

PipeWireCamera::~PipeWireCamera() {
    const PipeWireConnection::Lock lock(*connection);
    subscription = {};
    drop();
    deadline.reset();
}

void PipeWireCamera::start() {
    const PipeWireConnection::Lock lock(*connection);
    isRunning = true;
    vainAttempts = 0;
    follow();
}

void PipeWireCamera::stop() {
    const PipeWireConnection::Lock lock(*connection);
    isRunning = false;
    drop();
}

/// Sees to it that the right camera is open, or none.
void PipeWireCamera::follow() {
    if (!isRunning) return;
    const std::vector<PipeWireNode> cameras = directory.cameras();
    const auto isCurrent = [this](const PipeWireNode& node) { return current && node.serial == current->serial; };
    if (std::any_of(cameras.begin(), cameras.end(), isCurrent)) return;
    drop();
    const auto isWilling = [this](const PipeWireNode& node) { return unwilling.count(node.serial) == 0; };
    auto best = std::find_if(cameras.begin(), cameras.end(), isWilling);
    if (best == cameras.end()) {
        unwilling.clear();
        best = cameras.begin();
    }
    pw_core* const core = connection->core();
    if (best == cameras.end() || !core) return;
    current = *best;
    expectWithin(negotiationLimit);
    query = CameraFormatQuery::make(core, current->id, [this](std::optional<CameraFormat> wanted) { open(wanted); });
}

void PipeWireCamera::open(std::optional<CameraFormat> wanted) {
    if (stream || !current) return;
    stream = CameraStream::make(
        connection,
        {.camera = *current,
         .wanted = wanted,
         .onPicture =
             [this] {
                 if (!std::exchange(isShowing, true)) {
                     deadline->stop();
                     vainAttempts = 0;
                 }
                 if (deliveryIsComing.exchange(true)) return;
                 queue.async([this, lives = std::weak_ptr(alive)] {
                     if (!lives.expired()) deliver();
                 });
             },
         // To agree is not to show: a device that another program has may find that out only then.
         .onNegotiated = [this](bool hasFormat) { expectWithin(hasFormat ? firstPictureLimit : negotiationLimit); },
         .onFailed = [this] { expectWithin(negotiationLimit); }});
}

void PipeWireCamera::expectWithin(std::chrono::seconds limit) {
    isShowing = false;
    deadline->start(limit * (1 << std::min(vainAttempts, 2)));
}

void PipeWireCamera::drop() {
    deadline->stop();
    query.reset();
    if (stream) stream->close();
    stream.reset();
    current.reset();
    isShowing = false;
}

void PipeWireCamera::giveUp() {
    if (current) unwilling.insert(current->serial);
    ++vainAttempts;
    drop();
    follow();
}

void PipeWireCamera::deliver() {
    // First, so that a picture that comes from now on announces itself.
    deliveryIsComing = false;
    std::shared_ptr<CameraStream> source;
    {
        const PipeWireConnection::Lock lock(*connection);
        source = stream;
    }
    if (!source) return;
    ConstPixelBufferRef frame = source->takeNewest(converter);
    if (frame) onFrame(std::move(frame));
}

} // namespace quillet
