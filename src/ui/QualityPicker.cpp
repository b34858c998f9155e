#include "ui/QualityPicker.h"

#include "ui/look.h"

#include <QKeyEvent>
#include <QPainter>
#include <QPolygonF>
#include <QStyledItemDelegate>
#include <QWheelEvent>

namespace quillet {

namespace {

constexpr int pickerWidth = 160;
constexpr int paddingAbove = 5;
constexpr int paddingBeside = 10;
constexpr double cornerRadius = 6;
constexpr int tickPlace = 16; // from the list's right edge

/// A row of the opened list: as high as the picker and its words where the picker has its own; what is chosen is
/// ticked.
class Choice : public QStyledItemDelegate {
public:
    explicit Choice(QComboBox* owner) : QStyledItemDelegate(owner), picker(*owner) {}

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const override {
        return {pickerWidth, picker.sizeHint().height()};
    }
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        painter->save();
        painter->setFont(picker.font());
        const bool isPointedAt = option.state.testFlag(QStyle::State_Selected);
        if (isPointedAt)
            look::fillRounded(*painter, QRectF(option.rect).adjusted(3, 1, -3, -1), cornerRadius - 2,
                              look::accent(option.palette));
        const QColor ink = isPointedAt ? QColor(Qt::white) : look::primaryText(option.palette);
        const int frame = (picker.width() - option.rect.width()) / 2; // the list's own, on each side
        painter->setPen(ink);
        look::drawLine(*painter, option.rect.adjusted(paddingBeside - frame, 0, 0, 0), Qt::AlignLeft,
                       index.data().toString());
        if (index.row() == picker.currentIndex()) {
            painter->setRenderHint(QPainter::Antialiasing);
            painter->setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            const QPointF middle(option.rect.right() - tickPlace + 1.0, QRectF(option.rect).center().y());
            painter->drawPolyline(
                QPolygonF({middle + QPointF(-4, 0.5), middle + QPointF(-1.2, 3.3), middle + QPointF(4, -3.2)}));
        }
        painter->restore();
    }

private:
    const QComboBox& picker;
};

} // namespace

QualityPicker::QualityPicker(QWidget* parent) : QComboBox(parent) {
    setFont(look::font(look::bodyPixels));
    setAttribute(Qt::WA_Hover);
    setFocusPolicy(Qt::StrongFocus);
    setFixedWidth(pickerWidth);
    for (const ExportQuality quality : allExportQualities) {
        const std::string_view label = rawValue(quality);
        addItem(QString::fromUtf8(label.data(), static_cast<qsizetype>(label.size())));
    }
    setItemDelegate(new Choice(this));
    showQuality(shown);
    connect(this, &QComboBox::activated, this, [this](int index) {
        showQuality(shown);
        if (onPick) onPick(allExportQualities[static_cast<std::size_t>(index)]);
    });
}

void QualityPicker::showQuality(ExportQuality quality) {
    shown = quality;
    for (std::size_t i = 0; i < allExportQualities.size(); ++i)
        if (allExportQualities[i] == quality) setCurrentIndex(static_cast<int>(i));
}

QSize QualityPicker::sizeHint() const { return {pickerWidth, look::lineHeight(font().pixelSize()) + 2 * paddingAbove}; }

FocusShape QualityPicker::focusShape() const { return {rect(), cornerRadius}; }

void QualityPicker::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    if (!isEnabled()) painter.setOpacity(look::disabledOpacity);
    look::fillRounded(painter, rect(), cornerRadius,
                      look::fill(underMouse() && isEnabled() ? look::Touch::hovered : look::Touch::none));
    painter.setPen(look::primaryText(palette()));
    look::drawLine(painter, rect().adjusted(paddingBeside, 0, 0, 0), Qt::AlignLeft, currentText());

    // Two small chevrons: a list that opens over the picker.
    painter.setPen(QPen(look::secondaryText(palette()), 1.5, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    const QPointF middle(width() - paddingBeside - 4.0, height() / 2.0);
    painter.drawPolyline(QPolygonF({middle + QPointF(-3, -2.5), middle + QPointF(0, -5.5), middle + QPointF(3, -2.5)}));
    painter.drawPolyline(QPolygonF({middle + QPointF(-3, 2.5), middle + QPointF(0, 5.5), middle + QPointF(3, 2.5)}));
}

void QualityPicker::keyPressEvent(QKeyEvent* event) {
    const bool enters = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (enters && !event->isAutoRepeat()) return showPopup();
    QComboBox::keyPressEvent(event);
}

void QualityPicker::wheelEvent(QWheelEvent* event) { event->ignore(); }

} // namespace quillet
