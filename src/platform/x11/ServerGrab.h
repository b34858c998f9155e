// ServerGrab.h: a row of requests that nobody else's come between.
#pragma once

#include <xcb/xcb.h>

namespace quillet {

/// What is asked for while it lives, the server answers at one moment. Nothing may wait for an answer meanwhile: the
/// requests leave together, so that other programs wait no longer than the server needs for them.
///
/// Threads: the connection's.
class ServerGrab {
public:
    explicit ServerGrab(xcb_connection_t* connection) : xcb(connection) { xcb_grab_server(xcb); }
    ~ServerGrab() { xcb_ungrab_server(xcb); }
    ServerGrab(const ServerGrab&) = delete;
    ServerGrab& operator=(const ServerGrab&) = delete;

private:
    xcb_connection_t* xcb;
};

} // namespace quillet
