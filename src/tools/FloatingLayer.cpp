#include "tools/FloatingLayer.h"

#include "tools/FloatingWindow.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>
#include <utility>

namespace quillet {

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
    const auto settle = [this] { screensSettle.start(0); };
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this, settle](QScreen* screen) {
        watchScreen(*screen);
        settle();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, settle);
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, settle);
    for (QScreen* each : QGuiApplication::screens())
        watchScreen(*each);
}

FloatingLayer::~FloatingLayer() = default;

void FloatingLayer::watchScreen(QScreen& screen) {
    const auto settle = [this] { screensSettle.start(0); };
    connect(&screen, &QScreen::geometryChanged, this, settle);
    connect(&screen, &QScreen::availableGeometryChanged, this, settle);
    connect(&screen, &QScreen::logicalDotsPerInchChanged, this, settle);
}

void FloatingLayer::screensChanged() {
    const ScreenSpace before = std::exchange(arrangement, currentScreens()).space;
    // All of them before the first answers, for one may place others.
    for (FloatingWindow* each : windows)
        each->takeOver(before);
    for (FloatingWindow* each : std::vector(windows))
        each->screensChanged();
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
