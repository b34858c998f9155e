#include "tools/TeleprompterWindow.h"

#include "tools/ResizeGripView.h"
#include "tools/TeleprompterLayout.h"
#include "tools/TeleprompterView.h"
#include "ui/look.h"
#include "ui/palettes.h"

#include <QApplication>
#include <QBitmap>
#include <QMouseEvent>
#include <QPainter>

#include <cmath>

namespace quillet {

namespace {

constexpr double cornerRadius = 10;
const QColor translucentGround(0, 0, 0, 153); // black at 0.6
const QColor solidGround(32, 32, 34);

} // namespace

TeleprompterWindow::TeleprompterWindow()
    : FloatingWindow({.accessibleName = QStringLiteral("提词器"),
                      .keyboard = Keyboard::whenPressed,
                      .mouse = Mouse::taken,
                      .shadow = Shadow::allowed}) {
    takeColours();
    content = new TeleprompterView(this);
    grip = new ResizeGripView(*this);
    setFocusProxy(content);
}

/// Dark whatever the desktop's scheme is, with the desktop's accent.
void TeleprompterWindow::takeColours() {
    setPalette(paletteOf(ColourScheme::dark, look::accent(QApplication::palette())));
}

void TeleprompterWindow::changeEvent(QEvent* event) {
    FloatingWindow::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange) takeColours();
}

std::optional<QRegion> TeleprompterWindow::shape() const {
    // Its round corners are smooth where they can be.
    if (isTranslucent()) return std::nullopt;
    // Whole pixels, those whose middle lies within the rounded rectangle.
    QBitmap pane(pixelSize());
    pane.clear();
    QPainter painter(&pane);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(pane.rect(), cornerRadius * scale(), cornerRadius * scale());
    painter.end();
    return QRegion(pane);
}

void TeleprompterWindow::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(rect(), isTranslucent() ? QColor(Qt::transparent) : solidGround);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    if (isTranslucent()) look::fillRounded(painter, rect(), cornerRadius, translucentGround);
}

void TeleprompterWindow::resizeEvent(QResizeEvent*) {
    content->setGeometry(rect());
    grip->setGeometry(TeleprompterLayout(size()).grip);
    grip->raise();
}

void TeleprompterWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    isHeld = true;
    startMouse = mouseAt(*event);
    startFrame = frame();
}

void TeleprompterWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!isHeld) return;
    const Point mouse = mouseAt(*event);
    setFrame(startFrame.offsetBy(mouse.x - startMouse.x, mouse.y - startMouse.y));
}

void TeleprompterWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) isHeld = false;
}

TeleprompterController::TeleprompterController() : pane(std::make_unique<TeleprompterWindow>()) {}

TeleprompterController::~TeleprompterController() { pane->orderOut(); }

void TeleprompterController::showOn(const Screen& screen) {
    pane->setFrame(teleprompterFrame(screen.visibleFrame));
    pane->orderFront();
}

void TeleprompterController::orderOut() { pane->orderOut(); }

std::vector<std::uint32_t> TeleprompterController::windowIDs() const { return {pane->windowNumber()}; }

} // namespace quillet
