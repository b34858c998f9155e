#include "ui/palettes.h"

namespace quillet {

namespace {

struct Tones {
    QRgb window;
    QRgb base; ///< behind text that is edited, and lists
    QRgb button;
    QRgb text;
    QRgb link;
};

constexpr Tones lightTones{qRgb(246, 246, 247), qRgb(255, 255, 255), qRgb(239, 239, 241), qRgb(29, 29, 31),
                           qRgb(0, 104, 218)};
constexpr Tones darkTones{qRgb(36, 36, 39), qRgb(46, 46, 50), qRgb(54, 54, 58), qRgb(240, 240, 242),
                          qRgb(90, 170, 255)};

QColor faint(QColor colour, float opacity) {
    colour.setAlphaF(opacity);
    return colour;
}

void setAccent(QPalette& palette, const QColor& accent) {
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    palette.setColor(QPalette::Accent, accent);
#endif
}

} // namespace

QPalette paletteOf(ColourScheme scheme, const QColor& accent) {
    const Tones& tones = scheme == ColourScheme::dark ? darkTones : lightTones;
    const QColor text(tones.text);
    const QColor button(tones.button);

    // The constructor derives bevels and shadows from the button's colour.
    QPalette palette(text, button, button.lighter(130), button.darker(150), button.darker(120), text, Qt::white,
                     QColor(tones.base), QColor(tones.window));
    palette.setColor(QPalette::AlternateBase, QColor(tones.window));
    palette.setColor(QPalette::PlaceholderText, faint(text, 0.5F));
    palette.setColor(QPalette::ToolTipBase, button);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Link, QColor(tones.link));
    setAccent(palette, accent);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, faint(text, 0.4F));
    return palette;
}

QPalette accentOnly(const QColor& accent) {
    QPalette palette;
    setAccent(palette, accent);
    return palette;
}

ColourScheme schemeOf(const QPalette& palette) {
    const int text = qGray(palette.color(QPalette::WindowText).rgb());
    return text > qGray(palette.color(QPalette::Window).rgb()) ? ColourScheme::dark : ColourScheme::light;
}

} // namespace quillet
