#include "platform/x11/XThemeWatch.h"

#include "platform/x11/xsettings.h"

#include <QTimer>
#include <span>

#include <array>
#include <utility>

namespace quillet {

namespace {

/// In units of four bytes; desktops have a few kilobytes of settings.
constexpr std::uint32_t longestProperty = 256 * 1024;

} // namespace

std::unique_ptr<XThemeWatch> XThemeWatch::make(const std::string& displayName) {
    int number = 0;
    std::unique_ptr<XThemeWatch> watch(new XThemeWatch);
    watch->connection.reset(xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), &number));
    xcb_connection_t* const c = watch->connection.get();
    if (xcb_connection_has_error(c) != 0) return nullptr;
    xcb_screen_iterator_t screen = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < number && screen.rem > 1; ++i)
        xcb_screen_next(&screen);
    watch->root = screen.data->root;

    const std::array<std::string, 3> names{"_XSETTINGS_S" + std::to_string(number), "MANAGER", "_XSETTINGS_SETTINGS"};
    std::array<xcb_intern_atom_cookie_t, 3> cookies{};
    for (std::size_t i = 0; i < names.size(); ++i)
        cookies[i] = xcb_intern_atom(c, 0, static_cast<std::uint16_t>(names[i].size()), names[i].data());
    const std::array<xcb_atom_t*, 3> atoms{&watch->selection, &watch->announcement, &watch->property};
    for (std::size_t i = 0; i < names.size(); ++i)
        if (const auto reply = owned(xcb_intern_atom_reply(c, cookies[i], nullptr))) *atoms[i] = reply->atom;

    // A new manager announces itself to whoever listens for the root window's structure.
    const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, watch->root, XCB_CW_EVENT_MASK, &mask);
    watch->findManager();
    watch->name = watch->readName();
    watch->notifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(c), QSocketNotifier::Read);
    QObject::connect(watch->notifier.get(), &QSocketNotifier::activated, watch->notifier.get(),
                     [self = watch.get()] { self->drain(); });
    // The answers may have brought events along that no descriptor will announce any more.
    QTimer::singleShot(0, watch->notifier.get(), [self = watch.get()] { self->drain(); });
    return watch;
}

void XThemeWatch::findManager() {
    xcb_connection_t* const c = connection.get();
    const auto reply = owned(xcb_get_selection_owner_reply(c, xcb_get_selection_owner(c, selection), nullptr));
    manager = reply ? reply->owner : XCB_NONE;
    if (manager == XCB_NONE) return;
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, manager, XCB_CW_EVENT_MASK, &mask);
}

std::string XThemeWatch::readName() const {
    if (manager == XCB_NONE) return {};
    xcb_connection_t* const c = connection.get();
    const auto reply = owned(
        xcb_get_property_reply(c, xcb_get_property(c, 0, manager, property, property, 0, longestProperty), nullptr));
    if (!reply || reply->format != 8) return {};
    const std::span content(static_cast<const std::uint8_t*>(xcb_get_property_value(reply.get())),
                            static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    return xsettingsText(content, "Net/ThemeName").value_or(std::string());
}

bool XThemeWatch::concernsUs(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7f) {
        case XCB_CLIENT_MESSAGE: {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
            if (message.type != announcement || message.data.data32[1] != selection) return false;
            findManager();
            return true;
        }
        case XCB_DESTROY_NOTIFY:
            if (reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window != manager) return false;
            findManager();
            return true;
        case XCB_PROPERTY_NOTIFY: {
            const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            return change.window == manager && change.atom == property;
        }
        default:
            return false;
    }
}

void XThemeWatch::drain() {
    xcb_connection_t* const c = connection.get();
    // Asking the server can bring further events along: only an empty queue ends this.
    for (bool isNew = true; isNew;) {
        isNew = false;
        while (const auto event = owned(xcb_poll_for_event(c)))
            isNew = concernsUs(*event) || isNew;
        if (xcb_connection_has_error(c) != 0) {
            // A dead descriptor is readable for ever.
            notifier->setEnabled(false);
            return;
        }
        if (!isNew) return;
        std::string now = readName();
        if (now != name) {
            name = std::move(now);
            if (onChange) onChange();
        }
    }
}

} // namespace quillet
