#include "platform/x11/DamageCollector.h"

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
    announced = true;
    return true;
}

PixelRegion DamageCollector::take(const PixelRect& area) {
    PixelRegion result = std::move(extra);
    extra.clear();
    if (mustPoll()) {
        result.add(area);
    } else if (announced) {
        announced = false;
        xcb_damage_subtract(connection.xcb(), damage, XCB_NONE, parts);
        if (parts) {
            const auto reply = owned(xcb_xfixes_fetch_region_reply(
                connection.xcb(), xcb_xfixes_fetch_region(connection.xcb(), parts), nullptr));
            if (reply) {
                const xcb_rectangle_t* rects = xcb_xfixes_fetch_region_rectangles(reply.get());
                for (int i = 0; i < xcb_xfixes_fetch_region_rectangles_length(reply.get()); ++i)
                    result.add(PixelRect{rects[i].x, rects[i].y, rects[i].width, rects[i].height}.intersection(area));
            }
        } else {
            result.add(area);
        }
    }
    result.clipTo(area);
    return result;
}

} // namespace quillet
