// PipeWireCamera.h: the session's camera, through whatever happens to it.
#pragma once

#include "pipeline/CameraManager.h"
#include "platform/pipewire/CameraDirectory.h"
#include "platform/pipewire/CameraFormatQuery.h"
#include "platform/pipewire/CameraPictureConverter.h"
#include "platform/pipewire/CameraStream.h"
#include "platform/pipewire/PipeWireTimer.h"

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

namespace quillet {

/// Shows the default camera, and stays with it until it goes; then the one that is the default then. When there is none
/// it waits for the next. A camera that agrees on no format or shows no picture in time (another program has it, it may
/// not be used) is passed over for another, or else tried again, less and less often. A server that dies and comes back
/// is taken up again.
///
/// Threads: make and destruction on any but the loop's, destruction on the queue once started; start and stop on the
/// queue, and pictures there.
class PipeWireCamera final : public CaptureDevice {
public:
    using OnFrame = std::function<void(ConstPixelBufferRef)>;

    /// Null when the session has no camera now, or does not say so in time.
    [[nodiscard]] static std::unique_ptr<PipeWireCamera> make(std::shared_ptr<NodeDirectory> nodes, SerialQueue& queue,
                                                              OnFrame onFrame);
    ~PipeWireCamera() override;

    void start() override;
    void stop() override;

    /// How long a fresh program waits for the server's first answer.
    static constexpr std::chrono::milliseconds patience{300};
    /// How long a camera may take to agree on a format, or the pause after it has failed, before the next attempt; and
    /// how long from there to its first picture. Both double with each attempt in vain, twice.
    static constexpr std::chrono::seconds negotiationLimit{3};
    static constexpr std::chrono::seconds firstPictureLimit{5};

private:
    PipeWireCamera(std::shared_ptr<NodeDirectory> nodes, SerialQueue& ownQueue, OnFrame receiver);
    void follow();
    void open(std::optional<CameraFormat> wanted);
    void drop();
    void expectWithin(std::chrono::seconds limit);
    void giveUp();
    void deliver();

    SerialQueue& queue;
    const OnFrame onFrame;
    std::shared_ptr<PipeWireConnection> connection; // the program's one
    CameraDirectory directory;
    CameraPictureConverter converter; // the queue only
    std::atomic<bool> deliveryIsComing = false;
    // Expires with this object: a delivery may still be waiting in the queue.
    std::shared_ptr<const bool> alive = std::make_shared<const bool>(true);

    // Under the connection's Lock:
    bool isRunning = false;
    std::optional<PipeWireNode> current;
    std::set<std::string> unwilling; // serials of cameras that agreed on nothing, or showed nothing
    int vainAttempts = 0;            // since the last picture
    bool isShowing = false;          // a picture has come since the last agreement
    std::unique_ptr<CameraFormatQuery> query;
    std::shared_ptr<CameraStream> stream; // shared with a conversion that is running
    std::optional<PipeWireTimer> deadline;
    NodeDirectory::Subscription subscription;
};

} // namespace quillet
