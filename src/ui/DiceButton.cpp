#include "ui/DiceButton.h"

#include <QFontMetrics>
#include <QPainter>

#include <array>

namespace quillet {

namespace {

constexpr double dieSize = 14;
constexpr int gap = 7; // between the die and the words
constexpr int paddingBeside = 12;
constexpr double pipSize = 2.6;
constexpr double pipPlace = 3.4; // from the die's middle

/// The label without the die.
QString words(const QString& label) { return label.section(QLatin1Char(' '), 1); }

/// The five, a little tilted.
void drawDie(QPainter& painter, const QPointF& middle) {
    painter.save();
    painter.translate(middle);
    painter.rotate(-10);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(235, 77, 75));
    painter.drawRoundedRect(QRectF(-dieSize / 2, -dieSize / 2, dieSize, dieSize), 3.5, 3.5);
    painter.setBrush(Qt::white);
    constexpr std::array<QPointF, 5> pips{QPointF(-pipPlace, -pipPlace), QPointF(pipPlace, -pipPlace), QPointF(0, 0),
                                          QPointF(-pipPlace, pipPlace), QPointF(pipPlace, pipPlace)};
    for (const QPointF& pip : pips)
        painter.drawEllipse(pip, pipSize / 2, pipSize / 2);
    painter.restore();
}

} // namespace

DiceButton::DiceButton(QWidget* parent)
    : PanelButton(QStringLiteral("🎲 随机换一张"), look::font(look::bodyPixels),
                  {.radius = 6, .paddingAbove = 4, .paddingBeside = paddingBeside}, parent) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize DiceButton::sizeHint() const {
    const int textWidth = QFontMetrics(font()).horizontalAdvance(words(text()));
    return {static_cast<int>(dieSize) + gap + textWidth + 2 * paddingBeside, PanelButton::sizeHint().height()};
}

void DiceButton::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    prepare(painter);
    look::fillRounded(painter, rect(), radius(), background());
    drawDie(painter, {paddingBeside + dieSize / 2, height() / 2.0});
    painter.setPen(foreground());
    const int left = paddingBeside + static_cast<int>(dieSize) + gap;
    look::drawLine(painter, rect().adjusted(left, 0, 0, 0), Qt::AlignLeft, words(text()));
}

} // namespace quillet
