#include "app/ControlWindow.h"

#include <QCloseEvent>
#include <QGuiApplication>
#include <QIcon>
#include <QScreen>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>

namespace quillet {

namespace {

constexpr const char* frameKey = "QuilletControlWindow";
constexpr QSize firstSize{360, 440};
/// So much of the window must be on a screen that it can be taken by its title bar.
constexpr int grip = 48;
/// What a title bar takes where it is not known yet.
constexpr int titleBar = 40;
/// Window managers place a new window by their own rules, and more than once; what changes after this long is the user.
constexpr std::chrono::milliseconds placing{1000};
/// When monitors come or go, the window manager moves windows first, by its own rules.
constexpr std::chrono::milliseconds screensSettling{200};

std::vector<QRect> usableScreens() {
    std::vector<QRect> parts;
    for (const QScreen* const screen : QGuiApplication::screens())
        parts.push_back(screen->availableGeometry());
    return parts;
}

std::optional<QRect> storedFrame(const SettingsStore& settings) {
    const std::optional<std::string> text = settings.text(frameKey);
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    // Numbers of up to six digits: nothing overflows, no screen is larger.
    if (!text || std::sscanf(text->c_str(), "%6d %6d %6d %6d", &x, &y, &width, &height) != 4) return std::nullopt;
    if (width < 1 || height < 1) return std::nullopt;
    return QRect(x, y, width, height);
}

long long distance(const QRect& a, const QRect& b) {
    const auto gap = [](int low, int high, int otherLow, int otherHigh) {
        return static_cast<long long>(std::max({otherLow - high, low - otherHigh, 0}));
    };
    const long long x = gap(a.left(), a.right(), b.left(), b.right());
    const long long y = gap(a.top(), a.bottom(), b.top(), b.bottom());
    return x * x + y * y;
}

} // namespace

QRect onScreen(const QRect& frame, const std::vector<QRect>& screens) {
    const auto canBeTaken = [&](const QRect& screen) {
        const QRect part = screen & frame;
        return part.width() >= std::min(grip, frame.width()) && frame.top() >= screen.top() &&
               frame.top() <= screen.bottom() - grip;
    };
    QRect all;
    for (const QRect& screen : screens)
        all |= screen;
    const bool fits = frame.width() <= all.width() && frame.height() <= all.height();
    if (screens.empty() || (fits && std::ranges::any_of(screens, canBeTaken))) return frame;
    const QRect& nearest =
        *std::ranges::min_element(screens, {}, [&](const QRect& screen) { return distance(screen, frame); });
    QRect placed(frame.topLeft(), frame.size().boundedTo(nearest.size()));
    placed.moveLeft(std::clamp(placed.left(), nearest.left(), nearest.right() + 1 - placed.width()));
    placed.moveTop(std::clamp(placed.top(), nearest.top(), nearest.bottom() + 1 - placed.height()));
    return placed;
}

ControlWindow::ControlWindow(std::shared_ptr<SettingsStore> store) : settings(std::move(store)) {
    setWindowTitle(QStringLiteral("Quillet"));
    setAccessibleName(QStringLiteral("Quillet"));

    const std::vector<QRect> screens = usableScreens();
    QRect frame(QPoint(), firstSize);
    if (!screens.empty()) frame.moveCenter(screens.front().center());
    frame = onScreen(storedFrame(*settings).value_or(frame), screens);
    move(frame.topLeft());
    userHeight = expectedHeight = frame.height();
    resize(frame.size());

    screensSettle.setSingleShot(true);
    connect(&screensSettle, &QTimer::timeout, this, &ControlWindow::followScreens);
    const auto settle = [this] { screensSettle.start(screensSettling); };
    const auto watch = [this, settle](QScreen* each) {
        connect(each, &QScreen::availableGeometryChanged, this, settle);
    };
    connect(qGuiApp, &QGuiApplication::screenAdded, this, watch);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, settle);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, settle);
    for (QScreen* const each : QGuiApplication::screens())
        watch(each);
}

void ControlWindow::fitHeight(int needed) {
    if (isMaximized() || isFullScreen()) return;
    const QRect usable = screen()->availableGeometry();
    const int decoration = std::max(frameGeometry().height() - height(), titleBar);
    const int wanted = std::max(userHeight, std::min(needed, usable.height() - decoration));
    if (wanted == expectedHeight) return;
    expectedHeight = wanted;
    resize(width(), wanted);
    // Where it stood before it had to make room, unless the user has moved it since.
    const int top = raisedTo && *raisedTo == pos().y() ? raisedFrom : pos().y();
    const int room = usable.bottom() + 1 - decoration - wanted;
    const int placed = top > room ? std::max(usable.top(), room) : top;
    raisedFrom = top;
    raisedTo = placed == top ? std::nullopt : std::optional(placed);
    if (placed != pos().y()) move(pos().x(), placed);
}

void ControlWindow::followScreens() {
    if (!isVisible() || isMinimized() || isMaximized() || isFullScreen()) return;
    QRect frame = onScreen(QRect(pos(), frameGeometry().size()), usableScreens());
    const QScreen* const at = QGuiApplication::screenAt(frame.center());
    const QRect usable = (at ? at : screen())->availableGeometry();
    // The record button is at the bottom.
    if (frame.bottom() > usable.bottom()) frame.moveTop(std::max(usable.top(), usable.bottom() + 1 - frame.height()));
    if (frame.topLeft() != pos()) move(frame.topLeft());
}

void ControlWindow::bringUp() {
    if (isMinimized()) setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void ControlWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    if (onClose) onClose();
}

void ControlWindow::moveEvent(QMoveEvent* event) {
    QMainWindow::moveEvent(event);
    frameChanged();
}

void ControlWindow::paintEvent(QPaintEvent* event) {
    QMainWindow::paintEvent(event);
    if (std::exchange(isPainted, true)) return;
    // The window itself is painted before what is in it; all of it is on the screen in the event loop's next turn.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (onFirstPainted) onFirstPainted();
        },
        Qt::QueuedConnection);
}

void ControlWindow::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    frameChanged();
}

void ControlWindow::showEvent(QShowEvent* event) {
    QMainWindow::showEvent(event);
    if (!shownSince.isValid()) shownSince.start();
}

void ControlWindow::frameChanged() {
    if (height() != expectedHeight) userHeight = expectedHeight = height();
    const QRect frame(pos(), QSize(width(), userHeight));
    if (frame == knownFrame || isMinimized() || isMaximized() || isFullScreen()) return;
    knownFrame = frame;
    if (!shownSince.isValid() || !shownSince.hasExpired(placing.count())) return;
    settings->write({{frameKey, std::to_string(frame.x()) + " " + std::to_string(frame.y()) + " " +
                                    std::to_string(frame.width()) + " " + std::to_string(frame.height())}});
}

} // namespace quillet
