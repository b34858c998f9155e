#include "tests/fakes/x11/WindowTrack.h"

namespace quillet::testing {

WindowTrack::WindowTrack(xcb_window_t watched) : connection(xcb_connect(nullptr, nullptr)), window(watched) {
    xcb_connection_t* const xcb = connection.get();
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(xcb)).data;
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    waker = xcb_generate_id(xcb);
    xcb_create_window(xcb, 0, waker, screen->root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      XCB_CW_EVENT_MASK, &events);
    xcb_change_window_attributes(xcb, window, XCB_CW_EVENT_MASK, &events);
    // What changes from here on is told.
    if (const auto place = owned(xcb_get_geometry_reply(xcb, xcb_get_geometry(xcb, window), nullptr)))
        note({place->x, place->y, place->width, place->height});
    listener = std::thread([this] { listen(); });
}

WindowTrack::~WindowTrack() {
    xcb_destroy_window(connection.get(), waker);
    xcb_flush(connection.get());
    listener.join();
}

void WindowTrack::listen() {
    while (const auto event = owned(xcb_wait_for_event(connection.get()))) {
        const int kind = event->response_type & 0x7f;
        if (kind == XCB_DESTROY_NOTIFY && reinterpret_cast<const xcb_destroy_notify_event_t&>(*event).window == waker)
            return;
        if (kind != XCB_CONFIGURE_NOTIFY) continue;
        const auto& place = reinterpret_cast<const xcb_configure_notify_event_t&>(*event);
        if (place.window == window) note({place.x, place.y, place.width, place.height});
    }
}

void WindowTrack::note(const PixelRect& rect) {
    const std::lock_guard guard(mutex);
    if (!seen.empty() && seen.back().rect == rect) return;
    seen.push_back({std::chrono::steady_clock::now().time_since_epoch(), rect});
}

std::vector<WindowTrack::Place> WindowTrack::places() const {
    const std::lock_guard guard(mutex);
    return seen;
}

} // namespace quillet::testing
