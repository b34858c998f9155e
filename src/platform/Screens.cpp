#include "platform/Screens.h"

#include "platform/x11/monitors.h"

#include <QGuiApplication>
#include <QScreen>

namespace quillet {

ScreenArrangement currentScreens() {
    std::vector<ToolkitScreen> screens;
    for (const QScreen* screen : QGuiApplication::screens())
        screens.push_back({screen->name().toStdString(), screen->geometry(), screen->availableGeometry(),
                           screen->devicePixelRatio()});

    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 && x11->connection()) return arrangeScreens(screens, listMonitors(x11->connection()));

    ScreenArrangement arrangement = arrangeScreens(screens, {});
    std::uint32_t number = 0;
    for (Screen& screen : arrangement.list.screens)
        screen.displayID = ++number;
    return arrangement;
}

} // namespace quillet
