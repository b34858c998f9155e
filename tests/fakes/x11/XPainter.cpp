#include "tests/fakes/x11/XPainter.h"

#include "tests/fakes/x11/eventually.h"

#include <xcb/randr.h>
#include <xcb/xfixes.h>
#include <xcb/xtest.h>

#include <algorithm>

namespace quillet::testing {

namespace {

constexpr std::uint32_t rootColour = 0x336699;

// Far below any server's longest request.
constexpr int rowsPerRequest = 32;

} // namespace

XPainter::XPainter(const std::string& displayName) : connection(xcb_connect(displayName.c_str(), nullptr)) {
    screen = xcb_setup_roots_iterator(xcb_get_setup(xcb())).data;
    graphics = xcb_generate_id(xcb());
    const std::uint32_t subwindows[] = {XCB_SUBWINDOW_MODE_CLIP_BY_CHILDREN, 0};
    xcb_create_gc(xcb(), graphics, root(), XCB_GC_SUBWINDOW_MODE | XCB_GC_GRAPHICS_EXPOSURES, subwindows);
    // A wallpaper that compositing managers find, too.
    const xcb_pixmap_t wallpaper = xcb_generate_id(xcb());
    xcb_create_pixmap(xcb(), screen->root_depth, wallpaper, root(), 16, 16);
    const xcb_gcontext_t fill = xcb_generate_id(xcb());
    xcb_create_gc(xcb(), fill, wallpaper, XCB_GC_FOREGROUND, &rootColour);
    const xcb_rectangle_t all{0, 0, 16, 16};
    xcb_poly_fill_rectangle(xcb(), wallpaper, fill, 1, &all);
    xcb_change_window_attributes(xcb(), root(), XCB_CW_BACK_PIXMAP, &wallpaper);
    xcb_change_property(xcb(), XCB_PROP_MODE_REPLACE, root(), atom("_XROOTPMAP_ID"), XCB_ATOM_PIXMAP, 32, 1,
                        &wallpaper);
    xcb_clear_area(xcb(), 0, root(), 0, 0, 0, 0);
    setCursor(0, 0, 0, 0, 0);
}

std::vector<Monitor> XPainter::monitors() const { return listMonitors(xcb(), root(), MonitorSource::randr); }

void XPainter::put(const Window& window, const PixelRect& part) const {
    for (int y = part.y; y < part.bottom(); y += rowsPerRequest) {
        const PixelRect band{part.x, y, part.width, std::min(rowsPerRequest, part.bottom() - y)};
        const Picture pixels = window.content.cut(band);
        xcb_put_image(xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, window.id, graphics, static_cast<std::uint16_t>(band.width),
                      static_cast<std::uint16_t>(band.height), static_cast<std::int16_t>(band.x),
                      static_cast<std::int16_t>(band.y), 0, screen->root_depth,
                      static_cast<std::uint32_t>(pixels.pixels.size() * 4),
                      reinterpret_cast<const std::uint8_t*>(pixels.pixels.data()));
    }
}

std::size_t XPainter::addWindow(const PixelRect& rect, std::uint32_t seed, Management management) {
    Window window;
    window.id = xcb_generate_id(xcb());
    window.rect = rect;
    window.content = Picture(rect.width, rect.height);
    const std::uint32_t values[] = {0, management == Management::ignored ? 1U : 0U,
                                    XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(xcb(), XCB_COPY_FROM_PARENT, window.id, root(), static_cast<std::int16_t>(rect.x),
                      static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                      static_cast<std::uint16_t>(rect.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(xcb(), window.id);
    if (management == Management::managed) {
        // Drawing into a window that is not viewable yet is lost.
        sync();
        while (const auto event = owned(xcb_wait_for_event(xcb())))
            if ((event->response_type & 0x7f) == XCB_EXPOSE) break;
    }
    windows.push_back(std::move(window));
    order.push_back(windows.size() - 1);
    if (management == Management::managed) order.pop_back();
    repaint(windows.size() - 1, seed);
    return windows.size() - 1;
}

void XPainter::repaint(std::size_t window, std::uint32_t seed) {
    repaintPart(window, {0, 0, windows[window].rect.width, windows[window].rect.height}, seed);
}

void XPainter::repaintPart(std::size_t window, const PixelRect& part, std::uint32_t seed) {
    windows[window].content.paint(part, [&](int x, int y) { return noise(seed, part.x + x, part.y + y); });
    put(windows[window], part);
    sync();
}

void XPainter::repaintExposed() {
    while (const auto event = owned(xcb_poll_for_event(xcb()))) {
        if ((event->response_type & 0x7f) != XCB_EXPOSE) continue;
        const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(*event);
        const auto found = std::ranges::find(windows, expose.window, &Window::id);
        if (found != windows.end()) put(*found, {expose.x, expose.y, expose.width, expose.height});
    }
    sync();
}

void XPainter::move(std::size_t window, int x, int y) {
    windows[window].rect.x = x;
    windows[window].rect.y = y;
    const std::int32_t place[] = {x, y};
    xcb_configure_window(xcb(), windows[window].id, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
    // What comes out from under others or from beyond the screen's edge is the program's to paint.
    for (const Window& each : windows)
        if (each.isMapped) put(each, {0, 0, each.rect.width, each.rect.height});
    sync();
}

void XPainter::unmap(std::size_t window) {
    windows[window].isMapped = false;
    xcb_unmap_window(xcb(), windows[window].id);
    for (const Window& each : windows)
        if (each.isMapped) put(each, {0, 0, each.rect.width, each.rect.height});
    sync();
}

void XPainter::raise(std::size_t window) {
    std::erase(order, window);
    order.push_back(window);
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(xcb(), windows[window].id, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    put(windows[window], {0, 0, windows[window].rect.width, windows[window].rect.height});
    sync();
}

void XPainter::movePointer(int x, int y) {
    pointerX = x;
    pointerY = y;
    xcb_test_fake_input(xcb(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root(), static_cast<std::int16_t>(x),
                        static_cast<std::int16_t>(y), 0);
    sync();
}

void XPainter::warpPointer(int x, int y) {
    pointerX = x;
    pointerY = y;
    xcb_warp_pointer(xcb(), XCB_NONE, root(), 0, 0, 0, 0, static_cast<std::int16_t>(x), static_cast<std::int16_t>(y));
    sync();
}

void XPainter::setCursor(int width, int height, int hotX, int hotY, std::uint32_t colour) {
    const bool isHidden = width == 0 || height == 0;
    const auto columns = static_cast<std::uint16_t>(isHidden ? 1 : width);
    const auto rows = static_cast<std::uint16_t>(isHidden ? 1 : height);
    const xcb_pixmap_t mask = xcb_generate_id(xcb());
    xcb_create_pixmap(xcb(), 1, mask, root(), columns, rows);
    const xcb_gcontext_t fill = xcb_generate_id(xcb());
    const std::uint32_t bit = isHidden ? 0 : 1;
    xcb_create_gc(xcb(), fill, mask, XCB_GC_FOREGROUND, &bit);
    const xcb_rectangle_t all{0, 0, columns, rows};
    xcb_poly_fill_rectangle(xcb(), mask, fill, 1, &all);
    const auto channel = [&](unsigned shift) { return static_cast<std::uint16_t>((colour >> shift & 0xffU) * 0x101U); };
    cursor = xcb_generate_id(xcb());
    xcb_create_cursor(xcb(), cursor, mask, mask, channel(16), channel(8), channel(0), 0, 0, 0,
                      static_cast<std::uint16_t>(hotX), static_cast<std::uint16_t>(hotY));
    xcb_change_window_attributes(xcb(), root(), XCB_CW_CURSOR, &cursor);
    xcb_free_gc(xcb(), fill);
    xcb_free_pixmap(xcb(), mask);
    cursorImage = {-hotX, -hotY, isHidden ? 0 : width, isHidden ? 0 : height};
    sync();
}

void XPainter::resizeScreen(int width, int height) {
    const auto resources =
        owned(xcb_randr_get_screen_resources_reply(xcb(), xcb_randr_get_screen_resources(xcb(), root()), nullptr));
    const xcb_randr_crtc_t crtc = xcb_randr_get_screen_resources_crtcs(resources.get())[0];
    const xcb_randr_output_t output = xcb_randr_get_screen_resources_outputs(resources.get())[0];
    const std::string modeName = std::to_string(width) + "x" + std::to_string(height) + "test";
    xcb_randr_mode_info_t mode{};
    mode.width = static_cast<std::uint16_t>(width);
    mode.height = static_cast<std::uint16_t>(height);
    mode.name_len = static_cast<std::uint16_t>(modeName.size());
    const auto created = owned(xcb_randr_create_mode_reply(
        xcb(),
        xcb_randr_create_mode(xcb(), root(), mode, static_cast<std::uint32_t>(modeName.size()), modeName.c_str()),
        nullptr));
    xcb_randr_add_output_mode(xcb(), output, created->mode);
    const auto set = [&](xcb_randr_mode_t wanted, std::uint32_t outputs) {
        const auto waited = owned(xcb_randr_set_crtc_config_reply(
            xcb(),
            xcb_randr_set_crtc_config(xcb(), crtc, XCB_CURRENT_TIME, resources->config_timestamp, 0, 0, wanted,
                                      XCB_RANDR_ROTATION_ROTATE_0, outputs, &output),
            nullptr));
    };
    set(XCB_NONE, 0);
    xcb_randr_set_screen_size(xcb(), root(), static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height),
                              static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height));
    set(created->mode, 1);
    xcb_clear_area(xcb(), 0, root(), 0, 0, 0, 0);
    for (const Window& each : windows)
        if (each.isMapped) put(each, {0, 0, each.rect.width, each.rect.height});
    sync();
}

void XPainter::sync() const {
    const auto waited = owned(xcb_get_input_focus_reply(xcb(), xcb_get_input_focus(xcb()), nullptr));
}

xcb_atom_t XPainter::atom(const std::string& name) const {
    const auto reply = owned(xcb_intern_atom_reply(
        xcb(), xcb_intern_atom(xcb(), 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

bool XPainter::waitForSelection(const std::string& name) const {
    return eventually([&] {
        const auto reply =
            owned(xcb_get_selection_owner_reply(xcb(), xcb_get_selection_owner(xcb(), atom(name)), nullptr));
        return reply && reply->owner != XCB_NONE;
    });
}

bool XPainter::waitForRootProperty(const std::string& name) const {
    return eventually([&] {
        const auto reply = owned(xcb_get_property_reply(
            xcb(), xcb_get_property(xcb(), 0, root(), atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0, 1), nullptr));
        return reply && reply->type != XCB_NONE;
    });
}

Picture XPainter::expected() const {
    const auto geometry = owned(xcb_get_geometry_reply(xcb(), xcb_get_geometry(xcb(), root()), nullptr));
    Picture picture(geometry->width, geometry->height, rootColour);
    for (const std::size_t number : order) {
        const Window& window = windows[number];
        if (window.isMapped) picture.paint(window.rect, [&](int x, int y) { return window.content.at(x, y); });
    }
    return picture;
}

PixelRect XPainter::cursorRect() const { return cursorImage.offsetBy(pointerX, pointerY); }

} // namespace quillet::testing
