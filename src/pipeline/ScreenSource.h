// ScreenSource.h: what a window system must offer so that its picture can be recorded.
#pragma once

#include "geometry/Size.h"
#include "media/Error.h"
#include "media/MediaTime.h"
#include "media/PixelBuffer.h"
#include "media/SerialQueue.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <set>

namespace quillet {

struct ScreenSourceOptions {
    std::uint32_t displayID = 0;              ///< as Screens reports it
    Size pixelSize;                           ///< of the frames wanted, in pixels; fractions dropped
    int fps = 60;                             ///< the most frames a second
    std::set<std::uint32_t> excludeWindowIDs; ///< windows of others to be left out; the program's own always are

    /// Each complete frame: new content only, the first one at once and whole. Called on the queue; the frame is the
    /// receiver's as long as it holds it.
    std::function<void(ConstPixelBufferRef, MediaTime)> onFrame;
    /// The source has ended by itself (the server is gone). Called at most once, on the queue, after the last frame.
    std::function<void(Error)> onLost;
};

/// A running capture of one display. Made, used and destroyed on the queue that it was made with; no callback comes
/// after its destruction.
class ScreenSource {
public:
    virtual ~ScreenSource() = default;

    /// The receiver could not take the newest frame: one more is to be made soon, though nothing may have changed
    /// since. A source that makes frames at its own pace need not do anything.
    virtual void makeAnother() {}
};

/// Starts a capture on `queue` (and is called there); null with the reason in `error` when it cannot. A display that
/// does not exist gives domain "Quillet", code 1, "No capturable display found.".
using ScreenSourceFactory =
    std::function<std::unique_ptr<ScreenSource>(SerialQueue& queue, ScreenSourceOptions options, Error& error)>;

} // namespace quillet
