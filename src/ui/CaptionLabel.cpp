#include "ui/CaptionLabel.h"

#include "ui/look.h"

#include <QPainter>
#include <QTextLayout>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

constexpr double unlimited = 1e6;

/// Lays the text out in lines of this width; answers the size they need.
QSizeF breakLines(QTextLayout& layout, double width) {
    QTextOption option(Qt::AlignLeft);
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    // Lines of equal height, whichever fonts their signs come from.
    const double lineHeight = look::lineHeight(layout.font().pixelSize()) + 1; // lines of prose want some air
    QSizeF needed(0, 0);
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(width);
        const double baseline = lineHeight / 2 + look::baselineBelowMiddle(layout.font().pixelSize());
        line.setPosition({0, needed.height() + baseline - line.ascent()});
        needed = {std::max(needed.width(), line.naturalTextWidth()), needed.height() + lineHeight};
    }
    layout.endLayout();
    return needed.isEmpty() ? QSizeF(0, lineHeight) : needed;
}

QString lines(const QString& text) { return QString(text).replace(QLatin1Char('\n'), QChar::LineSeparator); }

} // namespace

CaptionLabel::CaptionLabel(const QString& text, int pixels, QWidget* parent) : QLabel(text, parent) {
    setFont(look::font(pixels));
    setTextFormat(Qt::PlainText);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
}

QSize CaptionLabel::sizeHint() const {
    QTextLayout layout(lines(text()), font());
    const QSizeF size = breakLines(layout, unlimited);
    return {static_cast<int>(std::ceil(size.width())), static_cast<int>(size.height())};
}

QSize CaptionLabel::minimumSizeHint() const {
    const QSize size = sizeHint();
    return {std::min(size.width(), 2 * font().pixelSize()), size.height()};
}

int CaptionLabel::heightForWidth(int width) const {
    QTextLayout layout(lines(text()), font());
    return static_cast<int>(breakLines(layout, width).height());
}

void CaptionLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(look::secondaryText(palette()));
    QTextLayout layout(lines(text()), font());
    breakLines(layout, width());
    layout.draw(&painter, {0, 0});
}

} // namespace quillet
