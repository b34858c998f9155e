// VirtualCamera.h: a camera made of software, which any program of the session sees as one.
#pragma once

#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/CameraPicture.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "platform/pipewire/PipeWireTimer.h"
#include "tests/fakes/pipewire/CameraPainter.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillet::testing {

/// Shows the synthetic camera's picture (platform/synthetic), numbered from 1. It is there from make to destruction,
/// which is how it is unplugged. When the server dies it is gone for good, and nothing changes any more.
///
/// Threads: any but the connection's loop.
class VirtualCamera {
public:
    struct Options {
        std::string name = "test-camera";
        std::vector<CameraFormat> offers = {
            {.layout = CameraLayout::yuy2, .width = 1280, .height = 720, .framesPerSecond = 30}};
        CameraTurn turn = {};
        std::size_t paddingBytes = 0;
        int priority = 1000; ///< the session's: the highest is the default camera
        std::uint64_t firstNumber = 1;
        bool isSilent = false;  ///< agrees on a format, but never sends a picture
        bool isDamaged = false; ///< sends only the first half of each picture's bytes
        bool isBusy = false;    ///< offers its formats, but refuses whichever is chosen, as a device that another has
        bool isStuck = false;   ///< agrees on a format, but does not begin to send for whoever comes now
    };
    /// Null when there is no server. Seen by others a moment later.
    [[nodiscard]] static std::unique_ptr<VirtualCamera> make(std::shared_ptr<PipeWireConnection> connection,
                                                             Options options);
    ~VirtualCamera();
    VirtualCamera(const VirtualCamera&) = delete;
    VirtualCamera& operator=(const VirtualCamera&) = delete;

    /// Other formats from now on: whoever watches has to agree anew.
    void change(std::vector<CameraFormat> offers, CameraTurn turn = {});
    void setSilent(bool isSilent);
    void setDamaged(bool isDamaged);
    /// For those who come from now on.
    void setStuck(bool isStuck);
    /// How often it has been too busy.
    [[nodiscard]] int refusals() const;

    /// Its light is on: somebody watches.
    [[nodiscard]] bool isOn() const;
    /// What was agreed on with the one who watches, or who watched a moment ago.
    [[nodiscard]] std::optional<CameraFormat> sends() const;
    [[nodiscard]] std::uint64_t latestNumber() const;
    /// When a picture was handed over, on the monotonic clock; nothing for one that was not.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> timeOf(std::uint64_t number) const;

private:
    VirtualCamera(std::shared_ptr<PipeWireConnection> line, Options wanted);
    [[nodiscard]] bool connect();
    void unplug();
    void formatChanged(const spa_pod* parameter);
    void send();
    void schedule();

    std::shared_ptr<PipeWireConnection> connection; // may be shared with other cameras
    // Under the connection's Lock:
    Options options;
    PipeWireStreamHandle stream;
    PipeWireHook hook;
    std::optional<PipeWireTimer> timer;
    std::chrono::steady_clock::time_point due;
    std::optional<CameraFormat> format;
    std::optional<CameraPainter> painter;
    bool isStreaming = false;
    std::uint64_t number = 0;
    int refusalCount = 0;
    std::vector<std::chrono::nanoseconds> times; // of firstNumber and those after it
    PipeWireConnection::Subscription subscription;
};

} // namespace quillet::testing
