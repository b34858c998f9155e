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
    // What was announced before the last answer is in it.
    if (static_cast<std::int32_t>(event.full_sequence - askedBy) >= 0) announced = true;
    return true;
}

void DamageCollector::request(Windows windows) {
    const bool mustCompose = windows == Windows::mayBeAhead && damage != 0;
    wasAsked = announced || mustCompose;
    if (!wasAsked) return;
    announced = false;
    if (mustCompose) {
        // Whoever reads the root's pixels, even one, reads them with all that windows show.
        constexpr std::uint32_t allPlanes = ~0U;
        const auto pixel =
            xcb_get_image(connection.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.root(), 0, 0, 1, 1, allPlanes);
        xcb_discard_reply(connection.xcb(), pixel.sequence);
    }
    askedBy = xcb_damage_subtract(connection.xcb(), damage, XCB_NONE, parts).sequence;
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
