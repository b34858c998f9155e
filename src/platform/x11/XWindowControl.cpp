#include "platform/x11/XWindowControl.h"

#include "platform/x11/xcbHandles.h"

#include <xcb/shape.h>

#include <algorithm>
#include <string_view>

namespace quillet {

namespace {

std::int16_t asPlace(int value) { return static_cast<std::int16_t>(std::clamp(value, -32768, 32767)); }
std::uint16_t asLength(int value) { return static_cast<std::uint16_t>(std::clamp(value, 0, 65535)); }

} // namespace

void XWindowControl::place(const PixelRect& pixels) {
    if (pixels.isEmpty()) return;
    const std::uint32_t values[] = {static_cast<std::uint32_t>(pixels.x), static_cast<std::uint32_t>(pixels.y),
                                    static_cast<std::uint32_t>(pixels.width),
                                    static_cast<std::uint32_t>(pixels.height)};
    xcb_configure_window(connection, window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT,
                         values);
    xcb_flush(connection);
}

void XWindowControl::raise() {
    const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    xcb_flush(connection);
}

void XWindowControl::setRegion(std::uint8_t kind, const std::optional<QRegion>& region) {
    if (!region) {
        xcb_shape_mask(connection, XCB_SHAPE_SO_SET, kind, window, 0, 0, XCB_NONE);
    } else {
        std::vector<xcb_rectangle_t> rects;
        for (const QRect& each : *region)
            rects.push_back({asPlace(each.x()), asPlace(each.y()), asLength(each.width()), asLength(each.height())});
        // A region's rectangles come in bands.
        xcb_shape_rectangles(connection, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_YX_BANDED, window, 0, 0,
                             static_cast<std::uint32_t>(rects.size()), rects.data());
    }
    xcb_flush(connection);
}

void XWindowControl::setShape(const std::optional<QRegion>& shape) { setRegion(XCB_SHAPE_SK_BOUNDING, shape); }

void XWindowControl::setMouseRegion(const std::optional<QRegion>& region) { setRegion(XCB_SHAPE_SK_INPUT, region); }

void XWindowControl::forbidShadow() {
    // The property's own name is also the name of its type in no protocol: compositing managers read a CARDINAL.
    static constexpr std::string_view name = "_COMPTON_SHADOW";
    const auto atom = owned(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    if (!atom) return;
    const std::uint32_t none = 0;
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, atom->atom, XCB_ATOM_CARDINAL, 32, 1, &none);
}

xcb_window_t XWindowControl::keyboardHolder() const {
    const auto focus = owned(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
    return focus ? focus->focus : XCB_NONE;
}

void XWindowControl::takeKeyboard() {
    const xcb_window_t holder = keyboardHolder();
    if (holder == window) return;
    keyboardLender = holder;
    xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT, window, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

void XWindowControl::returnKeyboard() {
    const xcb_window_t lender = keyboardLender;
    keyboardLender = XCB_NONE;
    if (lender == XCB_NONE || keyboardHolder() != window) return;
    // The lender may have gone meanwhile: then the server answers with an error and the focus goes to the window
    // beneath the pointer, as takeKeyboard() has asked.
    xcb_set_input_focus(connection, XCB_INPUT_FOCUS_POINTER_ROOT, lender, XCB_CURRENT_TIME);
    xcb_flush(connection);
}

} // namespace quillet
