// XThemeWatch.h: the theme's name in an X desktop's settings.
#pragma once

#include "platform/ThemeWatch.h"
#include "platform/x11/xcbHandles.h"

#include <QSocketNotifier>
#include <xcb/xcb.h>

#include <memory>
#include <string>

namespace quillet {

/// Follows the desktop's settings manager, whichever comes or goes, on a connection of its own, so that the toolkit's
/// event masks stay the toolkit's. Threads: main.
class XThemeWatch : public ThemeWatch {
public:
    /// Null when the display cannot be reached. `displayName` is empty for the session's own.
    [[nodiscard]] static std::unique_ptr<XThemeWatch> make(const std::string& displayName = {});

    [[nodiscard]] const std::string& themeName() const override { return name; }

private:
    XThemeWatch() = default;
    void findManager();
    [[nodiscard]] std::string readName() const;
    [[nodiscard]] bool concernsUs(const xcb_generic_event_t& event);
    void drain();

    XcbConnectionHandle connection;
    xcb_window_t root = XCB_NONE;
    xcb_window_t manager = XCB_NONE;
    xcb_atom_t selection = XCB_NONE; // which a settings manager owns
    xcb_atom_t announcement = XCB_NONE;
    xcb_atom_t property = XCB_NONE;
    std::string name;
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace quillet
