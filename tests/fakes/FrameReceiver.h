// FrameReceiver.h: takes a screen source's frames on a queue of its own and checks what every source owes.
#pragma once

#include "media/SerialQueue.h"
#include "pipeline/ScreenSource.h"
#include "tests/fakes/Picture.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quillet::testing {

struct FrameReceiverHooks {
    /// Sees every frame before anything else; may keep it.
    std::function<void(const ConstPixelBufferRef&)> onFrame;
    /// The frames are not compared: for measuring.
    bool onlyCounts = false;
};

/// Runs one source. Every frame is compared with the one before: sequence, time, size, and that nothing has changed
/// outside its damage. What is wrong is kept in problems().
///
/// Threads: the test's, except hooks, which run on the queue.
class FrameReceiver {
public:
    explicit FrameReceiver(FrameReceiverHooks hooks = {});
    ~FrameReceiver();

    /// Starts a capture without the windows of `excludeWindowIDs`; false with the reason in error().
    bool start(const ScreenSourceFactory& factory, std::uint32_t displayID, Size pixelSize, int fps = 240,
               std::set<std::uint32_t> excludeWindowIDs = {});
    /// Destroys the source, on the queue.
    void stop();

    /// Waits until a frame satisfies `condition`, the latest one included; false after 20 seconds, which means failure.
    [[nodiscard]] bool waitFor(const std::function<bool(const Picture&)>& condition);
    /// The same for one picture; on failure says on standard error where the latest frame differs from it.
    [[nodiscard]] bool waitFor(const Picture& expected);
    [[nodiscard]] bool waitForCount(std::uint64_t count);
    [[nodiscard]] bool waitForLoss();

    [[nodiscard]] std::uint64_t count() const;
    [[nodiscard]] int losses() const;
    [[nodiscard]] Picture latest() const;
    [[nodiscard]] std::vector<std::int64_t> times() const; ///< of all frames, in liveTimescale
    /// The damage of frame `sequence` (1, 2, …); nothing for "anywhere".
    [[nodiscard]] std::optional<PixelRegion> damageOf(std::uint64_t sequence) const;
    [[nodiscard]] std::vector<std::string> problems() const;
    [[nodiscard]] const Error& error() const { return startError; }

    SerialQueue queue{"org.quillet.Quillet.screen"};
    std::unique_ptr<ScreenSource> source; ///< touched on the queue only

private:
    void receive(const ConstPixelBufferRef& frame, MediaTime time);
    void check(const PixelBuffer& frame, const Picture& picture, MediaTime time);

    FrameReceiverHooks hooks;
    Error startError;
    Size wantedSize;
    mutable std::mutex mutex; // guards all below
    std::condition_variable arrived;
    std::uint64_t frameCount = 0;
    int lossCount = 0;
    Picture picture;
    std::vector<std::int64_t> frameTimes;
    std::vector<std::optional<PixelRegion>> damages;
    std::vector<std::string> troubles;
};

} // namespace quillet::testing
