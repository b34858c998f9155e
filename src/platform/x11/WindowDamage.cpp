#include "platform/x11/WindowDamage.h"

#include "platform/x11/regions.h"

#include <utility>

namespace quillet {

WindowDamage::WindowDamage(const XConnection& server) : connection(server) {}

WindowDamage::~WindowDamage() {
    for (const auto& [window, watch] : watches)
        xcb_damage_destroy(connection.xcb(), watch.damage);
    for (const xcb_xfixes_region_t region : spare)
        xcb_xfixes_destroy_region(connection.xcb(), region);
}

void WindowDamage::watch(std::uint32_t window) {
    forget(window);
    const xcb_damage_damage_t damage = xcb_generate_id(connection.xcb());
    const std::uint32_t begunBy =
        xcb_damage_create(connection.xcb(), damage, window, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY).sequence;
    // A window that can be seen already is announced, as drawn, all of it. What it shows is of no interest; that it is
    // there is.
    xcb_damage_subtract(connection.xcb(), damage, XCB_NONE, XCB_NONE);
    watches.emplace(window, Watch{damage, begunBy});
}

void WindowDamage::forget(std::uint32_t window) {
    watches.erase(window);
    flagged.erase(window);
}

bool WindowDamage::handleEvent(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != connection.damage.firstEvent + XCB_DAMAGE_NOTIFY) return false;
    const auto& notice = reinterpret_cast<const xcb_damage_notify_event_t&>(event);
    const auto found = watches.find(notice.drawable);
    if (found == watches.end() || found->second.damage != notice.damage) return false;
    // What was announced before the last answer is in it.
    if (static_cast<std::int32_t>(event.full_sequence - found->second.answeredBy) >= 0) flagged.insert(notice.drawable);
    return true;
}

void WindowDamage::drop(std::uint32_t window) {
    const auto found = watches.find(window);
    if (found == watches.end()) return;
    flagged.erase(window);
    found->second.answeredBy = xcb_damage_subtract(connection.xcb(), found->second.damage, XCB_NONE, XCB_NONE).sequence;
}

void WindowDamage::request(const std::vector<std::uint32_t>& windows) {
    xcb_connection_t* const c = connection.xcb();
    for (const std::uint32_t window : windows) {
        const auto found = watches.find(window);
        if (found == watches.end()) continue;
        flagged.erase(window);
        if (spare.size() == asked.size()) {
            spare.push_back(xcb_generate_id(c));
            xcb_xfixes_create_region(c, spare.back(), 0, nullptr);
        }
        const xcb_xfixes_region_t parts = spare[asked.size()];
        found->second.answeredBy = xcb_damage_subtract(c, found->second.damage, XCB_NONE, parts).sequence;
        asked.emplace_back(window, xcb_xfixes_fetch_region(c, parts));
    }
}

std::vector<std::pair<std::uint32_t, QRegion>> WindowDamage::collect() {
    std::vector<std::pair<std::uint32_t, QRegion>> drawn;
    for (const auto& [window, cookie] : asked) {
        const auto reply = owned(xcb_xfixes_fetch_region_reply(connection.xcb(), cookie, nullptr));
        if (!reply) continue;
        QRegion part = regionOf(xcb_xfixes_fetch_region_rectangles(reply.get()),
                                static_cast<std::size_t>(xcb_xfixes_fetch_region_rectangles_length(reply.get())));
        if (!part.isEmpty()) drawn.emplace_back(window, std::move(part));
    }
    asked.clear();
    return drawn;
}

} // namespace quillet
