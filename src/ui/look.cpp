#include "ui/look.h"

#include "ui/palettes.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quillet::look {

namespace {

// Without a name, a system in another language would show the Japanese forms of these signs.
const QStringList& chineseFamilies() {
    static const QStringList families{QStringLiteral("Noto Sans CJK SC"), QStringLiteral("Source Han Sans SC"),
                                      QStringLiteral("Noto Sans SC"), QStringLiteral("WenQuanYi Micro Hei")};
    return families;
}

constexpr QRgb grey = qRgb(128, 128, 128);

// White words on the accent stay legible, and on a dark ground it is still seen where it lies.
constexpr double leastContrastToWhite = 3; // https://www.w3.org/TR/WCAG21/#contrast-minimum, for large text
constexpr double leastContrastToGround = 1.5;

double luminance(const QColor& colour) {
    const auto linear = [](float share) {
        return share <= 0.04045F ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}

/// A small step towards `other`.
QColor mixed(const QColor& colour, const QColor& other) {
    const auto mix = [](int a, int b) { return a + (b > a ? 1 : -1) * ((std::abs(b - a) + 31) / 32); };
    return QColor::fromRgb(mix(colour.red(), other.red()), mix(colour.green(), other.green()),
                           mix(colour.blue(), other.blue()));
}

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

double contrast(const QColor& one, const QColor& other) {
    const double a = luminance(one) + 0.05;
    const double b = luminance(other) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

QColor accent(const QPalette& palette) {
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    QColor colour = palette.color(QPalette::Active, QPalette::Accent);
#else
    QColor colour = palette.color(QPalette::Active, QPalette::Highlight);
#endif
    while (contrast(colour, Qt::white) < leastContrastToWhite)
        colour = mixed(colour, Qt::black);
    if (schemeOf(palette) == ColourScheme::light) return colour;
    const QColor ground = palette.color(QPalette::Active, QPalette::Window);
    while (contrast(colour, ground) < leastContrastToGround)
        colour = mixed(colour, Qt::white);
    return colour;
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

QColor groove(const QPalette& palette) { return withOpacity(primaryText(palette), 0.18); }

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
