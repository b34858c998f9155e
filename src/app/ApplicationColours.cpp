#include "app/ApplicationColours.h"

#include "ui/palettes.h"

#include <QApplication>
#include <QStyle>

namespace quillet {

namespace {

ColourScheme wantedScheme(const AppearanceWishes& wishes, ColourScheme otherwise) {
    switch (wishes.scheme) {
        case AppearanceWishes::Scheme::light:
            return ColourScheme::light;
        case AppearanceWishes::Scheme::dark:
            return ColourScheme::dark;
        case AppearanceWishes::Scheme::unsaid:
            break;
    }
    return otherwise;
}

} // namespace

ApplicationColours::ApplicationColours() {
    appearance.onChange = [this] { applyColours(appearance.wishes()); };
    applyColours(appearance.wishes());
}

void applyColours(const AppearanceWishes& wishes) {
    QApplication::setPalette(QPalette()); // back to the toolkit's, whatever that is by now
    const QPalette toolkits = QApplication::palette();
    // A toolkit that knows nothing of the desktop has its drawing style's grey one.
    const bool isDesktops = toolkits != QApplication::style()->standardPalette();
    const ColourScheme own = schemeOf(toolkits);
    const ColourScheme scheme = wantedScheme(wishes, own);
    if (!isDesktops || scheme != own) {
        const QColor accent = isDesktops ? toolkits.color(QPalette::Highlight) : defaultAccent;
        QApplication::setPalette(paletteOf(scheme, wishes.accent.value_or(accent)));
        return;
    }
    if (wishes.accent) QApplication::setPalette(accentOnly(*wishes.accent));
}

} // namespace quillet
