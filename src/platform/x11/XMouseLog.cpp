#include "platform/x11/XMouseLog.h"

#include <QGuiApplication>
#include <xcb/xinput.h>

#include <algorithm>

namespace quillet {

namespace {

std::optional<MouseLog::Event> eventOf(int input) {
    switch (input) {
        case XCB_INPUT_BUTTON_PRESS:
            return MouseLog::Event::press;
        case XCB_INPUT_BUTTON_RELEASE:
            return MouseLog::Event::release;
        case XCB_INPUT_MOTION:
            return MouseLog::Event::motion;
        default:
            return std::nullopt;
    }
}

/// The pixel that a place with 16 binary places lies in.
int pixelOf(xcb_input_fp1616_t place) { return place >> 16; }

} // namespace

XMouseLog::XMouseLog() { qGuiApp->installNativeEventFilter(this); }

bool XMouseLog::nativeEventFilter(const QByteArray& /*eventType*/, void* message, qintptr* /*result*/) {
    const auto* const event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
        case XCB_GE_GENERIC: {
            // Of the extensions with events of this kind the toolkit asks only the one for input.
            const auto& input = *reinterpret_cast<const xcb_input_button_press_event_t*>(event);
            if (const auto kind = eventOf(input.event_type))
                note({*kind, input.time, {pixelOf(input.root_x), pixelOf(input.root_y)}});
            break;
        }
        case XCB_BUTTON_PRESS:
        case XCB_BUTTON_RELEASE:
        case XCB_MOTION_NOTIFY: {
            // From servers without that extension; the three have the same form.
            const auto& core = *reinterpret_cast<const xcb_button_press_event_t*>(event);
            const int type = event->response_type & 0x7f;
            const Event kind = type == XCB_BUTTON_PRESS     ? Event::press
                               : type == XCB_BUTTON_RELEASE ? Event::release
                                                            : Event::motion;
            note({kind, core.time, {core.root_x, core.root_y}});
            break;
        }
        default:
            break;
    }
    return false;
}

void XMouseLog::note(const Entry& entry) {
    entries[next] = entry;
    next = (next + 1) % entries.size();
    count = std::min(count + 1, entries.size());
}

std::optional<QPoint> XMouseLog::pixelAt(Event event, std::uint64_t timestamp) const {
    for (std::size_t age = 1; age <= count; ++age) {
        const Entry& entry = entries[(next + entries.size() - age) % entries.size()];
        if (entry.event == event && entry.time == static_cast<std::uint32_t>(timestamp)) return entry.pixel;
    }
    return std::nullopt;
}

} // namespace quillet
