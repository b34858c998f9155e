// windowFacts.h: what a server's answers say of a window.
#pragma once

#include "platform/x11/WindowStack.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <optional>

namespace quillet {

/// Null where there was none.
struct WindowAnswers {
    const xcb_get_window_attributes_reply_t* attributes = nullptr;
    const xcb_get_geometry_reply_t* geometry = nullptr;
    const xcb_shape_query_extents_reply_t* extents = nullptr;
    const xcb_shape_get_rectangles_reply_t* shape = nullptr; ///< the bounding shape
    const xcb_get_property_reply_t* opacity = nullptr;       ///< whatever the window's program has written there
};

/// All that is known of the window as a child of the root, isKnown set; nothing when the window is gone. A program's
/// own word (its opacity) counts only when it is of the right kind.
[[nodiscard]] std::optional<StackedWindow> windowFacts(std::uint32_t window, const WindowAnswers& answers);

} // namespace quillet
