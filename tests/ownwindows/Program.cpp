#include "tests/ownwindows/Program.h"

#include "tests/fakes/Picture.h"
#include "tests/fakes/x11/eventually.h"

#include <xcb/shape.h>

#include <algorithm>
#include <cmath>

namespace quillet::testing {

namespace {

// Far below any server's longest request.
constexpr int pixelsPerRequest = 16'000;

constexpr std::uint32_t borderColour = 0xff104010;
constexpr int outlineThickness = 6;

std::uint32_t alphaVisualOf(const xcb_screen_t* screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(screen); depth.rem; xcb_depth_next(&depth))
        if (depth.data->depth == 32 && xcb_depth_visuals_length(depth.data) > 0)
            return xcb_depth_visuals(depth.data)[0].visual_id;
    return 0;
}

std::vector<xcb_rectangle_t> discRows(int width, int height) {
    std::vector<xcb_rectangle_t> rows;
    for (int y = 0; y < height; ++y) {
        const double fromCentre = (y + 0.5 - height / 2.0) / (height / 2.0);
        const int half = static_cast<int>(width / 2.0 * std::sqrt(std::max(0.0, 1 - fromCentre * fromCentre)));
        rows.push_back({static_cast<std::int16_t>(width / 2 - half), static_cast<std::int16_t>(y),
                        static_cast<std::uint16_t>(2 * half), 1});
    }
    return rows;
}

std::vector<xcb_rectangle_t> frameSides(int width, int height) {
    constexpr auto thick = static_cast<std::uint16_t>(outlineThickness);
    const auto columns = static_cast<std::uint16_t>(width);
    const auto rows = static_cast<std::uint16_t>(height);
    return {{0, 0, columns, thick},
            {0, static_cast<std::int16_t>(height - outlineThickness), columns, thick},
            {0, 0, thick, rows},
            {static_cast<std::int16_t>(width - outlineThickness), 0, thick, rows}};
}

} // namespace

std::uint32_t greenNoise(std::uint32_t seed, int x, int y) { return 0xff008000U | (noise(seed, x, y) & 0x7f7f7fU); }

std::uint32_t translucentNoise(std::uint32_t seed, int x, int y) {
    const std::uint32_t colour = greenNoise(seed, x, y);
    const std::uint32_t alpha = noise(seed + 1, x, y) >> 16;
    const auto channel = [&](unsigned shift) { return (colour >> shift & 0xffU) * alpha / 255 << shift; };
    return alpha << 24 | channel(16) | channel(8) | channel(0);
}

std::uint32_t magenta(std::uint32_t, int, int) { return 0xffff00ffU; }
std::uint32_t translucentMagenta(std::uint32_t, int, int) { return 0x80800080U; }
std::uint32_t plainColour(std::uint32_t seed, int, int) { return 0xff000000U | seed; }

bool isTinted(std::uint32_t pixel) { return std::min(pixel >> 16 & 0xffU, pixel & 0xffU) > (pixel >> 8 & 0xffU) + 20; }

Program::Program(const std::string& displayName) : connection(xcb_connect(displayName.c_str(), nullptr)) {
    screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
    alphaVisual = alphaVisualOf(screen);
    alphaColours = xcb_generate_id(connection.get());
    xcb_create_colormap(connection.get(), XCB_COLORMAP_ALLOC_NONE, alphaColours, screen->root, alphaVisual);
    queue.sync([this] {
        roundTrip();
        queue.watch(xcb_get_file_descriptor(connection.get()), [this] { handleEvents(); });
    });
}

Program::~Program() {
    queue.sync([this] {
        if (!isHanging) queue.unwatch(xcb_get_file_descriptor(connection.get()));
    });
}

std::uint32_t Program::resourceBase() const { return xcb_get_setup(connection.get())->resource_id_base; }
std::uint32_t Program::resourceMask() const { return xcb_get_setup(connection.get())->resource_id_mask; }

xcb_window_t Program::create(const WindowOptions& options) {
    xcb_window_t window = 0;
    run([&](xcb_connection_t* c) {
        window = xcb_generate_id(c);
        const bool hasAlpha = options.depth == Depth::withAlpha;
        std::uint32_t mask = XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK;
        std::vector<std::uint32_t> values;
        if (options.background == Background::plain) {
            mask |= XCB_CW_BACK_PIXEL;
            values.push_back(options.paint(options.seed, 0, 0));
        }
        values.push_back(borderColour);
        if (options.keepsPixels) {
            mask |= XCB_CW_BIT_GRAVITY;
            values.push_back(XCB_GRAVITY_NORTH_WEST);
        }
        values.insert(values.end(), {options.handling == Handling::overrideRedirect ? 1U : 0U,
                                     XCB_EVENT_MASK_EXPOSURE | XCB_EVENT_MASK_STRUCTURE_NOTIFY});
        if (hasAlpha) {
            mask |= XCB_CW_COLORMAP;
            values.push_back(alphaColours);
        }
        const PixelRect& rect = options.rect;
        xcb_create_window(c, hasAlpha ? 32 : XCB_COPY_FROM_PARENT, window, options.parent ? options.parent : root(),
                          static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                          static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height),
                          static_cast<std::uint16_t>(options.border), XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          hasAlpha ? alphaVisual : screen->root_visual, mask, values.data());
        describe(window, options);
        applyOutline(window, options);
        windows[window] = {options};
    });
    return window;
}

void Program::change32(xcb_window_t window, const std::string& name, xcb_atom_t type,
                       const std::vector<std::uint32_t>& values) {
    xcb_change_property(connection.get(), XCB_PROP_MODE_REPLACE, window, atom(name), type, 32,
                        static_cast<std::uint32_t>(values.size()), values.data());
}

void Program::describe(xcb_window_t window, const WindowOptions& options) {
    if (!options.type.empty()) change32(window, "_NET_WM_WINDOW_TYPE", XCB_ATOM_ATOM, {atom(options.type)});
    if (options.opacity < 1)
        change32(window, "_NET_WM_WINDOW_OPACITY", XCB_ATOM_CARDINAL,
                 {static_cast<std::uint32_t>(options.opacity * 4294967295.0)});
    if (!options.wantsShadow) change32(window, "_COMPTON_SHADOW", XCB_ATOM_CARDINAL, {0});
    if (options.processID) change32(window, "_NET_WM_PID", XCB_ATOM_CARDINAL, {options.processID});
    if (options.handling == Handling::overrideRedirect) return;
    // The user's own place and size (flags 1 and 2), so that window managers do not choose.
    std::vector<std::uint32_t> hints(18);
    hints[0] = 1 | 2;
    change32(window, "WM_NORMAL_HINTS", atom("WM_SIZE_HINTS"), hints);
    // Flag 1: what follows says whether it takes the keyboard's focus.
    change32(window, "WM_HINTS", atom("WM_HINTS"), {1, options.takesFocus ? 1U : 0U, 0, 0, 0, 0, 0, 0, 0});
    if (!options.takesFocus) change32(window, "_NET_WM_USER_TIME", XCB_ATOM_CARDINAL, {0});
    if (options.handling == Handling::managedWithoutTitle)
        change32(window, "_MOTIF_WM_HINTS", atom("_MOTIF_WM_HINTS"), {2, 0, 0, 0, 0});
}

void Program::applyOutline(xcb_window_t window, const WindowOptions& options) {
    if (options.outline == Outline::rectangle) {
        xcb_shape_mask(connection.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, window, 0, 0, XCB_NONE);
        return;
    }
    const auto rects = options.outline == Outline::disc ? discRows(options.rect.width, options.rect.height)
                                                        : frameSides(options.rect.width, options.rect.height);
    xcb_shape_rectangles(connection.get(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_UNSORTED, window,
                         0, 0, static_cast<std::uint32_t>(rects.size()), rects.data());
}

bool Program::show(xcb_window_t window) {
    run([&](xcb_connection_t* c) {
        windows[window].isPainted = false;
        xcb_map_window(c, window);
    });
    return eventually([&] {
        bool isThere = false;
        run([&](xcb_connection_t*) {
            const Window& shown = windows[window];
            const bool isDone = shown.options.painting == Painting::never || isHanging || shown.isPainted;
            isThere = isDone && isViewable(window);
        });
        return isThere;
    });
}

xcb_window_t Program::add(const WindowOptions& options) {
    const xcb_window_t window = create(options);
    return show(window) ? window : 0;
}

void Program::map(xcb_window_t window) {
    run([&](xcb_connection_t* c) { xcb_map_window(c, window); });
}

void Program::hide(xcb_window_t window) {
    run([&](xcb_connection_t* c) {
        xcb_unmap_window(c, window);
        // For window managers that have not seen it yet.
        xcb_unmap_notify_event_t event{};
        event.response_type = XCB_UNMAP_NOTIFY;
        event.event = root();
        event.window = window;
        xcb_send_event(c, 0, root(), XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char*>(&event));
    });
}

void Program::move(xcb_window_t window, int x, int y) {
    run([&](xcb_connection_t* c) {
        const std::int32_t place[] = {x, y};
        xcb_configure_window(c, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
    });
}

void Program::resize(xcb_window_t window, int width, int height) {
    run([&](xcb_connection_t* c) {
        const std::int32_t size[] = {width, height};
        xcb_configure_window(c, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, size);
    });
}

void Program::raise(xcb_window_t window) {
    run([&](xcb_connection_t* c) {
        const std::uint32_t mode = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(c, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    });
}

void Program::lower(xcb_window_t window) {
    run([&](xcb_connection_t* c) {
        const std::uint32_t mode = XCB_STACK_MODE_BELOW;
        xcb_configure_window(c, window, XCB_CONFIG_WINDOW_STACK_MODE, &mode);
    });
}

void Program::destroy(xcb_window_t window) {
    run([&](xcb_connection_t* c) {
        xcb_destroy_window(c, window);
        windows.erase(window);
    });
}

void Program::repaint(xcb_window_t window, std::uint32_t seed) {
    run([&](xcb_connection_t*) {
        Window& painted = windows[window];
        painted.options.seed = seed;
        paint(window, {0, 0, painted.options.rect.width, painted.options.rect.height});
    });
}

void Program::setOutline(xcb_window_t window, Outline outline) {
    run([&](xcb_connection_t*) {
        windows[window].options.outline = outline;
        applyOutline(window, windows[window].options);
    });
}

void Program::setOpacity(xcb_window_t window, double opacity) {
    run([&](xcb_connection_t*) {
        windows[window].options.opacity = opacity;
        change32(window, "_NET_WM_WINDOW_OPACITY", XCB_ATOM_CARDINAL,
                 {static_cast<std::uint32_t>(opacity * 4294967295.0)});
    });
}

void Program::run(const std::function<void(xcb_connection_t*)>& task) {
    queue.sync([&] {
        task(connection.get());
        roundTrip();
    });
}

void Program::hang() {
    queue.sync([this] {
        if (!isHanging) queue.unwatch(xcb_get_file_descriptor(connection.get()));
        isHanging = true;
    });
}

void Program::sync() {
    run([](xcb_connection_t*) {});
}

std::vector<Program::Place> Program::places() {
    std::vector<Place> found;
    run([&](xcb_connection_t* c) {
        for (const auto& [id, window] : windows) {
            if (window.options.parent || !isViewable(id)) continue;
            const auto place =
                owned(xcb_translate_coordinates_reply(c, xcb_translate_coordinates(c, id, root(), 0, 0), nullptr));
            const auto geometry = owned(xcb_get_geometry_reply(c, xcb_get_geometry(c, id), nullptr));
            if (!place || !geometry) continue;
            const WindowOptions& options = window.options;
            const bool isOpaque =
                options.outline == Outline::rectangle && options.depth == Depth::root && options.opacity == 1;
            found.push_back({{place->dst_x, place->dst_y, geometry->width, geometry->height}, isOpaque});
        }
    });
    return found;
}

xcb_atom_t Program::atom(const std::string& name) {
    xcb_atom_t result = XCB_NONE;
    queue.sync([&] {
        const auto known = atoms.find(name);
        if (known != atoms.end()) {
            result = known->second;
            return;
        }
        xcb_connection_t* const c = connection.get();
        const auto reply = owned(xcb_intern_atom_reply(
            c, xcb_intern_atom(c, 0, static_cast<std::uint16_t>(name.size()), name.c_str()), nullptr));
        result = reply ? reply->atom : XCB_NONE;
        atoms[name] = result;
    });
    return result;
}

void Program::handleEvents() {
    while (const auto event = owned(xcb_poll_for_event(connection.get())))
        handle(*event);
    if (xcb_connection_has_error(connection.get())) {
        queue.unwatch(xcb_get_file_descriptor(connection.get()));
        isHanging = true;
    }
    xcb_flush(connection.get());
}

void Program::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_EXPOSE) {
        const auto& expose = reinterpret_cast<const xcb_expose_event_t&>(event);
        const auto window = windows.find(expose.window);
        if (window == windows.end() || window->second.options.painting == Painting::never) return;
        paint(expose.window, {expose.x, expose.y, expose.width, expose.height});
        if (expose.count == 0) window->second.isPainted = true;
    } else if (type == XCB_CONFIGURE_NOTIFY) {
        const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
        const auto window = windows.find(configure.window);
        if (window == windows.end()) return;
        PixelRect& rect = window->second.options.rect;
        const bool isResized = rect.width != configure.width || rect.height != configure.height;
        rect.width = configure.width;
        rect.height = configure.height;
        if (isResized) applyOutline(configure.window, window->second.options);
    }
}

void Program::paint(xcb_window_t window, const PixelRect& part) {
    const WindowOptions& options = windows[window].options;
    if (part.isEmpty()) return;
    const int rowsPerRequest = std::max(1, pixelsPerRequest / part.width);
    std::vector<std::uint32_t> pixels;
    for (int top = part.y; top < part.bottom(); top += rowsPerRequest) {
        const int rows = std::min(rowsPerRequest, part.bottom() - top);
        pixels.clear();
        for (int y = top; y < top + rows; ++y)
            for (int x = part.x; x < part.right(); ++x)
                pixels.push_back(options.paint(options.seed, x, y));
        xcb_put_image(
            connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, window, graphicsFor(window, options.depth),
            static_cast<std::uint16_t>(part.width), static_cast<std::uint16_t>(rows), static_cast<std::int16_t>(part.x),
            static_cast<std::int16_t>(top), 0, options.depth == Depth::withAlpha ? 32 : screen->root_depth,
            static_cast<std::uint32_t>(pixels.size() * 4), reinterpret_cast<const std::uint8_t*>(pixels.data()));
    }
}

xcb_gcontext_t Program::graphicsFor(xcb_window_t window, Depth depth) {
    xcb_gcontext_t& graphic = graphics[depth];
    if (!graphic) {
        graphic = xcb_generate_id(connection.get());
        const std::uint32_t noExposures = 0;
        xcb_create_gc(connection.get(), graphic, window, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    }
    return graphic;
}

bool Program::isViewable(xcb_window_t window) {
    xcb_connection_t* const c = connection.get();
    const auto reply = owned(xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

void Program::roundTrip() {
    xcb_connection_t* const c = connection.get();
    const auto waited = owned(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    // Replies bring events along, which then no longer make the descriptor readable.
    if (!isHanging) handleEvents();
}

} // namespace quillet::testing
