#include "platform/x11/WindowRedirection.h"

#include <xcb/composite.h>

namespace quillet {

WindowRedirection::WindowRedirection(std::unique_ptr<XConnection> own) : connection(std::move(own)) {}

std::shared_ptr<WindowRedirection> WindowRedirection::make(const std::string& displayName) {
    Error error;
    std::unique_ptr<XConnection> connection = XConnection::open(displayName, error);
    // Inside a Wayland session nothing is recorded this way.
    if (!connection || !connection->canLookBeneathWindows() || connection->isXwayland()) return nullptr;
    const auto refused = owned(xcb_request_check(
        connection->xcb(), xcb_composite_redirect_subwindows_checked(connection->xcb(), connection->root(),
                                                                     XCB_COMPOSITE_REDIRECT_AUTOMATIC)));
    if (refused || connection->isLost()) return nullptr;
    return std::shared_ptr<WindowRedirection>(new WindowRedirection(std::move(connection)));
}

} // namespace quillet
