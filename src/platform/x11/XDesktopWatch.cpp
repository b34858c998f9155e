#include "platform/x11/XDesktopWatch.h"

#include <QTimer>
#include <xcb/xfixes.h>

#include <algorithm>
#include <string>

namespace quillet {

namespace {

/// Window managers put a program's window at most this many levels below the root (frame, wrapper, window).
constexpr int deepestProgramWindow = 3;

xcb_atom_t atomNamed(xcb_connection_t* connection, const std::string& name) {
    const auto reply = owned(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
    return reply ? reply->atom : XCB_NONE;
}

std::vector<xcb_window_t> childrenIn(const xcb_query_tree_reply_t& reply) {
    const xcb_window_t* const first = xcb_query_tree_children(&reply);
    return {first, first + xcb_query_tree_children_length(&reply)};
}

} // namespace

std::unique_ptr<XDesktopWatch> XDesktopWatch::make() {
    int number = 0;
    std::unique_ptr<XDesktopWatch> watch(new XDesktopWatch);
    watch->connection.reset(xcb_connect(nullptr, &number));
    xcb_connection_t* const c = watch->connection.get();
    if (xcb_connection_has_error(c) != 0) return nullptr;
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < number && screen.rem > 1; ++i)
        xcb_screen_next(&screen);
    watch->root = screen.data->root;
    watch->manager = atomNamed(c, "_NET_WM_CM_S" + std::to_string(number));
    watch->managedState = atomNamed(c, "WM_STATE");
    watch->listen();
    return watch;
}

void XDesktopWatch::listen() {
    xcb_connection_t* const c = connection.get();
    const std::uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &mask);
    const xcb_query_extension_reply_t* fixes = xcb_get_extension_data(c, &xcb_xfixes_id);
    if (fixes && fixes->present) {
        firstFixesEvent = fixes->first_event;
        // Servers refuse the extension's requests until a client has asked for its version.
        (void)owned(xcb_xfixes_query_version_reply(c, xcb_xfixes_query_version(c, 1, 0), nullptr));
        xcb_xfixes_select_selection_input(c, root, manager,
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                              XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                              XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    }
    if (const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr))) stack = childrenIn(*tree);
    composited = ownsCompositing();
    notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [this] { drain(); });
    QTimer::singleShot(0, notifier.get(), [this] { drain(); });
}

bool XDesktopWatch::ownsCompositing() const {
    xcb_connection_t* const c = connection.get();
    const auto reply = owned(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, manager), nullptr));
    return reply && reply->owner != XCB_NONE;
}

void XDesktopWatch::noteOrder(xcb_window_t window, xcb_window_t below) {
    const auto known = std::ranges::find(stack, window);
    if (known != stack.end()) {
        const xcb_window_t knownBelow = known == stack.begin() ? XCB_NONE : *std::prev(known);
        if (knownBelow == below) return;
        stack.erase(known);
    }
    const auto sibling = std::ranges::find(stack, below);
    stack.insert(sibling == stack.end() ? stack.begin() : std::next(sibling), window);
    restacked = true;
}

void XDesktopWatch::note(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (firstFixesEvent != 0 && type == firstFixesEvent + XCB_XFIXES_SELECTION_NOTIFY) {
        compositingChanged = true;
        return;
    }
    switch (type) {
        case XCB_CONFIGURE_NOTIFY: {
            const auto& configure = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            // Synthetic ones, which window managers send to programs, tell no order.
            if (configure.event == root && (event.response_type & 0x80) == 0)
                noteOrder(configure.window, configure.above_sibling);
            break;
        }
        case XCB_CREATE_NOTIFY:
            stack.push_back(reinterpret_cast<const xcb_create_notify_event_t&>(event).window);
            break;
        case XCB_MAP_NOTIFY:
        case XCB_CIRCULATE_NOTIFY:
            restacked = true;
            break;
        case XCB_DESTROY_NOTIFY:
            std::erase(stack, reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
            break;
        case XCB_REPARENT_NOTIFY: {
            const auto& reparent = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
            std::erase(stack, reparent.window);
            if (reparent.parent != root) break;
            stack.push_back(reparent.window);
            restacked = true;
            break;
        }
        default:
            break;
    }
}

void XDesktopWatch::drain() {
    xcb_connection_t* const c = connection.get();
    // Asking the server, as callbacks may, can bring further events along: only an empty queue ends this.
    for (;;) {
        while (const auto event = owned(xcb_poll_for_event(c)))
            note(*event);
        if (xcb_connection_has_error(c) != 0) {
            // A dead descriptor is readable for ever.
            notifier->setEnabled(false);
            return;
        }
        if (compositingChanged) {
            compositingChanged = false;
            const bool now = ownsCompositing();
            if (now != composited) {
                composited = now;
                if (onCompositingChanged) onCompositingChanged();
            }
        } else if (restacked) {
            restacked = false;
            if (onRestacked) onRestacked();
        } else {
            return;
        }
    }
}

bool XDesktopWatch::isProgramInFrontOf(const std::vector<std::uint32_t>& windows) {
    xcb_connection_t* const c = connection.get();
    const auto tree = owned(xcb_query_tree_reply(c, xcb_query_tree(c, root), nullptr));
    // The answer may have brought events along that no descriptor will announce any more.
    QTimer::singleShot(0, notifier.get(), [this] { drain(); });
    if (!tree) return false;
    const std::vector<xcb_window_t> now = childrenIn(*tree); // bottom up
    const auto isAsked = [&](xcb_window_t each) { return std::ranges::find(windows, each) != windows.end(); };
    const auto lowest = std::ranges::find_if(now, isAsked);
    if (lowest == now.end()) return false;
    std::vector<xcb_window_t> inFront;
    std::copy_if(lowest, now.end(), std::back_inserter(inFront), [&](xcb_window_t each) { return !isAsked(each); });
    return !inFront.empty() && anyManaged(visibleOf(inFront));
}

std::vector<xcb_window_t> XDesktopWatch::visibleOf(const std::vector<xcb_window_t>& windows) const {
    xcb_connection_t* const c = connection.get();
    std::vector<xcb_get_window_attributes_cookie_t> cookies;
    cookies.reserve(windows.size());
    for (const xcb_window_t each : windows)
        cookies.push_back(xcb_get_window_attributes(c, each));
    std::vector<xcb_window_t> visible;
    for (std::size_t i = 0; i < windows.size(); ++i) {
        const auto reply = owned(xcb_get_window_attributes_reply(c, cookies[i], nullptr));
        if (reply && reply->map_state == XCB_MAP_STATE_VIEWABLE && reply->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT)
            visible.push_back(windows[i]);
    }
    return visible;
}

// Whatever a window manager has taken into its care carries its state, itself or within its frame.
bool XDesktopWatch::anyManaged(std::vector<xcb_window_t> windows) const {
    xcb_connection_t* const c = connection.get();
    for (int level = 0; level < deepestProgramWindow && !windows.empty(); ++level) {
        std::vector<xcb_get_property_cookie_t> states;
        std::vector<xcb_query_tree_cookie_t> trees;
        for (const xcb_window_t each : windows) {
            states.push_back(xcb_get_property(c, 0, each, managedState, XCB_GET_PROPERTY_TYPE_ANY, 0, 0));
            trees.push_back(xcb_query_tree(c, each));
        }
        bool found = false;
        std::vector<xcb_window_t> below;
        for (std::size_t i = 0; i < windows.size(); ++i) {
            const auto state = owned(xcb_get_property_reply(c, states[i], nullptr));
            const auto tree = owned(xcb_query_tree_reply(c, trees[i], nullptr));
            found = found || (state && state->type != XCB_NONE);
            if (!tree) continue;
            const auto children = childrenIn(*tree);
            below.insert(below.end(), children.begin(), children.end());
        }
        if (found) return true;
        windows = std::move(below);
    }
    return false;
}

} // namespace quillet
