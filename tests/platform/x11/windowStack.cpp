#include "platform/x11/WindowStack.h"

#include "platform/x11/OwnRegion.h"
#include "platform/x11/TaintedWindows.h"
#include "platform/x11/groundPlan.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

using namespace std::chrono_literals;

enum class Owner { others, ours };
enum class Pixels { opaque, translucent };

StackedWindow shown(std::uint32_t id, const PixelRect& rect, Owner owner = Owner::others,
                    Pixels pixels = Pixels::opaque) {
    StackedWindow window;
    window.id = id;
    window.outer = rect;
    window.isMapped = true;
    window.isOwn = owner == Owner::ours;
    window.isKnown = true;
    window.hasAlpha = pixels == Pixels::translucent;
    window.shape = QRegion(0, 0, rect.width, rect.height);
    return window;
}

QRegion region(const PixelRect& rect) { return QRegion(rect.x, rect.y, rect.width, rect.height); }

// The mirror of the stack.

TEST(WindowStack, putsAConfiguredWindowRightAboveTheNamedOne) {
    WindowStack stack;
    for (std::uint32_t id = 1; id <= 4; ++id)
        stack.add(shown(id, {0, 0, 10, 10}));
    stack.configure(1, {{0, 0, 10, 10}, 0, 3});
    EXPECT_EQ(stack.order(), (std::vector<std::uint32_t>{2, 3, 1, 4}));
    stack.configure(4, {{0, 0, 10, 10}, 0, 0});
    EXPECT_EQ(stack.order(), (std::vector<std::uint32_t>{4, 2, 3, 1}));
    stack.configure(1, {{0, 0, 10, 10}, 0, 4});
    EXPECT_EQ(stack.order(), (std::vector<std::uint32_t>{4, 1, 2, 3}));
    stack.configure(2, {{0, 0, 10, 10}, 0, 99});
    EXPECT_EQ(stack.order(), (std::vector<std::uint32_t>{4, 1, 2, 3})) << "above a window that is not here";
}

TEST(WindowStack, ignoresNewsOfWindowsThatAreNotHere) {
    WindowStack stack;
    stack.configure(7, {{0, 0, 1, 1}, 0, 0});
    stack.setMapped(7, true);
    stack.raise(7);
    stack.learn(shown(7, {0, 0, 1, 1}));
    stack.remove(7);
    EXPECT_TRUE(stack.order().empty());
    EXPECT_FALSE(stack.changes().any);
}

TEST(WindowStack, tellsEveryPlaceThatAMovedWindowOfOursHasHad) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 10, 10}, Owner::ours));
    stack.forgetChanges();
    stack.setPlace(1, {20, 0, 10, 10}, 0);
    stack.setPlace(1, {40, 0, 10, 10}, 0);
    EXPECT_EQ(stack.changes().ownPlaces, region({20, 0, 10, 10}) + region({40, 0, 10, 10}));
    ASSERT_EQ(stack.changes().left.size(), 2U);
    EXPECT_EQ(stack.changes().left[0].place, region({0, 0, 10, 10}));
    EXPECT_EQ(stack.changes().left[1].place, region({20, 0, 10, 10}));
    EXPECT_TRUE(stack.changes().others.isEmpty());
}

TEST(WindowStack, tellsBothPlacesOfAMovedWindowOfOthers) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 10, 10}));
    stack.forgetChanges();
    stack.setPlace(1, {30, 5, 10, 10}, 0);
    EXPECT_EQ(stack.changes().others, region({0, 0, 10, 10}) + region({30, 5, 10, 10}));
}

TEST(WindowStack, saysNothingOfHiddenWindows) {
    WindowStack stack;
    StackedWindow hidden = shown(1, {0, 0, 10, 10});
    hidden.isMapped = false;
    stack.add(hidden);
    stack.setPlace(1, {30, 5, 10, 10}, 0);
    stack.remove(1);
    EXPECT_FALSE(stack.changes().any);
}

TEST(WindowStack, replacesAWindowWhoseNumberIsUsedAgain) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 10, 10}, Owner::ours));
    stack.add(shown(2, {0, 0, 10, 10}));
    stack.add(shown(1, {5, 5, 10, 10}));
    EXPECT_EQ(stack.order(), (std::vector<std::uint32_t>{2, 1}));
    EXPECT_EQ(stack.ownCount(), 0U);
}

// Where ours are seen.

TEST(OwnRegion, isCutByWindowsAboveWhenTheServerComposes) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 100, 100}, Owner::ours));
    stack.add(shown(2, {50, 0, 100, 100}, Owner::others, Pixels::translucent));
    const OwnRegion own;
    EXPECT_EQ(own.region(stack, Compositing::byServer), region({0, 0, 50, 100}));
    stack.raise(1);
    EXPECT_EQ(own.region(stack, Compositing::byServer), region({0, 0, 100, 100}));
}

TEST(OwnRegion, isNeitherCutNorWithoutShadowUnderACompositingManager) {
    WindowStack stack;
    stack.add(shown(1, {200, 200, 100, 100}, Owner::ours));
    stack.add(shown(2, {250, 200, 100, 100}));
    const int margin = OwnRegion::shadowMargin;
    EXPECT_EQ(OwnRegion().region(stack, Compositing::byManager), region(PixelRect{200, 200, 100, 100}.grownBy(margin)));
    WindowStack translucent;
    translucent.add(shown(1, {200, 200, 100, 100}, Owner::ours, Pixels::translucent));
    EXPECT_EQ(OwnRegion().region(translucent, Compositing::byManager), region({200, 200, 100, 100}));
}

TEST(OwnRegion, remembersLeftPlacesUntilAManagerHasDrawnThere) {
    const WindowStack empty;
    OwnRegion own;
    const OwnRegion::Clock::time_point start{};
    const QRegion moved = region({0, 0, 10, 10});
    const QRegion unmapped = region({50, 0, 10, 10});
    const QRegion undrawn = region({90, 0, 10, 10});
    own.draw(moved + unmapped + undrawn, start); // before, which proves nothing
    own.leave({{moved, LeftPlace::Reason::moved, false}}, Compositing::byManager, start);
    own.leave({{unmapped, LeftPlace::Reason::unmapped, false}}, Compositing::byManager, start);
    own.leave({{undrawn, LeftPlace::Reason::moved, false}}, Compositing::byManager, start + 50ms);
    own.draw(moved + unmapped + region({90, 0, 10, 9}), start + 60ms); // not all of it
    const auto at = [&](std::chrono::milliseconds when) {
        own.expire(start + when);
        return own.region(empty, Compositing::byManager);
    };
    EXPECT_EQ(at(259ms), moved + unmapped + undrawn);
    EXPECT_EQ(own.nextExpiry(), start + 260ms);
    EXPECT_EQ(at(260ms), unmapped + undrawn);
    own.draw(unmapped, start + 950ms); // a fade goes on
    EXPECT_EQ(at(1149ms), unmapped + undrawn);
    EXPECT_EQ(at(1150ms), undrawn);
    EXPECT_TRUE(own.region(empty, Compositing::byServer).isEmpty());
    EXPECT_EQ(at(3049ms), undrawn);
    EXPECT_EQ(at(3050ms), QRegion());
    EXPECT_EQ(own.nextExpiry(), std::nullopt);
}

TEST(OwnRegion, forgetsLeftPlacesAfterTheirTimeWhenTheServerComposes) {
    const WindowStack empty;
    OwnRegion own;
    const OwnRegion::Clock::time_point start{};
    own.leave({{region({0, 0, 10, 10}), LeftPlace::Reason::moved, false}}, Compositing::byServer, start);
    own.expire(start + 199ms);
    EXPECT_EQ(own.trace(empty, Compositing::byServer), region({0, 0, 10, 10}));
    own.expire(start + 200ms);
    EXPECT_TRUE(own.trace(empty, Compositing::byServer).isEmpty());
}

// What is drawn where.

TEST(GroundPlan, drawsOnlyWhatNothingOpaqueHides) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 100, 100}));
    stack.add(shown(2, {0, 0, 60, 100}, Owner::others, Pixels::translucent));
    stack.add(shown(3, {40, 0, 100, 100}, Owner::ours));
    stack.add(shown(4, {0, 0, 20, 100}));
    const GroundPlan plan = groundPlan(region({0, 0, 120, 100}), stack, {}, Compositing::byManager);
    EXPECT_EQ(plan.background, region({100, 0, 20, 100}));
    ASSERT_EQ(plan.layers.size(), 3U);
    EXPECT_EQ(plan.layers[0].window, 1U);
    EXPECT_EQ(plan.layers[0].clip, region({20, 0, 80, 100}));
    EXPECT_EQ(plan.layers[1].window, 2U);
    EXPECT_EQ(plan.layers[1].clip, region({20, 0, 40, 100}));
    EXPECT_FALSE(plan.layers[1].isOpaque);
    EXPECT_EQ(plan.layers[2].window, 4U);
    EXPECT_EQ(plan.layers[2].clip, region({0, 0, 20, 100}));
}

TEST(GroundPlan, takesEveryWindowForOpaqueWhenTheServerComposes) {
    WindowStack stack;
    stack.add(shown(1, {0, 0, 100, 100}));
    stack.add(shown(2, {0, 0, 100, 100}, Owner::others, Pixels::translucent));
    const GroundPlan plan = groundPlan(region({0, 0, 100, 100}), stack, {}, Compositing::byServer);
    ASSERT_EQ(plan.layers.size(), 1U);
    EXPECT_EQ(plan.layers[0].window, 2U);
}

TEST(GroundPlan, leavesOutWhatAWindowHasNotPaintedYet) {
    WindowStack stack;
    stack.add(shown(1, {10, 10, 100, 100}));
    TaintedWindows tainted;
    tainted.begin(1, region({0, 0, 100, 100}));
    tainted.paint(1, region({0, 0, 100, 40}));
    const GroundPlan plan = groundPlan(region({0, 0, 200, 200}), stack, tainted, Compositing::byServer);
    ASSERT_EQ(plan.layers.size(), 1U);
    EXPECT_EQ(plan.layers[0].clip, region({10, 10, 100, 40}));
    EXPECT_TRUE(plan.background.contains(QPoint(60, 100)));
    EXPECT_EQ(tainted.places(stack), region({10, 50, 100, 60}));
    tainted.paint(1, region({0, 40, 100, 60}));
    EXPECT_EQ(tainted.partOf(1), nullptr);
}

} // namespace
} // namespace quillet
