// XConnection.h: a connection to the X server and what this server can do.
#pragma once

#include "media/Error.h"
#include "platform/x11/xcbHandles.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

/// What an extension's events and requests are numbered from; absent extensions have `present` false.
struct XExtension {
    bool present = false;
    std::uint8_t majorOpcode = 0;
    std::uint8_t firstEvent = 0;
};

/// A connection of the capture's own, with every extension's version negotiated: servers refuse the requests of some
/// until a client has asked.
///
/// Threads: one.
class XConnection {
public:
    /// Null with the reason in `error`: no server, or one whose pixels are not 32-bit BGRX. `displayName` is empty for
    /// the session's own.
    [[nodiscard]] static std::unique_ptr<XConnection> open(const std::string& displayName, Error& error);

    [[nodiscard]] xcb_connection_t* xcb() const { return handle.get(); }
    [[nodiscard]] xcb_window_t root() const { return screen->root; }
    [[nodiscard]] std::uint8_t rootDepth() const { return screen->root_depth; }
    [[nodiscard]] xcb_visualid_t rootVisual() const { return screen->root_visual; }
    [[nodiscard]] int screenNumber() const { return number; }
    /// The numbers of names, in their order, in one round trip.
    [[nodiscard]] std::vector<xcb_atom_t> atoms(const std::vector<std::string>& names) const;
    /// Whether the server has gone; nothing works any more then.
    [[nodiscard]] bool isLost() const { return xcb_connection_has_error(handle.get()) != 0; }
    /// Whether this server only serves old programs inside a Wayland session, where it cannot see the desktop.
    [[nodiscard]] bool isXwayland() const { return insideWayland; }
    /// Whether descriptors and memory can be passed to the server.
    [[nodiscard]] bool isLocal() const { return local; }

    XExtension shm;
    bool shmPassesDescriptors = false;
    XExtension damage;
    XExtension fixes;
    XExtension randr;           ///< 1.2 or later: announces changes
    bool randrMonitors = false; ///< 1.5 or later: knows monitors
    XExtension input;           ///< XInput 2: motion of the pointer, wherever it is
    XExtension composite;       ///< 0.2 or later: windows' own pictures
    XExtension render;
    XExtension shape;

    /// Whether what lies beneath a window can be drawn without it.
    [[nodiscard]] bool canLookBeneathWindows() const {
        return composite.present && damage.present && fixes.present && render.present && shape.present;
    }

private:
    XConnection() = default;
    void negotiate();
    [[nodiscard]] XExtension extension(xcb_extension_t& id) const;
    [[nodiscard]] bool hasXwaylandExtension() const;
    [[nodiscard]] bool hasXwaylandOutputs() const;
    [[nodiscard]] bool hasSupportedPixels(Error& error) const;

    XcbConnectionHandle handle;
    const xcb_screen_t* screen = nullptr;
    int number = 0; // of the screen
    bool local = false;
    bool insideWayland = false;
};

/// One line on standard error: what this server lacks and what is done instead.
void noteFallback(std::string_view what);

} // namespace quillet
