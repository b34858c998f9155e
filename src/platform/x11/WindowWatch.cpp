#include "platform/x11/WindowWatch.h"

#include "platform/x11/regions.h"

#include <xcb/shape.h>

#include <algorithm>

namespace quillet {

namespace {

/// A frame, a container in it, and the client: window managers go no deeper.
constexpr int deepestClient = 3;

constexpr std::uint8_t sentByProgram = 0x80;

bool isOlder(std::uint32_t sequence, std::uint32_t than) { return static_cast<std::int32_t>(sequence - than) < 0; }

PixelRect outerRect(int x, int y, int width, int height, int border) {
    return {x, y, width + 2 * border, height + 2 * border};
}

} // namespace

WindowWatch::WindowWatch(const XConnection& server, WindowDamage& windowDamage, Ours whose)
    : connection(server), damage(windowDamage), query(server), ours(std::move(whose)),
      self(XClientResources::of(server.xcb())),
      wallpaperAtoms(server.atoms({"_XROOTPMAP_ID", "ESETROOT_PMAP_ID", "_XSETROOT_ID"})) {}

bool WindowWatch::isOurs(std::uint32_t window) const {
    return ours.listed.contains(window) ||
           std::ranges::any_of(ours.clients, [&](const XClientResources& client) { return client.owns(window); });
}

bool WindowWatch::isIgnored(std::uint32_t window) const {
    const bool isTheServers = (window & ~self.mask) == 0;
    return isTheServers || self.owns(window);
}

void WindowWatch::markUnknown(std::uint32_t window) {
    const StackedWindow* const known = windows.find(window);
    if (known) (known->isMapped ? urgent : unknown).insert(window);
}

void WindowWatch::beginWatching(std::uint32_t window) {
    damage.watch(window);
    xcb_connection_t* const c = connection.xcb();
    constexpr std::uint8_t yes = 1;
    xcb_shape_select_input(c, window, yes);
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(c, window, XCB_CW_EVENT_MASK, &mask);
}

void WindowWatch::watchInside(std::uint32_t window) {
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(connection.xcb(), window, XCB_CW_EVENT_MASK, &mask);
}

void WindowWatch::moveInside(std::uint32_t window) {
    const StackedWindow* const known = windows.find(window);
    if (known && known->isMapped && onMoved) onMoved(window);
}

void WindowWatch::start() {
    const auto root = query.families({connection.root()}).front();
    if (!root) return; // lost, which the caller sees
    startedAt = root->sequence;
    std::vector<std::uint32_t> ids = root->children;
    std::erase_if(ids, [this](std::uint32_t id) { return isIgnored(id); });
    for (const std::uint32_t id : ids)
        beginWatching(id);
    for (std::optional<StackedWindow>& facts : query.facts(ids))
        if (facts) {
            facts->isOwn = isOurs(facts->id);
            windows.add(*facts);
        }
    findFrames(ids);
}

void WindowWatch::findFrames(const std::vector<std::uint32_t>& candidates) {
    // Each window inside a candidate, with the candidate it stands in.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> level;
    for (const std::uint32_t id : candidates)
        if (!isOurs(id)) level.emplace_back(id, id);
    for (int depth = 0; depth < deepestClient && !level.empty(); ++depth) {
        std::vector<std::uint32_t> ids;
        ids.reserve(level.size());
        for (const auto& [id, top] : level)
            ids.push_back(id);
        const auto families = query.families(ids);
        std::vector<std::pair<std::uint32_t, std::uint32_t>> next;
        for (std::size_t i = 0; i < level.size(); ++i) {
            if (!families[i]) continue;
            for (const std::uint32_t child : families[i]->children)
                if (isOurs(child))
                    windows.makeOwn(level[i].second);
                else
                    next.emplace_back(child, level[i].second);
        }
        level = std::move(next);
    }
}

void WindowWatch::climb(std::uint32_t window) {
    for (int depth = 0; depth <= deepestClient; ++depth) {
        const auto family = query.families({window}).front();
        if (!family || family->parent == 0) return;
        if (family->parent == connection.root()) return windows.makeOwn(window);
        window = family->parent;
    }
}

void WindowWatch::add(StackedWindow window) {
    if (isIgnored(window.id)) return;
    window.isOwn = isOurs(window.id);
    windows.add(window);
    beginWatching(window.id);
    markUnknown(window.id);
}

void WindowWatch::remove(std::uint32_t window) {
    if (onEnd) onEnd(window);
    windows.remove(window);
    damage.forget(window);
    unknown.erase(window);
    urgent.erase(window);
}

void WindowWatch::setMapped(std::uint32_t window, bool isMapped) {
    const StackedWindow* const known = windows.find(window);
    if (!known || known->isMapped == isMapped) return;
    windows.setMapped(window, isMapped);
    if (!isMapped) {
        if (onEnd) onEnd(window);
        damage.drop(window);
        return;
    }
    if (unknown.erase(window) > 0) urgent.insert(window);
    beginAll(window);
}

void WindowWatch::beginAll(std::uint32_t window) {
    const PixelRect& outer = windows.find(window)->outer;
    // Where the size is not known yet, this is called again.
    if (onBeginning && !outer.isEmpty()) onBeginning(window, QRegion(0, 0, outer.width, outer.height));
}

void WindowWatch::configure(const xcb_configure_notify_event_t& event) {
    const StackedWindow* const window = windows.find(event.window);
    if (!window) return;
    const PixelRect outer = outerRect(event.x, event.y, event.width, event.height, event.border_width);
    const bool resized = outer.width != window->outer.width || outer.height != window->outer.height ||
                         event.border_width != window->border;
    // Such a window's pixels stay where they were, counted from its corner.
    const QRect kept = window->keepsPixels ? QRect(0, 0, window->outer.width, window->outer.height) : QRect();
    const bool hasMask = window->isKnown && window->shape != QRegion(0, 0, window->outer.width, window->outer.height);
    windows.configure(event.window, {outer, event.border_width, event.above_sibling});
    if (onMoved && window->isMapped) onMoved(event.window);
    if (!resized) return;
    if (hasMask) markUnknown(event.window);
    if (onResized) onResized(event.window);
    if (window->isMapped && onBeginning)
        onBeginning(event.window, QRegion(0, 0, outer.width, outer.height) - QRegion(kept));
}

void WindowWatch::reparent(const xcb_reparent_notify_event_t& event) {
    if (event.parent == connection.root()) {
        StackedWindow window;
        window.id = event.window;
        window.outer = {event.x, event.y, 0, 0}; // its size comes with the facts
        return add(window);
    }
    remove(event.window);
    if (!isOurs(event.window)) return;
    // This comes before the frame is mapped.
    if (windows.find(event.parent))
        windows.makeOwn(event.parent);
    else
        reparented.push_back(event.window);
}

bool WindowWatch::handleEvent(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (connection.shape.present && type == connection.shape.firstEvent + XCB_SHAPE_NOTIFY) {
        const auto& notice = reinterpret_cast<const xcb_shape_notify_event_t&>(event);
        if (notice.shape_kind == XCB_SHAPE_SK_BOUNDING) markUnknown(notice.affected_window);
        return true;
    }
    // Programs may send what looks like news of windows; the server's own carries no such mark.
    if ((event.response_type & sentByProgram) != 0 || type == 0) return false;
    const bool isOld = isOlder(event.full_sequence, startedAt);
    switch (type) {
        case XCB_CREATE_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_create_notify_event_t&>(event);
            if (isOld || notice.parent != connection.root()) return true;
            StackedWindow window;
            window.id = notice.window;
            window.border = notice.border_width;
            window.outer = outerRect(notice.x, notice.y, notice.width, notice.height, notice.border_width);
            add(window);
            return true;
        }
        case XCB_DESTROY_NOTIFY:
            if (!isOld) remove(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
            return true;
        case XCB_MAP_NOTIFY:
            if (!isOld) setMapped(reinterpret_cast<const xcb_map_notify_event_t&>(event).window, true);
            return true;
        case XCB_UNMAP_NOTIFY:
            if (!isOld) setMapped(reinterpret_cast<const xcb_unmap_notify_event_t&>(event).window, false);
            return true;
        case XCB_REPARENT_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_reparent_notify_event_t&>(event);
            if (!isOld && notice.event == connection.root()) reparent(notice);
            return true;
        }
        case XCB_CONFIGURE_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_configure_notify_event_t&>(event);
            if (notice.window == connection.root()) return false;
            if (isOld) return true;
            if (notice.event == connection.root())
                configure(notice);
            else
                moveInside(notice.event);
            return true;
        }
        case XCB_GRAVITY_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_gravity_notify_event_t&>(event);
            const StackedWindow* const window = windows.find(notice.window);
            if (isOld) return true;
            if (notice.event != connection.root())
                moveInside(notice.event);
            else if (window)
                windows.setPlace(notice.window, {notice.x, notice.y, window->outer.width, window->outer.height},
                                 window->border);
            return true;
        }
        case XCB_CIRCULATE_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_circulate_notify_event_t&>(event);
            if (isOld) return true;
            if (notice.place == XCB_PLACE_ON_TOP)
                windows.raise(notice.window);
            else
                windows.lower(notice.window);
            return true;
        }
        case XCB_PROPERTY_NOTIFY: {
            const auto& notice = reinterpret_cast<const xcb_property_notify_event_t&>(event);
            if (notice.window == connection.root())
                wallpaperNews = wallpaperNews || std::ranges::find(wallpaperAtoms, notice.atom) != wallpaperAtoms.end();
            else if (notice.atom == query.opacityAtom())
                markUnknown(notice.window);
            return true;
        }
        default:
            return false;
    }
}

void WindowWatch::refresh() {
    if (!urgent.empty()) {
        const std::vector<std::uint32_t> ids(urgent.begin(), urgent.end());
        urgent.clear();
        for (const std::optional<StackedWindow>& facts : query.facts(ids)) {
            if (!facts) continue; // gone, of which an event will tell
            const StackedWindow* const window = windows.find(facts->id);
            if (window && window->outer.isEmpty()) {
                windows.setPlace(facts->id, facts->outer, facts->border);
                if (window->isMapped) beginAll(facts->id);
            }
            windows.learn(*facts);
        }
    }
    const std::vector<std::uint32_t> climbing = std::move(reparented);
    reparented.clear();
    for (const std::uint32_t window : climbing)
        climb(window);
}

bool WindowWatch::takeWallpaperNews() {
    const bool news = wallpaperNews;
    wallpaperNews = false;
    return news;
}

} // namespace quillet
