#include "ui/look.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>

#include <algorithm>
#include <cmath>

namespace quillet::look {

namespace {

// Without a name, a system in another language would show the Japanese forms of these signs.
const QStringList& chineseFamilies() {
    static const QStringList families{QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Source Han Sans SC"),
                                      QStringLiteral("Noto Sans SC"), QStringLiteral("WenQuanYi Micro Hei")};
    return families;
}

constexpr QRgb grey = qRgb(128, 128, 128);

QColor withOpacity(QColor colour, double opacity) {
    colour.setAlphaF(static_cast<float>(opacity));
    return colour;
}

} // namespace

QFont font(int pixels, QFont::Weight weight) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setFamilies(font.families() + chineseFamilies());
    font.setPixelSize(pixels);
    font.setWeight(weight);
    return font;
}

int lineHeight(int pixels) { return static_cast<int>(std::lround(pixels * 1.25)); }

QColor accent(const QPalette& palette) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    return palette.color(QPalette::Active, QPalette::Accent);
#else
    return palette.color(QPalette::Active, QPalette::Highlight);
#endif
}

QColor primaryText(const QPalette& palette) { return palette.color(QPalette::Active, QPalette::WindowText); }

QColor secondaryText(const QPalette& palette) { return withOpacity(primaryText(palette), 0.62); }

QColor fill(Touch touch) {
    return withOpacity(grey, touch == Touch::none ? 0.18 : (touch == Touch::hovered ? 0.26 : 0.36));
}

QColor touched(const QColor& colour, Touch touch) {
    return touch == Touch::none ? colour : (touch == Touch::hovered ? colour.lighter(107) : colour.darker(115));
}

QColor line(const QPalette& palette) { return withOpacity(primaryText(palette), 0.14); }

QRectF snapped(const QPainter& painter, const QRectF& rect) {
    const QTransform toDevice = painter.deviceTransform();
    const QRectF device = toDevice.mapRect(rect);
    const QRectF whole(QPointF(std::round(device.left()), std::round(device.top())),
                       QPointF(std::round(device.right()), std::round(device.bottom())));
    return toDevice.inverted().mapRect(whole);
}

double baselineBelowMiddle(int pixels) { return 0.37 * pixels; }

void drawLine(QPainter& painter, const QRectF& rect, Qt::Alignment alignment, const QString& text) {
    const double spare = rect.width() - QFontMetricsF(painter.font()).horizontalAdvance(text);
    const double left = alignment.testFlag(Qt::AlignHCenter) ? spare / 2 : 0;
    const double baseline = rect.center().y() + baselineBelowMiddle(painter.font().pixelSize());
    painter.drawText(QPointF(rect.left() + left, std::round(baseline * 2) / 2), text);
}

void fillRounded(QPainter& painter, const QRectF& rect, double radius, const QBrush& brush) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(brush);
    painter.drawRoundedRect(snapped(painter, rect), radius, radius);
}

} // namespace quillet::look
