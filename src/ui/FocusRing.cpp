#include "ui/FocusRing.h"

#include "ui/look.h"

#include <QFocusEvent>
#include <QPainter>

namespace quillet {

namespace {

constexpr double gap = 1.5;
constexpr double thickness = 2;
constexpr int reach = 4; // gap and ring, rounded up

} // namespace

FocusRing::FocusRing(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setFocusPolicy(Qt::NoFocus);
    hide();
}

void FocusRing::watchControls() {
    for (QWidget* const child : parentWidget()->findChildren<QWidget*>()) {
        if (child == this) continue;
        // Containers too: when one of them moves, so do the controls in it.
        child->installEventFilter(this);
    }
}

bool FocusRing::eventFilter(QObject* object, QEvent* event) {
    auto* const widget = static_cast<QWidget*>(object);
    switch (event->type()) {
        case QEvent::FocusIn:
            focusCame(widget, static_cast<QFocusEvent*>(event)->reason());
            break;
        case QEvent::FocusOut:
            if (widget == target) {
                target = nullptr;
                place();
            }
            break;
        case QEvent::Destroy:
            if (widget == target) target = nullptr;
            break;
        case QEvent::Move:
        case QEvent::Resize:
        case QEvent::Show:
        case QEvent::Hide:
            place();
            break;
        default:
            break;
    }
    return false;
}

void FocusRing::focusCame(QWidget* control, Qt::FocusReason reason) {
    if (dynamic_cast<FocusShaped*>(control) == nullptr) return;
    target = control;
    if (reason == Qt::TabFocusReason || reason == Qt::BacktabFocusReason || reason == Qt::ShortcutFocusReason)
        byKey = true;
    else if (reason == Qt::MouseFocusReason)
        byKey = false; // coming back from a popup or another window leaves the ring as it was
    place();
}

void FocusRing::place() {
    const bool wanted = target && byKey && target->isVisibleTo(parentWidget());
    if (wanted) {
        const FocusShape shape = dynamic_cast<FocusShaped&>(*target).focusShape();
        const QPoint offset = target->mapTo(parentWidget(), QPoint());
        setGeometry(shape.outline.toAlignedRect().translated(offset).adjusted(-reach, -reach, reach, reach));
        raise();
        update();
    }
    setVisible(wanted);
}

void FocusRing::paintEvent(QPaintEvent*) {
    if (!target) return;
    const FocusShape shape = dynamic_cast<FocusShaped&>(*target).focusShape();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(look::accent(palette()), thickness));
    const double outside = gap + thickness / 2;
    const QRectF outline =
        look::snapped(painter, shape.outline.translated(target->mapTo(parentWidget(), QPoint()) - pos()));
    painter.drawRoundedRect(outline.adjusted(-outside, -outside, outside, outside), shape.radius + outside,
                            shape.radius + outside);
}

} // namespace quillet
