#include "platform/x11/WindowQuery.h"

#include "platform/x11/windowFacts.h"

#include <xcb/shape.h>

#include <algorithm>

namespace quillet {

namespace {

/// Answers wait in the library until they are read: no more at a time than this.
constexpr std::size_t batch = 512;

struct Asked {
    xcb_get_window_attributes_cookie_t attributes;
    xcb_get_geometry_cookie_t geometry;
    xcb_shape_query_extents_cookie_t extents;
    xcb_shape_get_rectangles_cookie_t shape;
    xcb_get_property_cookie_t opacity;
};

Asked ask(xcb_connection_t* c, std::uint32_t window, xcb_atom_t opacity) {
    constexpr std::uint8_t keep = 0;
    return {xcb_get_window_attributes(c, window), xcb_get_geometry(c, window), xcb_shape_query_extents(c, window),
            xcb_shape_get_rectangles(c, window, XCB_SHAPE_SK_BOUNDING),
            xcb_get_property(c, keep, window, opacity, XCB_ATOM_CARDINAL, 0, 1)};
}

std::optional<StackedWindow> answer(xcb_connection_t* c, std::uint32_t window, const Asked& asked) {
    const auto attributes = owned(xcb_get_window_attributes_reply(c, asked.attributes, nullptr));
    const auto geometry = owned(xcb_get_geometry_reply(c, asked.geometry, nullptr));
    const auto extents = owned(xcb_shape_query_extents_reply(c, asked.extents, nullptr));
    const auto shape = owned(xcb_shape_get_rectangles_reply(c, asked.shape, nullptr));
    const auto opacity = owned(xcb_get_property_reply(c, asked.opacity, nullptr));
    return windowFacts(window, {attributes.get(), geometry.get(), extents.get(), shape.get(), opacity.get()});
}

} // namespace

WindowQuery::WindowQuery(const XConnection& server)
    : connection(server), opacity(server.atoms({"_NET_WM_WINDOW_OPACITY"}).front()) {}

std::vector<std::optional<StackedWindow>> WindowQuery::facts(const std::vector<std::uint32_t>& windows) const {
    std::vector<std::optional<StackedWindow>> result;
    result.reserve(windows.size());
    for (std::size_t first = 0; first < windows.size(); first += batch) {
        const std::size_t last = std::min(first + batch, windows.size());
        std::vector<Asked> asked;
        for (std::size_t i = first; i < last; ++i)
            asked.push_back(ask(connection.xcb(), windows[i], opacity));
        for (std::size_t i = first; i < last; ++i)
            result.push_back(answer(connection.xcb(), windows[i], asked[i - first]));
    }
    return result;
}

std::vector<std::optional<WindowQuery::Family>> WindowQuery::families(const std::vector<std::uint32_t>& windows) const {
    std::vector<std::optional<Family>> result;
    result.reserve(windows.size());
    for (std::size_t first = 0; first < windows.size(); first += batch) {
        const std::size_t last = std::min(first + batch, windows.size());
        std::vector<xcb_query_tree_cookie_t> asked;
        for (std::size_t i = first; i < last; ++i)
            asked.push_back(xcb_query_tree(connection.xcb(), windows[i]));
        for (const xcb_query_tree_cookie_t cookie : asked) {
            const auto reply = owned(xcb_query_tree_reply(connection.xcb(), cookie, nullptr));
            if (!reply) {
                result.emplace_back();
                continue;
            }
            const xcb_window_t* children = xcb_query_tree_children(reply.get());
            const auto count = static_cast<std::size_t>(xcb_query_tree_children_length(reply.get()));
            result.push_back(Family{reply->parent, {children, children + count}, cookie.sequence});
        }
    }
    return result;
}

} // namespace quillet
