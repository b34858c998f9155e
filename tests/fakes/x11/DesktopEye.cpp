#include "tests/fakes/x11/DesktopEye.h"

#include <xcb/shape.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <cstring>

namespace quillet::testing {

DesktopEye::DesktopEye() : connection(xcb_connect(nullptr, nullptr)) {
    screen = xcb_setup_roots_iterator(xcb_get_setup(xcb())).data;
}

Picture DesktopEye::look(const PixelRect& rect) const {
    Picture picture(rect.width, rect.height);
    const auto reply = owned(
        xcb_get_image_reply(xcb(),
                            xcb_get_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, root(), static_cast<std::int16_t>(rect.x),
                                          static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                                          static_cast<std::uint16_t>(rect.height), ~0U),
                            nullptr));
    if (!reply) return picture;
    std::memcpy(picture.pixels.data(), xcb_get_image_data(reply.get()), picture.pixels.size() * 4);
    for (std::uint32_t& pixel : picture.pixels)
        pixel &= 0xffffffU;
    return picture;
}

void DesktopEye::movePointer(int x, int y) {
    xcb_test_fake_input(xcb(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root(), static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y), 0);
    sync();
}

void DesktopEye::press(int button) {
    xcb_test_fake_input(xcb(), XCB_BUTTON_PRESS, static_cast<std::uint8_t>(button), XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                        0);
    sync();
}

void DesktopEye::release(int button) {
    xcb_test_fake_input(xcb(), XCB_BUTTON_RELEASE, static_cast<std::uint8_t>(button), XCB_CURRENT_TIME, XCB_NONE, 0, 0,
                        0);
    sync();
}

xcb_window_t DesktopEye::create(const PixelRect& rect, std::uint32_t colour, std::uint32_t isUnmanaged) {
    const xcb_window_t window = xcb_generate_id(xcb());
    const std::uint32_t values[] = {colour, isUnmanaged, XCB_EVENT_MASK_BUTTON_PRESS};
    xcb_create_window(xcb(), XCB_COPY_FROM_PARENT, window, root(), static_cast<std::int16_t>(rect.x),
                      static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                      static_cast<std::uint16_t>(rect.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    return window;
}

xcb_window_t DesktopEye::openWindow(const PixelRect& rect, std::uint32_t colour, Extent extent) {
    const xcb_window_t window = create(rect, colour, 0);
    // "This place is what the user wants", or window managers choose another one: flags, and 15 numbers of which four
    // count.
    std::uint32_t hints[18] = {1U | 2U, static_cast<std::uint32_t>(rect.x), static_cast<std::uint32_t>(rect.y),
                               static_cast<std::uint32_t>(rect.width), static_cast<std::uint32_t>(rect.height)};
    xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS, XCB_ATOM_WM_SIZE_HINTS, 32, 18,
                        hints);
    if (extent == Extent::fullScreen) {
        const xcb_atom_t state = atom("_NET_WM_STATE_FULLSCREEN");
        xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, window, atom("_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 1, &state);
    }
    xcb_map_window(xcb(), window);
    sync();
    return window;
}

xcb_window_t DesktopEye::openPopup(const PixelRect& rect, std::uint32_t colour) {
    const xcb_window_t window = create(rect, colour, 1);
    xcb_map_window(xcb(), window);
    sync();
    return window;
}

void DesktopEye::close(xcb_window_t window) {
    xcb_destroy_window(xcb(), window);
    sync();
}

void DesktopEye::raise(xcb_window_t window) {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(xcb(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    sync();
}

void DesktopEye::markAsManaged(xcb_window_t window) {
    const std::uint32_t normalState[] = {1, XCB_NONE};
    xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, window, atom("WM_STATE"), atom("WM_STATE"), 32, 2, normalState);
    // The property alone changes no order, and nobody would look.
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    xcb_configure_window(xcb(), window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    raise(window);
}

std::vector<xcb_window_t> DesktopEye::stack() const {
    const auto tree = owned(xcb_query_tree_reply(xcb(), xcb_query_tree(xcb(), root()), nullptr));
    std::vector<xcb_window_t> windows;
    for (int i = 0; tree && i < xcb_query_tree_children_length(tree.get()); ++i)
        if (const xcb_window_t each = xcb_query_tree_children(tree.get())[i]; isViewable(each)) windows.push_back(each);
    return windows;
}

int DesktopEye::pressesIn(xcb_window_t window) {
    sync();
    while (const auto event = owned(xcb_poll_for_event(xcb())))
        if ((event->response_type & 0x7f) == XCB_BUTTON_PRESS)
            pressed.push_back(reinterpret_cast<const xcb_button_press_event_t&>(*event).event);
    return static_cast<int>(std::ranges::count(pressed, window));
}

xcb_window_t DesktopEye::keyboardHolder() const {
    const auto focus = owned(xcb_get_input_focus_reply(xcb(), xcb_get_input_focus(xcb()), nullptr));
    return focus ? focus->focus : XCB_NONE;
}

PixelRect DesktopEye::placeOf(xcb_window_t window) const {
    const auto shape = owned(xcb_shape_query_extents_reply(xcb(), xcb_shape_query_extents(xcb(), window), nullptr));
    const auto corner =
        owned(xcb_translate_coordinates_reply(xcb(), xcb_translate_coordinates(xcb(), window, root(), 0, 0), nullptr));
    if (!shape || !corner) return {};
    return {corner->dst_x + shape->bounding_shape_extents_x, corner->dst_y + shape->bounding_shape_extents_y,
            shape->bounding_shape_extents_width, shape->bounding_shape_extents_height};
}

bool DesktopEye::isViewable(xcb_window_t window) const {
    const auto reply = owned(xcb_get_window_attributes_reply(xcb(), xcb_get_window_attributes(xcb(), window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

void DesktopEye::sync() const {
    const auto waited = owned(xcb_get_input_focus_reply(xcb(), xcb_get_input_focus(xcb()), nullptr));
}

xcb_atom_t DesktopEye::atom(const std::string& name) const {
    const auto reply = owned(xcb_intern_atom_reply(
        xcb(), xcb_intern_atom(xcb(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

} // namespace quillet::testing
