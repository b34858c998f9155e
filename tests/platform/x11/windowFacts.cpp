// Answers of a server about windows whose programs, or which itself, do not tell the truth.
#include "platform/x11/windowFacts.h"

#include "platform/x11/regions.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace quillet {
namespace {

struct ShapeAnswer {
    xcb_shape_get_rectangles_reply_t head{};
    std::array<xcb_rectangle_t, 2> rectangles{};
};

struct PropertyAnswer {
    xcb_get_property_reply_t head{};
    std::uint32_t value = 0x12345678;
};

class WindowFacts : public ::testing::Test {
protected:
    WindowFacts() {
        geometry.width = 100;
        geometry.height = 80;
        extents.bounding_shaped = 1;
        shape.head.length = 4;
        shape.head.rectangles_len = 2;
        opacity.head.format = 32;
        opacity.head.value_len = 1;
        opacity.head.length = 1;
    }
    [[nodiscard]] StackedWindow facts() const {
        return windowFacts(7, {&attributes, &geometry, &extents, &shape.head, &opacity.head}).value();
    }

    xcb_get_window_attributes_reply_t attributes{};
    xcb_get_geometry_reply_t geometry{};
    xcb_shape_query_extents_reply_t extents{};
    ShapeAnswer shape;
    PropertyAnswer opacity;
};

TEST_F(WindowFacts, keepOfTheMaskWhatLiesInTheWindow) {
    shape.rectangles = {{{-10, 0, 60, 10}, {50, 10, 200, 200}}};
    EXPECT_EQ(facts().shape, QRegion(0, 0, 50, 10) + QRegion(50, 10, 50, 70));
}

TEST_F(WindowFacts, believeInNoMoreRectanglesThanHaveCome) {
    shape.rectangles = {{{0, 0, 20, 10}, {0, 10, 30, 10}}};
    shape.head.rectangles_len = 0xffffffffU;
    EXPECT_EQ(facts().shape, QRegion(0, 0, 20, 10) + QRegion(0, 10, 30, 10));
    shape.head.length = 2;
    EXPECT_EQ(facts().shape, QRegion(0, 0, 20, 10));
}

TEST_F(WindowFacts, takeAnOpacityOnlyOfTheRightKind) {
    EXPECT_EQ(facts().opacity, 0x12345678U);
    opacity.head.format = 8;
    EXPECT_EQ(facts().opacity, 0xffffffffU);
    opacity.head.format = 32;
    opacity.head.length = 0;
    EXPECT_EQ(facts().opacity, 0xffffffffU);
}

TEST_F(WindowFacts, areNoneWhenSomethingWasNotAnswered) {
    EXPECT_FALSE(windowFacts(7, {&attributes, &geometry, nullptr, &shape.head, &opacity.head}));
    EXPECT_TRUE(windowFacts(7, {&attributes, &geometry, &extents, &shape.head, nullptr}));
}

TEST(RegionOf, rectanglesInNoOrderIsWhatTheyCover) {
    const std::vector<xcb_rectangle_t> unsorted{{40, 40, 20, 20}, {0, 0, 50, 50}, {10, 30, 5, 60}, {0, 0, 0, 9}};
    const QRegion covered = QRegion(40, 40, 20, 20) + QRegion(0, 0, 50, 50) + QRegion(10, 30, 5, 60);
    EXPECT_EQ(regionOf(unsorted.data(), unsorted.size()), covered);
    EXPECT_EQ(covered - regionOf(unsorted.data(), unsorted.size()), QRegion());
}

} // namespace
} // namespace quillet
