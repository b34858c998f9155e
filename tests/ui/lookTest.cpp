#include "ui/look.h"

#include "ui/palettes.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

struct Accent {
    const char* name;
    QColor colour;
    bool isKept;
};

class AccentOfADesktop : public testing::TestWithParam<Accent> {};

TEST_P(AccentOfADesktop, carriesWhiteWordsAndIsSeenOnItsGround) {
    for (const ColourScheme scheme : {ColourScheme::light, ColourScheme::dark}) {
        const QPalette palette = paletteOf(scheme, GetParam().colour);
        const QColor accent = look::accent(palette);
        EXPECT_GE(look::contrast(accent, Qt::white), 3);
        EXPECT_GE(look::contrast(accent, palette.color(QPalette::Window)), 1.5);
        EXPECT_EQ(accent == GetParam().colour, GetParam().isKept);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, AccentOfADesktop,
                         testing::Values(Accent{"theProgramsOwn", defaultAccent, true},
                                         Accent{"green", QColor(58, 148, 74), true},
                                         Accent{"purple", QColor(145, 65, 172), true},
                                         Accent{"white", Qt::white, false}, Accent{"yellow", Qt::yellow, false},
                                         Accent{"palePink", QColor(250, 180, 200), false}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(Look, lightensAnAccentThatWouldDrownInADarkWindowOnly) {
    EXPECT_EQ(look::accent(paletteOf(ColourScheme::light, Qt::black)), QColor(Qt::black));
    const QPalette dark = paletteOf(ColourScheme::dark, Qt::black);
    EXPECT_GE(look::contrast(look::accent(dark), dark.color(QPalette::Window)), 1.5);
}

TEST(Look, countsContrastAsTheGuidelinesDo) {
    EXPECT_NEAR(look::contrast(Qt::white, Qt::black), 21, 1e-3);
    EXPECT_NEAR(look::contrast(QColor(119, 119, 119), Qt::white), 4.48, 0.01);
    EXPECT_EQ(look::contrast(Qt::red, Qt::red), 1);
}

} // namespace
} // namespace quillet
