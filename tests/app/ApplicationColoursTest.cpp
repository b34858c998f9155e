#include "app/ApplicationColours.h"

#include "ui/look.h"
#include "ui/palettes.h"

#include <QApplication>
#include <QStyle>
#include <gtest/gtest.h>

namespace quillet {
namespace {

using Scheme = AppearanceWishes::Scheme;

/// The offscreen display's toolkit knows nothing of a desktop.
class Colours : public ::testing::Test {
protected:
    static void SetUpTestSuite() { qputenv("QT_QPA_PLATFORM", "offscreen"); }

    int argc = 0;
    const QApplication application{argc, nullptr};
};

TEST_F(Colours, areLightAndBlueWhereNobodySaysAnything) {
    applyColours({});
    EXPECT_EQ(schemeOf(QApplication::palette()), ColourScheme::light);
    EXPECT_EQ(look::accent(QApplication::palette()), defaultAccent);
}

TEST_F(Colours, areWhatTheDesktopWantsAndGoBackWhenItWantsNothing) {
    const QColor green(58, 148, 74);
    applyColours({.scheme = Scheme::dark, .accent = green});
    EXPECT_EQ(QApplication::palette(), paletteOf(ColourScheme::dark, green));
    applyColours({.scheme = Scheme::light, .accent = green});
    EXPECT_EQ(QApplication::palette(), paletteOf(ColourScheme::light, green));
    applyColours({});
    EXPECT_EQ(QApplication::palette(), paletteOf(ColourScheme::light));
}

} // namespace
} // namespace quillet
