#include "platform/x11/XConnection.h"

#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/render.h>
#include <xcb/shape.h>
#include <xcb/shm.h>
#include <xcb/xfixes.h>
#include <xcb/xinput.h>

#include <algorithm>
#include <cstdio>

#include <sys/socket.h>

namespace quillet {

namespace {

bool isUnixSocket(int descriptor) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    return ::getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &length) == 0 &&
           address.ss_family == AF_UNIX;
}

const xcb_screen_t* screenNumbered(const xcb_setup_t* setup, int number) {
    xcb_screen_iterator_t each = xcb_setup_roots_iterator(setup);
    for (; each.rem > 1 && number > 0; --number)
        xcb_screen_next(&each);
    return each.data;
}

const xcb_visualtype_t* visualOf(const xcb_screen_t& screen) {
    for (auto depth = xcb_screen_allowed_depths_iterator(&screen); depth.rem; xcb_depth_next(&depth))
        for (auto visual = xcb_depth_visuals_iterator(depth.data); visual.rem; xcb_visualtype_next(&visual))
            if (visual.data->visual_id == screen.root_visual) return visual.data;
    return nullptr;
}

} // namespace

void noteFallback(std::string_view what) {
    std::fprintf(stderr, "quillet: %.*s\n", static_cast<int>(what.size()), what.data());
}

std::unique_ptr<XConnection> XConnection::open(const std::string& displayName, Error& error) {
    int number = 0;
    std::unique_ptr<XConnection> connection(new XConnection);
    connection->handle.reset(xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &number));
    if (connection->isLost()) {
        const char* environment = std::getenv("DISPLAY");
        const std::string tried = !displayName.empty() ? displayName : environment ? environment : "";
        error = {"Quillet", 2,
                 tried.empty() ? "There is no X server: DISPLAY is not set."
                               : "The X server " + tried + " does not answer."};
        return nullptr;
    }
    connection->screen = screenNumbered(xcb_get_setup(connection->xcb()), number);
    connection->number = number;
    if (!connection->hasSupportedPixels(error)) return nullptr;
    connection->local = isUnixSocket(xcb_get_file_descriptor(connection->xcb()));
    connection->negotiate();
    if (connection->isLost()) {
        error = {"Quillet", 2, "The X server has closed the connection."};
        return nullptr;
    }
    return connection;
}

bool XConnection::hasSupportedPixels(Error& error) const {
    const xcb_setup_t* setup = xcb_get_setup(xcb());
    const std::string depth = std::to_string(screen->root_depth);
    if (screen->root_depth != 24 && screen->root_depth != 32) {
        error = {"Quillet", 3, "The display has a colour depth of " + depth + " bits; only 24 and 32 can be recorded."};
        return false;
    }
    int bitsPerPixel = 0;
    for (auto each = xcb_setup_pixmap_formats_iterator(setup); each.rem; xcb_format_next(&each))
        if (each.data->depth == screen->root_depth) bitsPerPixel = each.data->bits_per_pixel;
    const xcb_visualtype_t* visual = visualOf(*screen);
    if (bitsPerPixel != 32 || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST || !visual ||
        visual->red_mask != 0xff0000 || visual->green_mask != 0xff00 || visual->blue_mask != 0xff) {
        error = {"Quillet", 3, "The display keeps its pixels in an order that cannot be recorded."};
        return false;
    }
    return true;
}

XExtension XConnection::extension(xcb_extension_t& id) const {
    const xcb_query_extension_reply_t* reply = xcb_get_extension_data(xcb(), &id);
    if (!reply || !reply->present) return {};
    return {true, reply->major_opcode, reply->first_event};
}

void XConnection::negotiate() {
    xcb_connection_t* const c = xcb();
    for (xcb_extension_t* id : {&xcb_shm_id, &xcb_damage_id, &xcb_xfixes_id, &xcb_randr_id, &xcb_input_id,
                                &xcb_composite_id, &xcb_render_id, &xcb_shape_id})
        xcb_prefetch_extension_data(c, id);
    shm = extension(xcb_shm_id);
    damage = extension(xcb_damage_id);
    fixes = extension(xcb_xfixes_id);
    randr = extension(xcb_randr_id);
    input = extension(xcb_input_id);
    composite = extension(xcb_composite_id);
    render = extension(xcb_render_id);
    shape = extension(xcb_shape_id);

    if (shm.present) {
        const auto reply = owned(xcb_shm_query_version_reply(c, xcb_shm_query_version(c), nullptr));
        if (!reply) shm = {};
        shmPassesDescriptors =
            reply && (reply->major_version > 1 || (reply->major_version == 1 && reply->minor_version >= 2));
    }
    if (damage.present) {
        const auto reply = owned(xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
        if (!reply) damage = {};
    }
    if (fixes.present) {
        const auto reply = owned(xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 5, 0), nullptr));
        if (!reply || reply->major_version < 2) fixes = {}; // regions came with 2
    }
    if (randr.present) {
        const auto reply = owned(xcb_randr_query_version_reply(c, xcb_randr_query_version(c, 1, 5), nullptr));
        if (!reply || (reply->major_version == 1 && reply->minor_version < 2)) randr = {};
        randrMonitors = reply && (reply->major_version > 1 || reply->minor_version >= 5);
    }
    if (input.present) {
        const auto reply = owned(xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
        if (!reply || reply->major_version < 2) input = {};
    }
    if (composite.present) {
        const auto reply = owned(xcb_composite_query_version_reply(c, xcb_composite_query_version(c, 0, 4), nullptr));
        // Windows' pictures have had names since 0.2.
        if (!reply || (reply->major_version == 0 && reply->minor_version < 2)) composite = {};
    }
    if (render.present) {
        const auto reply = owned(xcb_render_query_version_reply(c, xcb_render_query_version(c, 0, 11), nullptr));
        // Plain colours have been sources since 0.10.
        if (!reply || (reply->major_version == 0 && reply->minor_version < 10)) render = {};
    }
    insideWayland = hasXwaylandExtension() || hasXwaylandOutputs();
}

std::vector<xcb_atom_t> XConnection::atoms(const std::vector<std::string>& names) const {
    std::vector<xcb_intern_atom_cookie_t> cookies;
    constexpr std::uint8_t evenIfNew = 0;
    cookies.reserve(names.size());
    for (const std::string& name : names)
        cookies.push_back(xcb_intern_atom(xcb(), evenIfNew, static_cast<std::uint16_t>(name.size()), name.c_str()));
    std::vector<xcb_atom_t> found;
    found.reserve(names.size());
    for (const xcb_intern_atom_cookie_t cookie : cookies) {
        const auto reply = owned(xcb_intern_atom_reply(xcb(), cookie, nullptr));
        found.push_back(reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE});
    }
    return found;
}

bool XConnection::hasXwaylandExtension() const {
    static constexpr std::string_view name = "XWAYLAND";
    const auto reply = owned(xcb_query_extension_reply(
        xcb(), xcb_query_extension(xcb(), static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    return reply && reply->present;
}

// Xwayland has announced itself by an extension only since 23.1; its outputs have always carried its name.
bool XConnection::hasXwaylandOutputs() const {
    if (!randr.present) return false;
    const auto resources =
        owned(xcb_randr_get_screen_resources_reply(xcb(), xcb_randr_get_screen_resources(xcb(), root()), nullptr));
    if (!resources) return false;
    const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_outputs(resources.get());
    for (int i = 0; i < xcb_randr_get_screen_resources_outputs_length(resources.get()); ++i) {
        const auto info = owned(xcb_randr_get_output_info_reply(
            xcb(), xcb_randr_get_output_info(xcb(), outputs[i], resources->config_timestamp), nullptr));
        if (!info) continue;
        const std::string_view name(reinterpret_cast<const char*>(xcb_randr_get_output_info_name(info.get())),
                                    static_cast<std::size_t>(xcb_randr_get_output_info_name_length(info.get())));
        if (name.starts_with("XWAYLAND")) return true;
    }
    return false;
}

} // namespace quillet
