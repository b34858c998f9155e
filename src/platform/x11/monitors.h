// monitors.h: the monitors of an X display, as the server tells them.
#pragma once

#include "media/PixelRect.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <string>
#include <vector>

namespace quillet {

struct XMonitor {
    std::string name;     ///< for people: the connector's name
    std::uint32_t id = 0; ///< the same for every connection as long as the server runs
    PixelRect rect;       ///< in pixels of the root window, y downwards
    bool isPrimary = false;

    friend bool operator==(const XMonitor&, const XMonitor&) = default;
};

enum class MonitorSource { randr, wholeRoot };

/// The active monitors in the server's order. With `wholeRoot`, for servers without RandR 1.5, or when there are none:
/// the root window as the one monitor, its identifier the root's. Empty only when the server has gone.
///
/// The identifier of a monitor is the atom of its name: unlike an output's, it exists for monitors without outputs,
/// too. Threads: the connection's.
[[nodiscard]] std::vector<XMonitor> listMonitors(xcb_connection_t* connection, xcb_window_t root, MonitorSource source);

} // namespace quillet
