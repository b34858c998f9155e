#include "platform/Screens.h"

#include "platform/x11/xcbHandles.h"

#include <QGuiApplication>
#include <QScreen>
#include <xcb/randr.h>

namespace quillet {

namespace {

MonitorSource monitorSource(xcb_connection_t* connection) {
    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection, &xcb_randr_id);
    if (!extension || !extension->present) return MonitorSource::wholeRoot;
    const auto version =
        owned(xcb_randr_query_version_reply(connection, xcb_randr_query_version(connection, 1, 5), nullptr));
    const bool knowsMonitors = version && (version->major_version > 1 || version->minor_version >= 5);
    return knowsMonitors ? MonitorSource::randr : MonitorSource::wholeRoot;
}

// The X screen's root is that of the first screen: the toolkit serves no other since screens are RandR's monitors.
std::vector<XMonitor> xMonitors(xcb_connection_t* connection) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    return listMonitors(connection, root, monitorSource(connection));
}

} // namespace

ScreenArrangement currentScreens() {
    std::vector<ToolkitScreen> screens;
    for (const QScreen* screen : QGuiApplication::screens())
        screens.push_back({screen->name().toStdString(), screen->geometry(), screen->availableGeometry(),
                           screen->devicePixelRatio()});

    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 && x11->connection()) return arrangeScreens(screens, xMonitors(x11->connection()));

    ScreenArrangement arrangement = arrangeScreens(screens, {});
    std::uint32_t number = 0;
    for (Screen& screen : arrangement.list.screens)
        screen.displayID = ++number;
    return arrangement;
}

} // namespace quillet
