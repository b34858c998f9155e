// WindowQuery.h: asks the server about many windows at once.
#pragma once

#include "platform/x11/WindowStack.h"
#include "platform/x11/XConnection.h"

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace quillet {

/// Every call is a round trip for any number of windows. Windows that are gone have no answer: they may vanish at any
/// time. Threads: the connection's.
class WindowQuery {
public:
    explicit WindowQuery(const XConnection& connection);

    /// All that is known of these windows, as children of the root, in their order; isKnown is set.
    [[nodiscard]] std::vector<std::optional<StackedWindow>> facts(const std::vector<std::uint32_t>& windows) const;

    struct Family {
        std::uint32_t parent = 0;
        std::vector<std::uint32_t> children; ///< bottom to top
        std::uint32_t sequence = 0;          ///< of the request, to be compared with those of events
    };
    [[nodiscard]] std::vector<std::optional<Family>> families(const std::vector<std::uint32_t>& windows) const;

    /// What programs write their opacity into: https://specifications.freedesktop.org/wm-spec/latest/
    [[nodiscard]] xcb_atom_t opacityAtom() const { return opacity; }

private:
    const XConnection& connection;
    xcb_atom_t opacity = XCB_ATOM_NONE;
};

} // namespace quillet
