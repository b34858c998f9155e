// CompositorWatch.h: whether a compositing manager makes the screen.
#pragma once

#include "platform/x11/OwnRegion.h"
#include "platform/x11/XConnection.h"

#include <xcb/xcb.h>

namespace quillet {

/// Such a manager owns a selection of the display's, which is how programs know of it. Threads: the connection's.
class CompositorWatch {
public:
    explicit CompositorWatch(const XConnection& connection);

    /// True if the event was for this watch; compositing() may then have changed.
    bool handleEvent(const xcb_generic_event_t& event);
    [[nodiscard]] Compositing compositing() const { return current; }

private:
    const XConnection& connection;
    xcb_atom_t selection = XCB_ATOM_NONE;
    Compositing current = Compositing::byServer;
};

} // namespace quillet
