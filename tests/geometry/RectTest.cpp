#include "geometry/Rect.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace quillet {
namespace {

struct EvenCase {
    const char* name;
    Rect rect;
    Rect expected;
};

class IntegralEven : public testing::TestWithParam<EvenCase> {};

TEST_P(IntegralEven, roundsHalvesToEvenAndCutsSizesToEven) {
    EXPECT_EQ(GetParam().rect.integralEven(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Table, IntegralEven,
    testing::Values(EvenCase{"halvesGoToTheEvenNeighbour", {10.4, 20.5, 101.6, 57.5}, {10, 20, 102, 58}},
                    EvenCase{"upwardHalf", {1.5, 3.5, 4, 4}, {2, 4, 4, 4}},
                    EvenCase{"sizeIsRoundedBeforeItIsCut", {0, 0, 99.5, 3}, {0, 0, 100, 2}},
                    EvenCase{"neverSmallerThanTwoByTwo", {0, 0, 1, 0.4}, {0, 0, 2, 2}},
                    EvenCase{"emptyBecomesTwoByTwo", {5, 6, 0, 0}, {5, 6, 2, 2}},
                    EvenCase{"originStaysOdd", {3, 7, 8, 8}, {3, 7, 8, 8}},
                    EvenCase{"negativeOrigin", {-2.5, -3.5, 11, 13}, {-2, -4, 10, 12}},
                    EvenCase{"negativeSizeIsStandardised", {10, 10, -4, -6}, {6, 4, 4, 6}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(IntegralEvenDeathTest, aSizeThatIsNotFiniteStopsTheProgram) {
    EXPECT_DEATH((void)(Rect{0, 0, std::numeric_limits<double>::infinity(), 2}.integralEven()), "size");
    EXPECT_DEATH((void)(Rect{0, 0, 2, std::nan("")}.integralEven()), "size");
    EXPECT_DEATH((void)(Rect{0, 0, 1e300, 2}.integralEven()), "size");
}

TEST(TruncatedDeathTest, acceptsWhatFitsAndStopsAtTheFirstNumberThatDoesNot) {
    EXPECT_EQ(truncated(101.9, "a width"), 101);
    EXPECT_EQ(truncated(-0.9, "a width"), 0);
    EXPECT_EQ(truncated(-9223372036854775808.0, "a width"), std::numeric_limits<std::int64_t>::min());
    EXPECT_DEATH((void)truncated(9223372036854775808.0, "a width"), "a width is not a finite");
    EXPECT_DEATH((void)truncated(std::nan(""), "a width"), "a width is not a finite");
}

TEST(Rect, containsItsMinimumEdgesButNotItsMaximumEdges) {
    const Rect rect{10, 20, 30, 40};
    EXPECT_TRUE(rect.contains({10, 20}));
    EXPECT_TRUE(rect.contains({39.999, 59.999}));
    EXPECT_FALSE(rect.contains({40, 30}));
    EXPECT_FALSE(rect.contains({20, 60}));
    EXPECT_FALSE((Rect{10, 20, 0, 40}).contains({10, 20}));
    EXPECT_FALSE(Rect::null().contains({0, 0}));
}

TEST(Rect, tellsNullAndEmptyIntersectionsApart) {
    const Rect rect{0, 0, 10, 10};
    EXPECT_EQ(rect.intersection({5, 5, 10, 10}), (Rect{5, 5, 5, 5}));

    const Rect touching = rect.intersection({10, 0, 10, 10});
    EXPECT_FALSE(touching.isNull());
    EXPECT_TRUE(touching.isEmpty());
    EXPECT_EQ(touching, (Rect{10, 0, 0, 10}));

    EXPECT_TRUE(rect.intersection({11, 0, 10, 10}).isNull());
    EXPECT_TRUE(rect.intersection(Rect::null()).isNull());
    EXPECT_TRUE(Rect::null().isEmpty());

    EXPECT_TRUE(rect.intersects({9, 9, 1, 1}));
    EXPECT_FALSE(rect.intersects({10, 0, 10, 10}));
    EXPECT_FALSE(rect.intersects({20, 0, 10, 10}));
}

TEST(Rect, describesTheSameAreaFromAnyCorner) {
    const Rect flipped{10, 10, -4, -6};
    EXPECT_EQ(flipped.standardised(), (Rect{6, 4, 4, 6}));
    EXPECT_EQ(flipped.minX(), 6);
    EXPECT_EQ(flipped.maxY(), 10);
    EXPECT_EQ(flipped.centre(), (Point{8, 7}));
    EXPECT_EQ(flipped.size(), (Size{4, 6}));
    EXPECT_EQ(flipped.intersection({0, 0, 7, 7}), (Rect{6, 4, 1, 3}));
    EXPECT_EQ(flipped.offsetBy(1, -1), (Rect{7, 3, 4, 6}));
    EXPECT_TRUE(Rect::null().offsetBy(1, 1).isNull());
}

} // namespace
} // namespace quillet
