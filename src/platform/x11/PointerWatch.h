// PointerWatch.h: where the pointer is, what it looks like, and when that changes.
#pragma once

#include "platform/CursorOverlay.h"
#include "platform/x11/XConnection.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <optional>

namespace quillet {

/// The pointer of one display, in pixels of its root window.
///
/// A moving pointer is announced through XInput 2's raw motion; a jump that a program orders is not, and is seen with
/// the next frame. A mouse may report a thousand times a second: after the first report there is silence until the next
/// request(). Without XFIXES there is no picture of it, and nothing is announced. Threads: the connection's.
class PointerWatch {
public:
    struct State {
        int x = 0;
        int y = 0;
        bool isHere = false;              ///< on this root window
        std::optional<CursorImage> image; ///< when it has changed
    };

    explicit PointerWatch(const XConnection& connection);

    /// True if the event was for this watch.
    bool handleEvent(const xcb_generic_event_t& event);
    /// Whether it has moved or changed its picture since the last request().
    [[nodiscard]] bool isPending() const { return moved || imageChanged; }

    /// Asks for the state; does not wait. Then collect() waits; nothing when the server has gone.
    void request();
    [[nodiscard]] std::optional<State> collect();

private:
    enum class Motion { announced, silent };
    void selectMotion(Motion motion);

    const XConnection& connection;
    bool isSilent = false;
    bool moved = true;
    bool imageChanged = true;
    xcb_query_pointer_cookie_t place{};
    std::optional<xcb_xfixes_get_cursor_image_cookie_t> picture;
};

} // namespace quillet
