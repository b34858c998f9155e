#include "platform/x11/WindowPixels.h"

#include <xcb/composite.h>

namespace quillet {

WindowPixels::WindowPixels(const XConnection& server, const PictureFormats& pictureFormats)
    : connection(server), formats(pictureFormats) {}

WindowPixels::~WindowPixels() {
    for (const auto& [window, each] : named)
        release(each);
}

void WindowPixels::release(const Named& each) {
    xcb_render_free_picture(connection.xcb(), each.picture);
    xcb_free_pixmap(connection.xcb(), each.pixmap);
}

xcb_render_picture_t WindowPixels::pictureOf(const StackedWindow& window) {
    const auto found = named.find(window.id);
    if (found != named.end()) return found->second.picture;
    const xcb_render_pictformat_t format = formats.ofVisual(window.visual);
    if (format == 0) return 0;
    xcb_connection_t* const c = connection.xcb();
    const Named each{xcb_generate_id(c), xcb_generate_id(c)};
    xcb_composite_name_window_pixmap(c, window.id, each.pixmap);
    xcb_render_create_picture(c, each.picture, each.pixmap, format, 0, nullptr);
    named.emplace(window.id, each);
    return each.picture;
}

void WindowPixels::forget(std::uint32_t window) {
    const auto found = named.find(window);
    if (found == named.end()) return;
    release(found->second);
    named.erase(found);
}

void WindowPixels::handleError(const xcb_generic_error_t& error) {
    if (error.major_code != connection.composite.majorOpcode || error.minor_code != XCB_COMPOSITE_NAME_WINDOW_PIXMAP)
        return;
    // The error names the window; where it does not, everything is named anew.
    if (named.contains(error.resource_id)) return forget(error.resource_id);
    while (!named.empty())
        forget(named.begin()->first);
}

} // namespace quillet
