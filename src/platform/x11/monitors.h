// monitors.h: the monitors of an X display, as the server tells them.
#pragma once

#include "platform/Monitor.h"

#include <xcb/xcb.h>

#include <vector>

namespace quillet {

enum class MonitorSource { randr, wholeRoot };

/// The active monitors in the server's order. With `wholeRoot`, for servers without RandR 1.5, or when there are none:
/// the root window as the one monitor, its identifier the root's. Empty only when the server has gone.
///
/// The identifier of a monitor is the atom of its name: unlike an output's, it exists for monitors without outputs,
/// too. Threads: the connection's.
[[nodiscard]] std::vector<Monitor> listMonitors(xcb_connection_t* connection, xcb_window_t root, MonitorSource source);

/// The same for a connection of which nothing is known yet (the toolkit's): asks the server what it can tell.
[[nodiscard]] std::vector<Monitor> listMonitors(xcb_connection_t* connection);

} // namespace quillet
