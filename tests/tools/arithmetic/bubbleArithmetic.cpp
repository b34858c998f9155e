#include "tools/bubbleArithmetic.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace quillet {
namespace {

struct Stored {
    const char* name;
    double stored;
    double expected;
};

class BubbleDiameter : public testing::TestWithParam<Stored> {};

TEST_P(BubbleDiameter, staysWithinItsLimits) { EXPECT_EQ(bubbleDiameter(GetParam().stored), GetParam().expected); }

INSTANTIATE_TEST_SUITE_P(Table, BubbleDiameter,
                         testing::Values(Stored{"nothingStored", 0, 200}, Stored{"negative", -300, 200},
                                         Stored{"tooSmall", 50, 90}, Stored{"smallest", 90, 90},
                                         Stored{"ordinary", 312.5, 312.5}, Stored{"largest", 700, 700},
                                         Stored{"tooLarge", 1000, 700},
                                         Stored{"infinite", std::numeric_limits<double>::infinity(), 700},
                                         Stored{"notANumber", std::numeric_limits<double>::quiet_NaN(), 200}),
                         [](const auto& row) { return row.param.name; });

TEST(Bubble, standsInTheLowerRightOfWhatIsVisible) {
    const Screen screen{"A", {-100, 0, 1440, 900}, {-40, 60, 1380, 800}, 1, {1440, 900}};
    EXPECT_EQ(defaultBubbleFrame(200, screen), (Rect{1100, 100, 200, 200}));
}

TEST(Bubble, hasItsGripOnTheRing) {
    const Point grip = bubbleGripCentre({200, 200});
    EXPECT_NEAR(grip.x, 100 + 98.5 * std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(grip.y, 100 - 98.5 * std::sqrt(0.5), 1e-6);
}

TEST(Bubble, isResizedByItsGripAndMovedByAllElse) {
    const Size view{200, 200};
    const Point grip = bubbleGripCentre(view);
    EXPECT_EQ(bubbleDragAt(grip, view), BubbleDrag::resize);
    EXPECT_EQ(bubbleDragAt({grip.x - 18, grip.y}, view), BubbleDrag::resize);
    EXPECT_EQ(bubbleDragAt({grip.x - 18.5, grip.y}, view), BubbleDrag::move);
    EXPECT_EQ(bubbleDragAt({grip.x, grip.y + 18}, view), BubbleDrag::resize);
    EXPECT_EQ(bubbleDragAt({grip.x, grip.y + 18.5}, view), BubbleDrag::move);
    EXPECT_EQ(bubbleDragAt({199.5, 0.5}, view), BubbleDrag::resize) << "the corner itself";
    EXPECT_EQ(bubbleDragAt({178, 0}, view), BubbleDrag::resize) << "the corner zone's edges belong to it";
    EXPECT_EQ(bubbleDragAt({177.9, 0}, view), BubbleDrag::move);
    EXPECT_EQ(bubbleDragAt({100, 100}, view), BubbleDrag::move);
    EXPECT_EQ(bubbleDragAt({0.5, 199.5}, view), BubbleDrag::move) << "the other corners";
}

TEST(Bubble, growsFromItsUpperLeftCornerAndIgnoresTheScreen) {
    const Rect start{1000, 30, 200, 200};
    EXPECT_EQ(resizedBubble(start, 100), (Rect{1000, -70, 300, 300}));
    EXPECT_EQ(resizedBubble(start, -50), (Rect{1000, 80, 150, 150}));
    EXPECT_EQ(resizedBubble(start, -500), (Rect{1000, 140, 90, 90}));
    EXPECT_EQ(resizedBubble(start, 5000), (Rect{1000, -470, 700, 700}));
    EXPECT_EQ(resizedBubble(start, 0), start);
}

} // namespace
} // namespace quillet
