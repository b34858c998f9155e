#include "tools/FloatingWindow.h"

#include "tools/moveWithin.h"

#include <QEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace quillet {

FloatingWindow::FloatingWindow(const Options& wishes) : options(wishes), layer(FloatingLayer::shared()) {
    // Some window managers leave tool windows unmapped unless they are told to keep out altogether.
    Qt::WindowFlags flags =
        Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::X11BypassWindowManagerHint;
    if (options.keyboard == Keyboard::never) flags |= Qt::WindowDoesNotAcceptFocus;
    if (options.mouse == Mouse::passesThrough) flags |= Qt::WindowTransparentForInput;
    if (options.shadow == Shadow::none) flags |= Qt::NoDropShadowWindowHint;
    setWindowFlags(flags);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_QuitOnClose, false);
    setAccessibleName(options.accessibleName);
    setWindowTitle(
        options.accessibleName); // else the toolkit gives it the program's name, which is the control window's alone
    // Without a geometry of its own the toolkit would choose one when the window is shown.
    setGeometry(0, 0, 1, 1);
    winId();
    control = makeWindowControl(*windowHandle());
    if (options.shadow == Shadow::none) control->forbidShadow();
    if (options.keyboard == Keyboard::whenPressed) windowHandle()->installEventFilter(this);
    layer->add(*this);
}

FloatingWindow::~FloatingWindow() {
    control->returnKeyboard();
    layer->remove(*this);
}

void FloatingWindow::setFrame(const Rect& frame) {
    exactFrame = frame;
    placeOnScreen();
}

void FloatingWindow::placeOnScreen() {
    const PixelRect place = desktopPixels(exactFrame, layer->screens());
    if (place == pixels) return;
    const bool resized = place.width != pixels.width || place.height != pixels.height;
    pixels = place;
    control->place(canvas());
    if (resized) redraw();
}

// The toolkit counts a window in whole points and draws only so far: on a screen of 1.75 pixels a point it would leave
// the last columns of some windows undrawn. So the window goes on to the next whole point, and shape() cuts that off.
PixelRect FloatingWindow::canvas() const {
    const Screen* screen = roundingScreen();
    const double ratio = screen ? screen->backingScaleFactor : 1;
    const auto covering = [ratio](int length) {
        return std::max(length, static_cast<int>(std::lround(std::ceil(length / ratio) * ratio)));
    };
    return {pixels.x, pixels.y, covering(pixels.width), covering(pixels.height)};
}

void FloatingWindow::redraw() {
    std::optional<QRegion> cut = shape();
    const PixelRect drawn = canvas();
    if (!cut && (drawn.width != pixels.width || drawn.height != pixels.height)) cut = QRect(QPoint(), pixelSize());
    control->setShape(cut);
    control->setMouseRegion(options.mouse == Mouse::passesThrough ? QRegion() : mouseArea());
    update();
}

void FloatingWindow::orderFront() {
    // The toolkit may have asked for another place on its way to the screen.
    if (!isVisible()) {
        show();
        control->place(canvas());
        redraw();
    }
    layer->bringToFront(*this);
}

void FloatingWindow::orderOut() {
    control->returnKeyboard();
    hide();
}

bool FloatingWindow::returnToScreens() {
    const Screen* const screen = holdingScreen();
    if (!screen || screens().list.containing(exactFrame.centre())) return false;
    setFrame(moveWithin(exactFrame, 0, 0, screen->frame));
    return true;
}

const Screen* FloatingWindow::holdingScreen() const { return layer->screens().list.holding(exactFrame); }

bool FloatingWindow::isTranslucent() const { return layer->isComposited() && windowHandle()->format().hasAlpha(); }

const Screen* FloatingWindow::roundingScreen() const {
    const ScreenList& list = layer->screens().list;
    const Screen* const screen = list.containing(exactFrame.centre());
    return screen ? screen : list.mainOrFirst();
}

double FloatingWindow::scale() const {
    const Screen* screen = roundingScreen();
    return screen ? screen->scale() : 1;
}

Point FloatingWindow::mouseAt(const QMouseEvent& event) const {
    const MouseLog::Event kind = event.type() == QEvent::MouseMove            ? MouseLog::Event::motion
                                 : event.type() == QEvent::MouseButtonRelease ? MouseLog::Event::release
                                                                              : MouseLog::Event::press;
    if (const auto pixel = layer->mouse().pixelAt(kind, event.timestamp()))
        return globalPoint(*pixel, layer->screens());
    return globalPosition(event.globalPosition());
}

Point FloatingWindow::globalPosition(const QPointF& position) const {
    return toGlobal(position, layer->screens().space);
}

void FloatingWindow::usePixels(QPainter& painter) const {
    const double ratio = devicePixelRatioF();
    painter.scale(1 / ratio, 1 / ratio);
}

bool FloatingWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == windowHandle() && event->type() == QEvent::MouseButtonPress) control->takeKeyboard();
    return QWidget::eventFilter(watched, event);
}

void FloatingWindow::compositingChanged() { redraw(); }

// Global points begin at the main screen's corner. When that moves, or another screen becomes the main one, a window
// stays where the user sees it.
void FloatingWindow::takeOver(const ScreenSpace& before) {
    exactFrame = toGlobal(toQt(exactFrame, before), screens().space);
}

void FloatingWindow::screensChanged() {
    pixels = {};
    placeOnScreen();
    screensRearranged();
}

} // namespace quillet
