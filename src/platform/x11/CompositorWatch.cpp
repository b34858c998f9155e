#include "platform/x11/CompositorWatch.h"

#include <xcb/xfixes.h>

namespace quillet {

CompositorWatch::CompositorWatch(const XConnection& server) : connection(server) {
    xcb_connection_t* const c = connection.xcb();
    // https://specifications.freedesktop.org/wm-spec/latest/ar01s08.html
    selection = connection.atoms({"_NET_WM_CM_S" + std::to_string(connection.screenNumber())}).front();
    xcb_xfixes_select_selection_input(c, connection.root(), selection,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    const auto reply = owned(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    if (reply && reply->owner != XCB_WINDOW_NONE) current = Compositing::byManager;
}

bool CompositorWatch::handleEvent(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != connection.fixes.firstEvent + XCB_XFIXES_SELECTION_NOTIFY) return false;
    const auto& notice = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    if (notice.selection != selection) return false;
    current = notice.owner != XCB_WINDOW_NONE ? Compositing::byManager : Compositing::byServer;
    return true;
}

} // namespace quillet
