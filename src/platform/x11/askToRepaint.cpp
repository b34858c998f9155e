#include "platform/x11/askToRepaint.h"

#include "platform/x11/WindowQuery.h"

namespace quillet {

namespace {

void clear(const XConnection& connection, std::uint32_t window, const QRegion& part) {
    constexpr std::uint8_t withExposures = 1;
    for (const QRect& rect : part)
        xcb_clear_area(connection.xcb(), withExposures, window, static_cast<std::int16_t>(rect.x()),
                       static_cast<std::int16_t>(rect.y()), static_cast<std::uint16_t>(rect.width()),
                       static_cast<std::uint16_t>(rect.height()));
}

} // namespace

void askToRepaint(const XConnection& connection, const StackedWindow& window, const QRegion& part) {
    xcb_connection_t* const c = connection.xcb();
    clear(connection, window.id, part.translated(-window.border, -window.border));
    // Windows of toolkits are seldom nested deeper; what is missed comes with the program's next repaint.
    constexpr int deepest = 4;
    struct Inner {
        std::uint32_t id;
        QRegion part; // counted from inside its border
    };
    std::vector<Inner> level{{window.id, part.translated(-window.border, -window.border)}};
    const WindowQuery query(connection);
    for (int depth = 0; depth < deepest && !level.empty(); ++depth) {
        std::vector<std::uint32_t> ids;
        ids.reserve(level.size());
        for (const Inner& each : level)
            ids.push_back(each.id);
        const auto families = query.families(ids);
        std::vector<Inner> next;
        std::vector<xcb_get_geometry_cookie_t> asked;
        for (std::size_t i = 0; i < level.size(); ++i)
            if (families[i])
                for (const std::uint32_t child : families[i]->children) {
                    next.push_back({child, level[i].part});
                    asked.push_back(xcb_get_geometry(c, child));
                }
        for (std::size_t i = 0; i < next.size(); ++i) {
            const auto geometry = owned(xcb_get_geometry_reply(c, asked[i], nullptr));
            if (!geometry) {
                next[i].part = {};
                continue;
            }
            const int border = geometry->border_width;
            next[i].part = next[i].part.translated(-geometry->x - border, -geometry->y - border) &
                           QRect(-border, -border, geometry->width + 2 * border, geometry->height + 2 * border);
            clear(connection, next[i].id, next[i].part);
        }
        std::erase_if(next, [](const Inner& each) { return each.part.isEmpty(); });
        level = std::move(next);
    }
}

} // namespace quillet
