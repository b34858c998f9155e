#include "platform/x11/WindowScene.h"

#include "platform/x11/askToRepaint.h"
#include "platform/x11/regions.h"

#include <algorithm>

namespace quillet {

WindowScene::WindowScene(const XConnection& server, const XScreenSourceSetup& setup,
                         const std::set<std::uint32_t>& listed)
    : connection(server), redirection(setup.redirection), formats(server), compositor(server), damage(server),
      watch(server, damage, {setup.ownClients, listed}), pixels(server, formats), wallpaper(server, formats),
      compositing(compositor.compositing()) {
    const bool late = !redirection;
    if (late) redirection = WindowRedirection::make(setup.displayName);
    watch.start();
    watch.onBeginning = [this](std::uint32_t window, const QRegion& part) { begin(window, part); };
    watch.onMoved = [this](std::uint32_t window) {
        if (tainted.partOf(window)) doubt(window);
    };
    watch.onResized = [this](std::uint32_t window) { pixels.forget(window); };
    watch.onEnd = [this](std::uint32_t window) {
        pixels.forget(window);
        tainted.forget(window);
    };
    // Others' windows that are listed were there before the program redirected anything.
    if (compositing == Compositing::byServer && (late || !listed.empty())) distrustWindowsBeneath();
    watch.forgetChanges();
}

/// Before windows were redirected, what ours hid was drawn nowhere, and their pictures began as copies of the screen.
void WindowScene::distrustWindowsBeneath() {
    QRegion hidden;
    const std::vector<std::uint32_t>& order = watch.stack().order();
    for (auto id = order.rbegin(); id != order.rend(); ++id) {
        const StackedWindow& window = *watch.stack().find(*id);
        if (!window.isVisible()) continue;
        if (window.isOwn) {
            hidden += window.place();
            continue;
        }
        const QRegion part = (hidden & window.place()).translated(-window.outer.x, -window.outer.y);
        if (part.isEmpty()) continue;
        tainted.begin(window.id, part);
        askToRepaint(connection, window, part);
    }
}

void WindowScene::show(const PixelRect& shown) {
    area = toQRect(shown);
    ground = shown.isEmpty() ? nullptr : std::make_unique<RebuiltGround>(connection, formats, shown);
    wallpaper.invalidate();
    // What is learned of a background begins with the first frame.
    (void)wallpaper.picture(compositing);
    mustCover = true;
}

bool WindowScene::handleEvent(const xcb_generic_event_t& event) {
    if (event.response_type == 0) {
        pixels.handleError(reinterpret_cast<const xcb_generic_error_t&>(event));
        return false;
    }
    if (damage.handleEvent(event) || watch.handleEvent(event)) return true;
    if (!compositor.handleEvent(event)) return false;
    if (compositor.compositing() != compositing) {
        compositing = compositor.compositing();
        // Whoever composes now draws everything anew, and until it has, the screen shows what the other one drew.
        std::vector<LeftPlace> left;
        for (const std::uint32_t id : watch.stack().order()) {
            const StackedWindow& window = *watch.stack().find(id);
            if (window.isOwn && window.isVisible())
                left.push_back({window.place(), LeftPlace::Reason::unmapped, WindowStack::mayCastShadow(window)});
        }
        own.leave(left, Compositing::byManager, Clock::now());
        mustCover = true;
        mustDistrust = true;
    }
    return true;
}

QRegion WindowScene::trace() const {
    const StackChanges& news = watch.stack().changes();
    QRegion all = own.trace(watch.stack(), compositing) + news.ownPlaces;
    for (const LeftPlace& left : news.left)
        all += left.place;
    return all;
}

void WindowScene::begin(std::uint32_t id, const QRegion& fresh) {
    const StackedWindow& window = *watch.stack().find(id);
    if (window.isOwn) return;
    // Borders are the server's own work, and there from the beginning.
    const int border = window.border;
    const QRegion inside(border, border, window.outer.width - 2 * border, window.outer.height - 2 * border);
    QRegion part = (trace() & window.place()).translated(-window.outer.x, -window.outer.y) & fresh & inside;
    // What it keeps of itself it keeps as it is; where nobody knows where to, it may be anywhere.
    if (const QRegion* before = tainted.partOf(id))
        part += (inside - fresh).isEmpty() ? inside : (*before - fresh) & inside;
    tainted.begin(id, part);
    if (part.isEmpty()) return;
    doubt(id);
}

/// The server reports copies that it makes itself as drawn: of the screen into a new window, and of a window that
/// moves, or that moves within its frame. What the program may have drawn by now is lost along with that report, so it
/// is asked to draw again; this early in a window's life nobody sees it.
void WindowScene::doubt(std::uint32_t id) {
    mustCover = true;
    damage.drop(id);
    std::erase_if(drawn, [&](const auto& each) { return each.first == id; });
    watch.watchInside(id);
    askToRepaint(connection, *watch.stack().find(id), *tainted.partOf(id));
}

bool WindowScene::isPending(const CoveredMemory& memory, Whose whose) const {
    if (!memory.isCurrent() || mustCover || mustDistrust || watch.needsRefresh() || watch.stack().changes().any)
        return true;
    if (whose == Whose::all && isOwnRepaintPending()) return true;
    if (const auto next = nextExpiry(); next && *next <= Clock::now()) return true;
    return std::ranges::any_of(damage.announced(), [&](std::uint32_t id) {
        const StackedWindow* const window = watch.stack().find(id);
        return window && window->isVisible() && !window->isOwn &&
               (memory.covered().intersects(toQRect(window->outer)) || tainted.partOf(id));
    });
}

bool WindowScene::isOwnRepaintPending() const {
    return ownRepainted || std::ranges::any_of(damage.announced(), [&](std::uint32_t id) {
               const StackedWindow* const window = watch.stack().find(id);
               return window && window->isOwn && window->isVisible();
           });
}

void WindowScene::requestDamage(const CoveredMemory& memory) {
    std::vector<std::uint32_t> wanted;
    const std::vector<std::uint32_t> announced(damage.announced().begin(), damage.announced().end());
    for (const std::uint32_t id : announced) {
        const StackedWindow* const window = watch.stack().find(id);
        if (!window || !window->isVisible()) continue;
        drawnOver[0] += QRegion(toQRect(window->outer)) - window->place();
        if (window->isOwn) {
            ownRepainted = true;
            damage.drop(id);
        } else if (compositing == Compositing::byManager || tainted.partOf(id) ||
                   memory.covered().intersects(toQRect(window->outer)) ||
                   (watch.stack().changes().any && trace().intersects(toQRect(window->outer)))) {
            wanted.push_back(id);
        } else {
            // The screen shows it at once, and its own damage tells of it; what is asked for later must not be as old
            // as this.
            damage.drop(id);
        }
    }
    // What stands partly beneath ours shall be of one moment. The screen tells of its part whether the window's own
    // announcement has arrived or not, so the window is asked in any case.
    if (looksBehindScreen(memory)) {
        constexpr std::size_t mostAsked = 32;
        for (const std::uint32_t id : watch.stack().order()) {
            if (wanted.size() >= mostAsked) break;
            const StackedWindow& window = *watch.stack().find(id);
            if (window.isVisible() && !window.isOwn && !std::ranges::count(announced, id) &&
                memory.covered().intersects(toQRect(window.outer)))
                wanted.push_back(id);
        }
    }
    damage.request(wanted);
}

void WindowScene::collectDamage() { drawn = damage.collect(); }

void WindowScene::update(CoveredMemory& memory, const QRegion& screenDamage) {
    QRegion painted;
    for (const auto& [id, part] : drawn) {
        const StackedWindow* const window = watch.stack().find(id);
        if (!window) continue;
        const QRegion inOuter = part.translated(window->border, window->border);
        if (tainted.partOf(id)) {
            tainted.paint(id, inOuter);
            mustCover = true;
        }
        painted += inOuter.translated(window->outer.x, window->outer.y) & toQRect(window->outer);
    }
    drawn.clear();
    watch.refresh();

    const Clock::time_point now = Clock::now();
    own.draw(screenDamage, now); // before what has just been left, which only the next drawing can know
    const StackChanges& news = watch.stack().changes();
    QRegion moved = news.others;
    if (news.any) {
        own.leave(news.left, compositing, now);
        mustCover = true;
        for (const LeftPlace& left : news.left)
            moved += left.place;
        moved += news.ownPlaces;
    }
    // A shadow moves with its window; where one was, nothing is better than one that stays.
    painted += compositing == Compositing::byManager ? grown(news.others, OwnRegion::shadowMargin) : news.others;
    watch.forgetChanges();
    memory.changeGround(painted, now);

    if (const auto next = own.nextExpiry(); next && *next <= now) {
        own.expire(now);
        mustCover = true;
    }
    if (mustCover) {
        memory.cover(own.region(watch.stack(), compositing) + tainted.places(watch.stack()), compositing, now);
        mustCover = false;
    }
    if (mustDistrust) {
        wallpaper.invalidate();
        (void)wallpaper.picture(compositing);
        memory.begin(area);
        mustDistrust = false;
    }
    noteBackground(memory, screenDamage, moved, now);
    memory.changeScreen(screenDamage, now);
}

/// The background beneath our windows has changed when it has changed anywhere else.
void WindowScene::noteBackground(CoveredMemory& memory, const QRegion& screenDamage, const QRegion& moved,
                                 Clock::time_point now) {
    bool changed = watch.takeWallpaperNews();
    if (changed) wallpaper.noteNewProperty();
    if (!changed && compositing == Compositing::byServer && !memory.covered().isEmpty()) {
        // The server counts a drawing into a window as its whole rectangle on the screen, also where the window's shape
        // leaves that out. It may do so a little later than the drawing itself.
        QRegion bare = screenDamage - memory.covered() - moved - drawnOver[0] - drawnOver[1];
        const std::vector<std::uint32_t>& order = watch.stack().order();
        for (auto id = order.rbegin(); id != order.rend() && !bare.isEmpty(); ++id) {
            const StackedWindow& window = *watch.stack().find(*id);
            if (window.isVisible() && bare.boundingRect().intersects(toQRect(window.outer))) bare -= window.place();
        }
        changed = !bare.isEmpty();
    }
    drawnOver = {QRegion(), drawnOver[0]};
    if (!changed) return;
    wallpaper.invalidate();
    memory.changeGround(memory.covered(), now);
    (void)wallpaper.picture(compositing);
    if (wallpaper.isLearning()) memory.begin(area);
}

void WindowScene::draw(const QRegion& part) {
    const GroundPlan plan = groundPlan(part, watch.stack(), tainted, compositing);
    const xcb_render_picture_t background =
        plan.background.isEmpty() ? xcb_render_picture_t{0} : wallpaper.picture(compositing);
    ground->draw(plan, {watch.stack(), pixels, background});
}

QRegion WindowScene::surprises(const CoveredMemory& memory) const {
    const StackChanges& news = watch.stack().changes();
    if (!news.any) return {};
    QRegion seen = news.ownPlaces;
    if (!news.others.isEmpty()) seen += news.others & trace();
    return (seen & area) - memory.covered();
}

bool WindowScene::wasPainted(const QRegion& part) const {
    return std::ranges::any_of(damage.announced(), [&](std::uint32_t id) {
        const StackedWindow* const window = watch.stack().find(id);
        return window && window->isVisible() && !window->isOwn && part.intersects(toQRect(window->outer));
    });
}

bool WindowScene::learn(const FetchedPixels& piece, const CoveredMemory& memory) {
    if (!wallpaper.isCurious()) return false;
    // Windows that have gone may still be fading. Where ours are, with their shadows, is covered; what their shapes
    // leave out, as the outline around the range does with all of the screen, is not.
    QRegion bare = QRegion(toQRect(piece.rect)) - memory.covered() - grown(memory.unsettled(), OwnRegion::shadowMargin);
    for (const std::uint32_t id : watch.stack().order()) {
        const StackedWindow& window = *watch.stack().find(id);
        if (window.isVisible() && !window.isOwn) bare -= toQRect(window.outer.grownBy(OwnRegion::shadowMargin));
    }
    return wallpaper.learn(piece, bare);
}

bool WindowScene::takeOwnRepaint() {
    const bool repainted = ownRepainted;
    ownRepainted = false;
    return repainted;
}

} // namespace quillet
