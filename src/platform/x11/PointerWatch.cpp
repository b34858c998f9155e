#include "platform/x11/PointerWatch.h"

#include <xcb/xinput.h>

namespace quillet {

PointerWatch::PointerWatch(const XConnection& server) : connection(server) {
    if (!connection.fixes.present) {
        noteFallback("the X server has no XFIXES; the recording will have no pointer.");
        imageChanged = false;
        return;
    }
    xcb_xfixes_select_cursor_input(connection.xcb(), connection.root(), XCB_XFIXES_CURSOR_NOTIFY_MASK_DISPLAY_CURSOR);
    if (!connection.input.present) {
        noteFallback("the X server has no XInput 2; the pointer moves only with other changes.");
        return;
    }
    selectMotion(Motion::announced);
}

void PointerWatch::selectMotion(Motion motion) {
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } const rawMotion{{XCB_INPUT_DEVICE_ALL_MASTER, 1},
                      motion == Motion::announced ? std::uint32_t{XCB_INPUT_XI_EVENT_MASK_RAW_MOTION} : 0U};
    xcb_input_xi_select_events(connection.xcb(), connection.root(), 1, &rawMotion.head);
    isSilent = motion == Motion::silent;
}

bool PointerWatch::handleEvent(const xcb_generic_event_t& event) {
    const std::uint8_t type = event.response_type & 0x7f;
    if (connection.fixes.present && type == connection.fixes.firstEvent + XCB_XFIXES_CURSOR_NOTIFY) {
        imageChanged = true;
        return true;
    }
    if (connection.input.present && type == XCB_GE_GENERIC) {
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if (generic.extension != connection.input.majorOpcode || generic.event_type != XCB_INPUT_RAW_MOTION)
            return false;
        moved = true;
        if (!isSilent) selectMotion(Motion::silent);
        return true;
    }
    return false;
}

void PointerWatch::request() {
    moved = false;
    if (isSilent) selectMotion(Motion::announced); // before the question, so that no motion falls between
    place = xcb_query_pointer(connection.xcb(), connection.root());
    if (imageChanged) picture = xcb_xfixes_get_cursor_image(connection.xcb());
    imageChanged = false;
}

std::optional<PointerWatch::State> PointerWatch::collect() {
    const auto pointer = owned(xcb_query_pointer_reply(connection.xcb(), place, nullptr));
    State state;
    if (picture) {
        const auto reply = owned(xcb_xfixes_get_cursor_image_reply(connection.xcb(), *picture, nullptr));
        picture.reset();
        if (reply) {
            const std::uint32_t* pixels = xcb_xfixes_get_cursor_image_cursor_image(reply.get());
            const auto count = static_cast<std::size_t>(reply->width) * reply->height;
            state.image = CursorImage{reply->width, reply->height, reply->xhot, reply->yhot, {pixels, pixels + count}};
        } else {
            state.image = CursorImage{}; // there is none: nothing to draw
        }
    }
    if (!pointer) return std::nullopt;
    state.x = pointer->root_x;
    state.y = pointer->root_y;
    state.isHere = pointer->same_screen != 0;
    return state;
}

} // namespace quillet
