#include "tools/FloatingLayer.h"

#include "tools/FloatingWindow.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <chrono>
#include <utility>

namespace quillet {

namespace {

// Screens that change one moment after another are at rest within seconds. Where the toolkit and the window system
// never agree, there is nothing to wait for.
constexpr std::chrono::milliseconds nextLook{100};
constexpr int mostLooks = 50;

} // namespace

std::shared_ptr<FloatingLayer> FloatingLayer::shared() {
    static std::weak_ptr<FloatingLayer> current;
    std::shared_ptr<FloatingLayer> layer = current.lock();
    if (!layer) {
        layer.reset(new FloatingLayer);
        current = layer;
    }
    return layer;
}

FloatingLayer::FloatingLayer() : watch(makeDesktopWatch()), mouseLog(makeMouseLog()), arrangement(currentScreens()) {
    watch->onRestacked = [this] { stayInFront(); };
    watch->onCompositingChanged = [this] {
        for (FloatingWindow* each : std::vector(windows))
            each->compositingChanged();
    };
    later.setSingleShot(true);
    connect(&later, &QTimer::timeout, this, &FloatingLayer::stayInFront);

    screensSettle.setSingleShot(true);
    connect(&screensSettle, &QTimer::timeout, this, &FloatingLayer::screensChanged);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        watchScreen(*screen);
        settle();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &FloatingLayer::settle);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, &FloatingLayer::settle);
    for (QScreen* each : QGuiApplication::screens())
        watchScreen(*each);
}

FloatingLayer::~FloatingLayer() = default;

void FloatingLayer::watchScreen(QScreen& screen) {
    connect(&screen, &QScreen::geometryChanged, this, &FloatingLayer::settle);
    connect(&screen, &QScreen::availableGeometryChanged, this, &FloatingLayer::settle);
    connect(&screen, &QScreen::logicalDotsPerInchChanged, this, &FloatingLayer::settle);
}

void FloatingLayer::settle() {
    unsettledLooks = 0;
    screensSettle.start(0);
}

void FloatingLayer::screensChanged() {
    const ScreenSpace before = std::exchange(arrangement, currentScreens()).space;
    // All of them before the first answers, for one may place others.
    for (FloatingWindow* each : windows)
        each->takeOver(before);
    for (FloatingWindow* each : std::vector(windows))
        each->screensChanged();
    if (arrangement.isSettled)
        unsettledLooks = 0;
    else if (++unsettledLooks < mostLooks && !screensSettle.isActive())
        screensSettle.start(nextLook);
}

void FloatingLayer::add(FloatingWindow& window) { windows.push_back(&window); }

void FloatingLayer::remove(FloatingWindow& window) { std::erase(windows, &window); }

void FloatingLayer::bringToFront(FloatingWindow& window) {
    remove(window);
    add(window);
    window.control->raise();
}

void FloatingLayer::stayInFront() {
    std::vector<std::uint32_t> shown;
    for (const FloatingWindow* each : windows)
        if (each->isVisible()) shown.push_back(each->windowNumber());
    if (shown.empty() || later.isActive() || !watch->isProgramInFrontOf(shown)) return;
    const auto now = RaisePacing::Clock::now();
    if (const auto wait = pacing.waitAt(now); wait > RaisePacing::Clock::duration::zero()) {
        later.start(std::chrono::ceil<std::chrono::milliseconds>(wait));
        return;
    }
    pacing.raisedAt(now);
    for (FloatingWindow* each : windows)
        if (each->isVisible()) each->control->raise();
}

} // namespace quillet
