// XScreenSource.h: one display's pictures from an X server.
#pragma once

#include "media/PixelRect.h"
#include "pipeline/ScreenSource.h"
#include "platform/CursorOverlay.h"
#include "platform/FrameCycle.h"
#include "platform/FramePacing.h"
#include "platform/x11/CleanPicture.h"
#include "platform/x11/PointerWatch.h"
#include "platform/x11/XConnection.h"
#include "platform/x11/XScreenSourceSetup.h"

#include <xcb/xcb.h>

#include <memory>
#include <string>

namespace quillet {

/// Frames of the wanted size with the pointer drawn in; where the monitor is smaller they are black, where it is larger
/// they show its top left part. They follow the monitor when the screen's resolution changes.
///
/// The windows of our own clients and those that were listed are not in the picture; what lies beneath them is. A
/// repaint of one of ours makes a frame nevertheless, whose damage is empty when nothing else has changed.
///
/// On a still screen nothing runs. What changes is fetched at most `fps` times a second, in two round trips (what is
/// damaged, then the pixels and the pointer), compared with the picture, and delivered if it differs.
/// Threads: the queue's, on a connection of its own.
class XScreenSource final : public ScreenSource {
public:
    /// Null with the reason in `error`: domain "Quillet", code 1
    /// when the display has no such monitor, 2 when no server answers, 3 when its pixels cannot be read, 4 in a Wayland
    /// session, 5 when memory is short or the frame's size is not usable.
    [[nodiscard]] static std::unique_ptr<XScreenSource> make(XScreenSourceSetup setup, SerialQueue& queue,
                                                             ScreenSourceOptions options, Error& error);
    ~XScreenSource() override;

    void makeAnother() override;

    /// How often the receiver still held a frame when the picture changed.
    [[nodiscard]] std::uint64_t takeovers() const { return frames->takeovers(); }
    /// How often a wholly new picture has gone straight into a frame.
    [[nodiscard]] std::uint64_t wholePictures() const { return wholePictureCount; }
    /// Whether pixels come through shared memory.
    [[nodiscard]] bool sharesMemory() const { return picture->sharesMemory(); }

private:
    XScreenSource(XScreenSourceSetup setup, SerialQueue& queue, ScreenSourceOptions options);
    [[nodiscard]] bool findDisplay(Error& error);
    void selectEvents();

    // The event loop: the connection is always watched, and when there is something to do a timer runs besides.
    void waitForEvents();
    void scheduleNext();
    void scheduleTick(FramePacing::Clock::time_point when);
    void onReadable();
    void drainEvents();
    void handleEvent(const xcb_generic_event_t& event);
    [[nodiscard]] bool isPending() const;
    [[nodiscard]] FramePacing::Cause cause() const;

    // One tick, in its steps.
    void tick();
    void readGeometry();
    /// False when nothing usable has arrived; what was wanted is then still wanted.
    [[nodiscard]] bool fetchPixels(const PixelBuffer& frame);
    /// A frame for a wholly new picture; null where `frame`, which shows the present one, is to be changed instead.
    [[nodiscard]] PixelBuffer* wholeFrame(const PixelBuffer& frame);
    void takePointer();
    /// What has changed in `frame`, which now shows what was fetched.
    [[nodiscard]] PixelRegion updatePicture(PixelBuffer& frame);
    void deliver(PixelRegion changed);
    void end();

    XScreenSourceSetup setup;
    SerialQueue& queue;
    ScreenSourceOptions options;
    std::unique_ptr<XConnection> connection;
    std::unique_ptr<CleanPicture> picture;
    std::unique_ptr<PointerWatch> pointer;
    std::unique_ptr<FrameCycle> frames;
    CursorOverlay cursor;
    FramePacing pacing;

    std::uint64_t wholePictureCount = 0;

    PixelRect monitor; ///< in root pixels, as last heard of
    PixelRect area;    ///< what the frames show of the root
    bool geometryChanged = false;
    bool mustClear = false;    ///< the picture shows pixels of an area that is no longer shown
    bool isWhole = true;       ///< the next frame says nothing about the one before
    bool wantsAnother = false; ///< a frame is wanted even where nothing has changed
    PointerWatch::State pointerState;
    bool pointerImageChanged = false;
    int drawnX = 0; ///< where the pointer was last drawn, in root pixels
    int drawnY = 0;
    std::chrono::steady_clock::time_point fetchedAt;
    std::int64_t lastTime = 0; ///< of the last frame, in liveTimescale

    bool isWatching = false;
    SerialQueue::Clock::time_point timerDue{};
    SerialQueue::TimerId timer = 0; ///< 0: none runs
    bool hasEnded = false;
    // Expires with this object: callbacks may destroy it.
    std::shared_ptr<const bool> alive = std::make_shared<const bool>(true);
};

[[nodiscard]] ScreenSourceFactory xScreenSourceFactory(XScreenSourceSetup setup = {});

} // namespace quillet
