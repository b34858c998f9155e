#include "platform/x11/DamageCollector.h"

#include "platform/x11/regions.h"

namespace quillet {

DamageCollector::DamageCollector(const XConnection& server) : connection(server) {
    if (!connection.damage.present) {
        noteFallback("the X server has no DAMAGE; the whole screen is compared for every frame.");
        return;
    }
    damage = xcb_generate_id(connection.xcb());
    xcb_damage_create(connection.xcb(), damage, connection.root(), XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    if (!connection.fixes.present) return;
    parts = xcb_generate_id(connection.xcb());
    xcb_xfixes_create_region(connection.xcb(), parts, 0, nullptr);
}

DamageCollector::~DamageCollector() {
    if (parts) xcb_xfixes_destroy_region(connection.xcb(), parts);
    if (damage) xcb_damage_destroy(connection.xcb(), damage);
}

bool DamageCollector::handleEvent(const xcb_generic_event_t& event) {
    if (!damage || (event.response_type & 0x7f) != connection.damage.firstEvent + XCB_DAMAGE_NOTIFY) return false;
    if (reinterpret_cast<const xcb_damage_notify_event_t&>(event).damage != damage) return false;
    announced = true;
    return true;
}

void DamageCollector::request() {
    wasAsked = announced;
    if (!announced) return;
    announced = false;
    xcb_damage_subtract(connection.xcb(), damage, XCB_NONE, parts);
    if (parts) asked = xcb_xfixes_fetch_region(connection.xcb(), parts);
}

QRegion DamageCollector::collect(const QRect& area) {
    if (mustPoll()) return area;
    if (!wasAsked) return {};
    wasAsked = false;
    if (!asked) return area;
    const auto reply = owned(xcb_xfixes_fetch_region_reply(connection.xcb(), *asked, nullptr));
    asked.reset();
    if (!reply) return {};
    return regionOf(xcb_xfixes_fetch_region_rectangles(reply.get()),
                    static_cast<std::size_t>(xcb_xfixes_fetch_region_rectangles_length(reply.get()))) &
           area;
}

} // namespace quillet
