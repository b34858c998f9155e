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

} // namespace

std::vector<XMonitor> listMonitors(xcb_connection_t* connection, xcb_window_t root, MonitorSource source) {
    std::vector<XMonitor> monitors;
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
