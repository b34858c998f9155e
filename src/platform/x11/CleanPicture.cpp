#include "platform/x11/CleanPicture.h"

#include "platform/TileDifference.h"
#include "platform/x11/ServerGrab.h"
#include "platform/x11/regions.h"

#include <algorithm>
#include <cstring>

namespace quillet {

namespace {

/// Our own windows do not rest while the user drags one. A fetch takes less than a millisecond, so few are needed.
constexpr int mostAttempts = 6;
/// Others paint as often as they like; after this, their next change is the next frame's.
constexpr int attemptsForOthers = 2;

QRegion regionOfRects(const std::vector<PixelRect>& rects) {
    QRegion region;
    for (const PixelRect& rect : rects)
        region += toQRect(rect);
    return region;
}

/// Whether fetching the rest along costs less than copying what is fetched once more.
bool isNearlyAll(const std::vector<PixelRect>& rects, const PixelRect& area) {
    std::int64_t pixels = 0;
    for (const PixelRect& rect : rects)
        pixels += rect.area();
    return !area.isEmpty() && pixels * 4 > area.area() * 3;
}

/// Puts the frame's own pixels into `piece` where `part` (pixels of the root) is.
void keepFramesPixels(const FetchedPixels& piece, const QRegion& part, const PixelBuffer& frame, int left, int top) {
    for (const QRect& rect : part& toQRect(piece.rect)) {
        const std::size_t bytes = static_cast<std::size_t>(rect.width()) * 4;
        for (int y = rect.y(); y < rect.y() + rect.height(); ++y)
            std::memcpy(piece.pixels + static_cast<std::size_t>(y - piece.rect.y) * piece.strideBytes +
                            static_cast<std::size_t>(rect.x() - piece.rect.x) * 4,
                        frame.row(y - top) + static_cast<std::size_t>(rect.x() - left) * 4, bytes);
    }
}

/// The application lists its own windows, too; those need no listing.
std::set<std::uint32_t> withoutOwn(std::set<std::uint32_t> listed, const std::vector<XClientResources>& ownClients) {
    std::erase_if(listed, [&](std::uint32_t window) {
        return std::ranges::any_of(ownClients, [&](const XClientResources& client) { return client.owns(window); });
    });
    return listed;
}

} // namespace

CleanPicture::CleanPicture(const XConnection& server) : connection(server) {}

std::unique_ptr<CleanPicture> CleanPicture::make(const XConnection& connection, const Options& options, Error& error) {
    std::unique_ptr<CleanPicture> picture(new CleanPicture(connection));
    // What is fetched from the root and what is rebuilt may cover each other in part.
    picture->pixels = RootFetch::make(connection, options.pixels * 2, error);
    if (!picture->pixels) return nullptr;
    const std::set<std::uint32_t> listed = withoutOwn(options.listed, options.setup.ownClients);
    const bool leavesOut =
        !listed.empty() ||
        std::ranges::any_of(options.setup.ownClients, [](const XClientResources& client) { return client.mask != 0; });
    if (leavesOut && !connection.canLookBeneathWindows()) {
        noteFallback("the X server lacks COMPOSITE, DAMAGE, XFIXES, RENDER or SHAPE; the program's own windows will be "
                     "in the recording.");
    }
    std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const bool looksBeneath = leavesOut && connection.canLookBeneathWindows();
    if (looksBeneath) mask |= WindowWatch::rootEvents;
    xcb_change_window_attributes(connection.xcb(), connection.root(), XCB_CW_EVENT_MASK, &mask);
    if (looksBeneath) picture->scene = std::make_unique<WindowScene>(connection, options.setup, listed);
    picture->damage = std::make_unique<DamageCollector>(connection);
    return picture;
}

bool CleanPicture::handleEvent(const xcb_generic_event_t& event) {
    return damage->handleEvent(event) || (scene && scene->handleEvent(event));
}

bool CleanPicture::isPending() const {
    return damage->isPending() || !memory.isCurrent() || (scene && scene->isPending(memory));
}

bool CleanPicture::isPendingForOursOnly() const {
    // The screen announces only that something has changed, which may be that repaint.
    return scene && !damage->mustPoll() && (!damage->isPending() || scene->isOwnRepaintPending()) &&
           !scene->isPending(memory, WindowScene::Whose::others);
}

std::optional<CleanPicture::Clock::time_point> CleanPicture::nextExpiry() const {
    return scene ? scene->nextExpiry() : std::nullopt;
}

void CleanPicture::show(const PixelRect& shown) {
    area = shown;
    memory.begin(toQRect(area));
    if (scene) scene->show(area);
}

void CleanPicture::collectDamage(const Hooks& hooks) {
    {
        const ServerGrab sameMoment(connection.xcb());
        damage->request(scene && scene->looksBehindScreen(memory) ? DamageCollector::Windows::mayBeAhead
                                                                  : DamageCollector::Windows::areOnTheScreen);
        if (scene) scene->requestDamage(memory);
    }
    const QRegion screenDamage = damage->collect(toQRect(area));
    if (!scene) return memory.changeScreen(screenDamage, Clock::now());
    scene->collectDamage();
    // What windows have gone through before they answered tells what the answers are worth.
    hooks.drainEvents();
    scene->update(memory, screenDamage);
}

void CleanPicture::requestPixels(const Hooks& hooks) {
    std::vector<FetchOrder> orders;
    std::vector<PixelRect> plain = coarseRects(memory.toFetch(), area);
    filled = isNearlyAll(plain, area) ? hooks.wholeFrame() : nullptr;
    if (filled) plain = {area};
    orders.reserve(plain.size());
    for (const PixelRect& rect : plain)
        orders.push_back({.rect = rect, .into = filled});
    fetched = regionOfRects(plain);
    rebuilt = memory.toRebuild();
    drawn = {};
    // A window that stands partly beneath ours shall not be of two moments, nor one that is fetched in parts.
    std::optional<ServerGrab> sameMoment;
    if (orders.size() > 1 || !rebuilt.isEmpty()) sameMoment.emplace(connection.xcb());
    if (!rebuilt.isEmpty()) {
        const std::vector<PixelRect> beneath = coarseRects(rebuilt, area);
        drawn = regionOfRects(beneath);
        scene->draw(drawn);
        for (const PixelRect& rect : beneath)
            orders.push_back({.rect = rect, .drawable = scene->drawing(), .originX = area.x, .originY = area.y});
    }
    pixels->request(orders);
}

CleanPicture::Result CleanPicture::fetch(const Hooks& hooks) {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        hooks.drainEvents();
        collectDamage(hooks);
        requestPixels(hooks);
        hooks.request();
        const RootFetch::Result result = pixels->collect();
        hooks.collect();
        if (result == RootFetch::Result::lost || connection.isLost()) return Result::lost;
        if (result == RootFetch::Result::refused) return Result::refused;
        hooks.drainEvents();
        if (scene) scene->refresh();
        if (!isUsable(attempt)) continue;
        if (!learnsBackground() || memory.toRebuild().isEmpty()) return Result::complete;
    }
    return Result::unsettled;
}

bool CleanPicture::learnsBackground() {
    bool isNews = false;
    for (const FetchedPixels& piece : pixels->arrived())
        if (scene && piece.fromRoot && scene->learn(piece, memory)) isNews = true;
    if (isNews) memory.changeGround(memory.covered(), Clock::now());
    return isNews;
}

bool CleanPicture::isUsable(int attempt) const {
    if (!scene) return true;
    if (scene->surprises(memory).intersects(fetched)) return false;
    if (scene->hasMoved(rebuilt)) return false;
    return attempt + 1 >= attemptsForOthers || !scene->wasPainted(rebuilt);
}

bool CleanPicture::touches(const PixelRect& rect) const {
    return fetched.intersects(toQRect(rect)) || drawn.intersects(toQRect(rect));
}

/// What was not asked for is of a later moment than what is not fetched at all: a window that stands in both would be
/// of two moments.
QRegion CleanPicture::fetchedAlong(const FetchedPixels& piece) const {
    return QRegion(toQRect(piece.rect)) - (piece.fromRoot ? memory.toFetch() : rebuilt);
}

void CleanPicture::takeInto(PixelBuffer& frame, int left, int top, PixelRegion& changed) {
    for (const FetchedPixels& piece : pixels->arrived()) {
        keepFramesPixels(piece, fetchedAlong(piece), frame, left, top);
        takeOver(piece.rect.offsetBy(-left, -top), piece.pixels, piece.strideBytes, frame, changed);
    }
    memory.bringUpToDate();
}

void CleanPicture::completeFrame(const PixelBuffer& before, int left, int top, PixelRegion& changed) {
    for (const FetchedPixels& piece : pixels->arrived()) {
        if (piece.fromRoot) {
            keepFramesPixels(piece, fetchedAlong(piece), before, left, top);
        } else {
            keepFramesPixels(piece, fetchedAlong(piece), *filled, left, top);
            PixelRegion seenBelow;
            takeOver(piece.rect.offsetBy(-left, -top), piece.pixels, piece.strideBytes, *filled, seenBelow);
        }
    }
    compareFrames(before, *filled, changed);
    memory.bringUpToDate();
}

} // namespace quillet
