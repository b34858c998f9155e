// WindowTrack.h: where another program's window has been, and when.
#pragma once

#include "media/PixelRect.h"
#include "platform/x11/xcbHandles.h"

#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

namespace quillet::testing {

/// Notes each place of a window on the display that DISPLAY names, from make to destruction. For windows that no window
/// manager has framed.
///
/// Threads: made, asked and destroyed on one; listens on its own.
class WindowTrack {
public:
    struct Place {
        std::chrono::nanoseconds time{}; ///< when the server told, on the monotonic clock
        PixelRect rect;                  ///< pixels of the whole desktop, y down
    };

    explicit WindowTrack(xcb_window_t window);
    ~WindowTrack();
    WindowTrack(const WindowTrack&) = delete;
    WindowTrack& operator=(const WindowTrack&) = delete;

    /// All so far, the one at the beginning first; no two in a row are the same.
    [[nodiscard]] std::vector<Place> places() const;

private:
    void listen();
    void note(const PixelRect& rect);

    XcbConnectionHandle connection;
    const xcb_window_t window;
    xcb_window_t waker = XCB_NONE; // its destruction ends the thread
    mutable std::mutex mutex;      // guards `seen`
    std::vector<Place> seen;
    std::thread listener;
};

} // namespace quillet::testing
