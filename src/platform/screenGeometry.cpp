#include "platform/screenGeometry.h"

#include "geometry/CaptureLayout.h"

#include <algorithm>
#include <cmath>

namespace quillet {

Point toGlobal(const QPointF& point, const ScreenSpace& space) {
    return {point.x() - space.left, space.bottom - point.y()};
}

Rect toGlobal(const QRectF& rect, const ScreenSpace& space) {
    return {rect.x() - space.left, space.bottom - (rect.y() + rect.height()), rect.width(), rect.height()};
}

QPointF toQt(const Point& point, const ScreenSpace& space) { return {point.x + space.left, space.bottom - point.y}; }

QRectF toQt(const Rect& rect, const ScreenSpace& space) {
    const Rect standard = rect.standardised();
    return {standard.x + space.left, space.bottom - standard.y - standard.height, standard.width, standard.height};
}

namespace {

// Half a point lost to rounding on either side.
constexpr double roundingLimit = 1;

bool matchesBySize(const ToolkitScreen& screen, const Monitor& monitor) {
    const double limit = roundingLimit * screen.pixelRatio;
    return std::abs(screen.geometry.width() * screen.pixelRatio - monitor.rect.width) <= limit &&
           std::abs(screen.geometry.height() * screen.pixelRatio - monitor.rect.height) <= limit;
}

bool matchesByPlace(const ToolkitScreen& screen, const Monitor& monitor) {
    return screen.geometry.x() == monitor.rect.x && screen.geometry.y() == monitor.rect.y &&
           matchesBySize(screen, monitor);
}

const Monitor* monitorOf(const ToolkitScreen& screen, const std::vector<Monitor>& monitors) {
    auto found = std::ranges::find(monitors, screen.name, &Monitor::name);
    if (found == monitors.end())
        found = std::ranges::find_if(monitors, [&](const Monitor& each) { return matchesByPlace(screen, each); });
    return found == monitors.end() ? nullptr : &*found;
}

double exactLength(int points, double pixels, double ratio) {
    const double exact = pixels / ratio;
    return std::abs(exact - points) <= roundingLimit ? exact : points;
}

// Panels cover an edge: an edge that touches the geometry's touches the exact frame's, too.
QRectF visiblePart(const ToolkitScreen& screen, const QRectF& exact) {
    const QRect cut = screen.availableGeometry.intersected(screen.geometry);
    if (cut.isEmpty()) return exact;
    QRectF visible(cut);
    if (cut.right() == screen.geometry.right()) visible.setRight(exact.right());
    if (cut.bottom() == screen.geometry.bottom()) visible.setBottom(exact.bottom());
    return visible;
}

} // namespace

ScreenArrangement arrangeScreens(const std::vector<ToolkitScreen>& screens, const std::vector<Monitor>& monitors) {
    struct Joined {
        const Monitor* monitor;
        Size pixels;
        QRectF exact;
    };
    std::vector<Joined> joined;
    for (const ToolkitScreen& screen : screens) {
        const Monitor* monitor = monitorOf(screen, monitors);
        const Size pixels =
            monitor ? Size{static_cast<double>(monitor->rect.width), static_cast<double>(monitor->rect.height)}
                    : Size{std::round(screen.geometry.width() * screen.pixelRatio),
                           std::round(screen.geometry.height() * screen.pixelRatio)};
        const QRectF exact(screen.geometry.x(), screen.geometry.y(),
                           exactLength(screen.geometry.width(), pixels.width, screen.pixelRatio),
                           exactLength(screen.geometry.height(), pixels.height, screen.pixelRatio));
        joined.push_back({monitor, pixels, exact});
    }

    ScreenArrangement arrangement;
    if (joined.empty()) return arrangement;
    arrangement.space = {joined.front().exact.left(), joined.front().exact.bottom()};
    arrangement.list.mainIndex = 0;
    for (std::size_t i = 0; i < screens.size(); ++i) {
        Screen screen;
        screen.name = screens[i].name;
        screen.frame = toGlobal(joined[i].exact, arrangement.space);
        screen.visibleFrame = toGlobal(visiblePart(screens[i], joined[i].exact), arrangement.space);
        if (joined[i].monitor) screen.displayID = joined[i].monitor->id;
        screen.pixelSize = joined[i].pixels;
        screen.backingScaleFactor = screens[i].pixelRatio;
        arrangement.list.screens.push_back(std::move(screen));
        if (joined[i].monitor && !matchesBySize(screens[i], *joined[i].monitor)) arrangement.isSettled = false;
    }
    return arrangement;
}

PixelRect desktopPixels(const Rect& frame, const ScreenArrangement& arrangement) {
    const Screen* screen = arrangement.list.containing(frame.centre());
    if (!screen) screen = arrangement.list.mainOrFirst();
    if (!screen) return toMemoryRows(frame.integralEven(), 0);
    // The toolkit's corner of a screen is its corner in pixels.
    const QPointF corner = toQt(screen->frame, arrangement.space).topLeft();
    return toMemoryRows(displayPixels(frame, *screen), static_cast<int>(std::lround(screen->pixelSize.height)))
        .offsetBy(static_cast<int>(std::lround(corner.x())), static_cast<int>(std::lround(corner.y())));
}

Point globalPoint(const QPoint& pixel, const ScreenArrangement& arrangement) {
    const auto cornerOf = [&](const Screen& screen) { return toQt(screen.frame, arrangement.space).topLeft(); };
    const std::vector<Screen>& screens = arrangement.list.screens;
    const auto found = std::ranges::find_if(screens, [&](const Screen& each) {
        const QPointF corner = cornerOf(each);
        return QRectF(corner.x(), corner.y(), each.pixelSize.width, each.pixelSize.height).contains(pixel);
    });
    const Screen* const screen = found != screens.end() ? &*found : arrangement.list.mainOrFirst();
    if (!screen) return toGlobal(QPointF(pixel), arrangement.space);
    const QPointF corner = cornerOf(*screen);
    return {screen->frame.minX() + (pixel.x() - corner.x()) / screen->scale(),
            screen->frame.maxY() - (pixel.y() - corner.y()) / screen->scale()};
}

} // namespace quillet
