#include "tools/SymbolButton.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPolygonF>

namespace quillet {

namespace {

constexpr double symbolSize = 12;
constexpr double gap = 5;

QString title(SymbolButton::Symbol symbol) {
    switch (symbol) {
        case SymbolButton::Symbol::play:
            return QStringLiteral("▶");
        case SymbolButton::Symbol::pause:
            return QStringLiteral("⏸");
        case SymbolButton::Symbol::toTop:
            break;
    }
    return QStringLiteral("⇱ 顶部");
}

QString words(const QString& text) { return text.section(QLatin1Char(' '), 1); }

void draw(QPainter& painter, SymbolButton::Symbol symbol, const QPointF& middle, const QColor& colour) {
    painter.save();
    painter.translate(middle);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colour);
    switch (symbol) {
        case SymbolButton::Symbol::play:
            painter.drawPolygon(QPolygonF({{-3.5, -5.5}, {5.5, 0}, {-3.5, 5.5}}));
            break;
        case SymbolButton::Symbol::pause:
            painter.drawRoundedRect(QRectF(-5, -5.5, 3.5, 11), 1, 1);
            painter.drawRoundedRect(QRectF(1.5, -5.5, 3.5, 11), 1, 1);
            break;
        case SymbolButton::Symbol::toTop:
            painter.setPen(QPen(colour, 1.4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            painter.setBrush(Qt::NoBrush);
            painter.drawPolyline(QPolygonF({{-5, 5}, {-5, -5}, {5, -5}})); // the corner
            painter.drawLine(QPointF(5, 5), QPointF(-2, -2));
            painter.drawPolyline(QPolygonF({{-2, 2}, {-2, -2}, {2, -2}}));
            break;
    }
    painter.restore();
}

} // namespace

SymbolButton::SymbolButton(Symbol first, QWidget* parent)
    : PanelButton(title(first), look::font(12), {.radius = 6, .paddingAbove = 5, .paddingBeside = 8}, parent),
      symbol(first) {}

void SymbolButton::showSymbol(Symbol next) {
    if (symbol == next) return;
    symbol = next;
    setText(title(symbol));
    update();
}

QColor SymbolButton::background() const {
    return QColor(255, 255, 255, touch() == look::Touch::none ? 46 : (touch() == look::Touch::hovered ? 66 : 92));
}

QSize SymbolButton::sizeHint() const {
    const double written = QFontMetricsF(font()).horizontalAdvance(words(text()));
    return {static_cast<int>(symbolSize + gap + written) + 16, PanelButton::sizeHint().height()};
}

void SymbolButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    prepare(painter);
    look::fillRounded(painter, rect(), radius(), background());
    const QString written = words(text());
    const double textWidth = QFontMetricsF(font()).horizontalAdvance(written);
    const double whole = written.isEmpty() ? symbolSize : symbolSize + gap + textWidth;
    const double left = (width() - whole) / 2;
    draw(painter, symbol, {left + symbolSize / 2, height() / 2.0}, foreground());
    painter.setPen(foreground());
    painter.setFont(font());
    look::drawLine(painter, {left + symbolSize + gap, 0, textWidth, height() + 0.0}, Qt::AlignLeft, written);
}

} // namespace quillet
