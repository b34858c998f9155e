#include "platform/x11/windowFacts.h"

#include "platform/x11/regions.h"

#include <algorithm>
#include <cstddef>

namespace quillet {

namespace {

constexpr std::uint8_t alphaDepth = 32;

// The library has read as many words behind an answer's head as `length` says; other counts it has not looked at.

QRegion rectanglesIn(const xcb_shape_get_rectangles_reply_t& reply) {
    const std::size_t arrived = std::size_t{reply.length} * 4 / sizeof(xcb_rectangle_t);
    return regionOf(xcb_shape_get_rectangles_rectangles(&reply), std::min<std::size_t>(reply.rectangles_len, arrived));
}

bool isOneNumber(const xcb_get_property_reply_t& property) {
    return property.format == 32 && property.value_len >= 1 && property.length >= 1;
}

} // namespace

std::optional<StackedWindow> windowFacts(std::uint32_t window, const WindowAnswers& answers) {
    const auto& [attributes, geometry, extents, shape, opacity] = answers;
    if (!attributes || !geometry || !extents || !shape) return std::nullopt;

    StackedWindow facts;
    facts.id = window;
    facts.border = geometry->border_width;
    facts.outer = {geometry->x, geometry->y, geometry->width + 2 * facts.border, geometry->height + 2 * facts.border};
    facts.isMapped = attributes->map_state != XCB_MAP_STATE_UNMAPPED;
    facts.isKnown = true;
    facts.isDrawn = attributes->_class == XCB_WINDOW_CLASS_INPUT_OUTPUT;
    facts.keepsPixels = attributes->bit_gravity == XCB_GRAVITY_NORTH_WEST;
    facts.hasAlpha = geometry->depth == alphaDepth;
    facts.visual = attributes->visual;
    facts.shape = QRect(0, 0, facts.outer.width, facts.outer.height);
    // The list that servers give for a window without a mask lacks half of its border. Masks are counted from the
    // corner inside the border, and what reaches beyond the window is not seen.
    if (extents->bounding_shaped) facts.shape &= rectanglesIn(*shape).translated(facts.border, facts.border);
    if (opacity && isOneNumber(*opacity))
        facts.opacity = *static_cast<const std::uint32_t*>(xcb_get_property_value(opacity));
    return facts;
}

} // namespace quillet
