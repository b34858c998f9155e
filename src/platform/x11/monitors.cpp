#include "platform/x11/monitors.h"

#include "platform/x11/xcbHandles.h"

#include <xcb/randr.h>

namespace quillet {

namespace {

std::string atomName(xcb_connection_t* connection, xcb_atom_t atom) {
    const auto reply = owned(xcb_get_atom_name_reply(connection, xcb_get_atom_name(connection, atom), nullptr));
    if (!reply) return {};
    return {xcb_get_atom_name_name(reply.get()), static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get()))};
}

MonitorSource monitorSource(xcb_connection_t* connection) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_randr_id);
    if (!extension || !extension->present) return MonitorSource::wholeRoot;
    const auto version =
        owned(xcb_randr_query_version_reply(connection, xcb_randr_query_version(connection, 1, 5), nullptr));
    const bool knowsMonitors = version && (version->major_version > 1 || version->minor_version >= 5);
    return knowsMonitors ? MonitorSource::randr : MonitorSource::wholeRoot;
}

} // namespace

// The X screen's root is that of the first screen: the toolkit serves no other since screens are RandR's monitors.
std::vector<Monitor> listMonitors(xcb_connection_t* connection) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    return listMonitors(connection, root, monitorSource(connection));
}

std::vector<Monitor> listMonitors(xcb_connection_t* connection, xcb_window_t root, MonitorSource source) {
    std::vector<Monitor> monitors;
    if (source == MonitorSource::randr) {
        constexpr std::uint8_t onlyActive = 1;
        const auto reply = owned(
            xcb_randr_get_monitors_reply(connection, xcb_randr_get_monitors(connection, root, onlyActive), nullptr));
        if (reply)
            for (auto each = xcb_randr_get_monitors_monitors_iterator(reply.get()); each.rem;
                 xcb_randr_monitor_info_next(&each)) {
                const xcb_randr_monitor_info_t& info = *each.data;
                if (info.width == 0 || info.height == 0) continue;
                monitors.push_back({atomName(connection, info.name),
                                    info.name,
                                    {info.x, info.y, info.width, info.height},
                                    info.primary != 0});
            }
    }
    if (!monitors.empty()) return monitors;

    const auto geometry = owned(xcb_get_geometry_reply(connection, xcb_get_geometry(connection, root), nullptr));
    if (!geometry) return {};
    return {{"screen", root, {0, 0, geometry->width, geometry->height}, true}};
}

} // namespace quillet
