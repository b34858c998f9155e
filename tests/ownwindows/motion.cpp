// Windows in motion: no frame on the way shows ours, and at rest nothing is missing.
#include "tests/fakes/x11/eventually.h"
#include "tests/ownwindows/Desk.h"
#include "tests/ownwindows/paced.h"

#include <gtest/gtest.h>

#include <set>

namespace quillet::testing {
namespace {

using namespace std::chrono_literals;

class InMotion : public ::testing::TestWithParam<Setup> {
protected:
    /// A desktop with some windows of others, recorded.
    void SetUp() override {
        ASSERT_TRUE(desk.isReady());
        ASSERT_TRUE(desk.record());
        lower = desk.addOther({.rect = {60, 60, 320, 240}, .seed = 2});
        upper = desk.addOther({.rect = {300, 180, 240, 200}, .seed = 3, .background = Background::none});
        desk.addOther({.rect = {40, 300, 200, 120}, .seed = 4, .handling = Handling::managed});
        watch = std::make_unique<RawRootWatch>(desk.server->displayName());
    }

    /// From now on every frame must show what the display shows now; ours are hidden.
    void nothingElseMoves() {
        const Picture picture = desk.recordedAtRest();
        ASSERT_EQ(difference(picture, desk.expectation(desk.shownAtRest())), "");
        desk.judge.expect(desk.expectation(picture));
    }

    /// Ours were to be seen on the display meanwhile, and no frame showed them or was wrong in another way.
    void noFrameWasWrong() {
        EXPECT_GT(desk.recordedNow().width, 0);
        EXPECT_TRUE(eventually([this] { return watch->tintedReads() > 0; }))
            << "the display never showed ours: nothing to prove";
        desk.proveEveryFrameClean();
        desk.judge.expect(std::nullopt);
    }

    Desk desk{GetParam()};
    std::unique_ptr<RawRootWatch> watch;
    xcb_window_t lower = 0;
    xcb_window_t upper = 0;
};

// Ours move, nothing else does.

TEST_P(InMotion, ownDragChangesNoFrame) {
    nothingElseMoves();
    const xcb_window_t panel = desk.addOwn({.rect = {100, 80, 200, 150}, .handling = Handling::managed});
    const xcb_window_t bubble = desk.addOwn({.rect = {400, 80, 120, 120}, .outline = Outline::disc});
    const xcb_window_t outline = desk.addOwn({.rect = {20, 20, 560, 400}, .outline = Outline::frame});
    paced({60, 800ms}, [&](int step) {
        desk.own->move(panel, 30 + backAndForth(step, 300, 9), 40 + backAndForth(step, 200, 5));
        desk.own->move(bubble, 500 - backAndForth(step, 450, 13), 300 - backAndForth(step, 250, 7));
        desk.own->move(outline, 20 + backAndForth(step, 60, 3), 20);
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, stormOfOwnMovesChangesNoFrame) {
    nothingElseMoves();
    const xcb_window_t window = desk.addOwn({.rect = {100, 80, 160, 120}});
    int number = 0;
    paced({100, 1000ms}, [&](int) {
        desk.own->run([&](xcb_connection_t* c) {
            for (int each = 0; each < 20; ++each, ++number) {
                const std::int32_t place[] = {backAndForth(number, 450, 7), backAndForth(number, 330, 5)};
                xcb_configure_window(c, window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place);
            }
        });
    });
    EXPECT_EQ(number, 2000);
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, ownThatComeAndGoChangeNoFrame) {
    nothingElseMoves();
    const xcb_window_t panel = desk.addOwn({.rect = {20, 40, 260, 200}, .handling = Handling::managed});
    paced({12, 1200ms}, [&](int step) {
        if (step % 4 == 0) desk.own->hide(panel);
        if (step % 4 == 2) desk.own->map(panel);
        const xcb_window_t menu = desk.own->add(
            {.rect = {400 + step * 5, 100, 90, 160}, .paint = magenta, .type = "_NET_WM_WINDOW_TYPE_POPUP_MENU"});
        EXPECT_NE(menu, 0U);
        if (step % 3 == 0) desk.own->repaint(menu, 1);
        desk.own->destroy(menu);
    });
    EXPECT_TRUE(desk.showOwn());
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, ownThatGrowAndShrinkChangeNoFrame) {
    nothingElseMoves();
    const xcb_window_t panel = desk.addOwn({.rect = {60, 50, 200, 150}, .handling = Handling::managed});
    const xcb_window_t outline = desk.addOwn({.rect = {80, 40, 300, 200}, .outline = Outline::frame});
    paced({60, 800ms}, [&](int step) {
        desk.own->resize(panel, 150 + backAndForth(step, 200, 11), 120 + backAndForth(step, 150, 7));
        desk.own->resize(outline, 100 + backAndForth(step, 300, 9), 300 - backAndForth(step, 200, 5));
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, ownThatRiseAndSinkChangeNoFrame) {
    nothingElseMoves();
    const xcb_window_t first = desk.addOwn({.rect = {250, 150, 200, 150}});
    const xcb_window_t second = desk.addOwn({.rect = {100, 100, 260, 120}, .outline = Outline::disc});
    paced({60, 800ms}, [&](int step) {
        if (step % 2 == 0)
            desk.own->raise(step % 4 == 0 ? first : second);
        else
            desk.own->lower(step % 4 == 1 ? first : second);
    });
    desk.own->raise(first);
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

// Others move beneath and above ours.

TEST_P(InMotion, animationBeneathOursIsRecorded) {
    desk.addOwn({.rect = {80, 80, 280, 200}});
    const xcb_window_t film = desk.addOther({.rect = {120, 110, 150, 120}, .paint = plainColour, .seed = 0x002000});
    // Beneath ours, of which the display then shows nothing.
    desk.own->raise(desk.ownWindows.front());
    ASSERT_TRUE(desk.recording->waitForCount(1));
    const std::uint64_t before = desk.recording->count();
    std::set<std::uint32_t> recorded;
    std::uint32_t colour = 0x00a000U;
    // As long as it takes; a machine that shows none of these moments shows none in ten times as many.
    for (int round = 0; round < 10 && recorded.size() <= 12; ++round)
        paced({60, 800ms}, [&](int) {
            desk.others->repaint(film, ++colour);
            const Picture picture = desk.recording->latest();
            recorded.insert(picture.at(195, 170));
        });
    EXPECT_GT(recorded.size(), 12U);
    EXPECT_GT(desk.recording->count() - before, 12U);
    EXPECT_TRUE(desk.recording->waitFor([&](const Picture& picture) { return picture.at(195, 170) == colour; }));
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, othersThatMoveBeneathOursAreRecorded) {
    desk.addOwn({.rect = {80, 80, 280, 200}});
    desk.addOwn({.rect = {420, 200, 150, 150}, .outline = Outline::disc, .handling = Handling::managedWithoutTitle});
    paced({60, 800ms}, [&](int step) {
        desk.others->move(lower, 20 + backAndForth(step, 200, 7), 30 + backAndForth(step, 150, 3));
        if (step % 3 == 0) desk.others->resize(upper, 200 + backAndForth(step, 80, 5), 180 + backAndForth(step, 60, 3));
        if (step % 7 == 0) desk.others->repaint(upper, static_cast<std::uint32_t>(step));
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, othersThatRestackAroundOursAreRecorded) {
    desk.addOwn({.rect = {200, 120, 260, 200}});
    paced({60, 800ms}, [&](int step) {
        const xcb_window_t moved = step % 2 ? lower : upper;
        if (step % 5 < 3)
            desk.others->raise(moved);
        else
            desk.others->lower(moved);
        if (step % 4 == 0) desk.own->raise(desk.ownWindows.front());
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, othersThatComeAndGoAreRecorded) {
    desk.addOwn({.rect = {200, 120, 260, 200}});
    paced({15, 1200ms}, [&](int step) {
        if (step % 2 == 0)
            desk.others->hide(lower);
        else
            desk.others->map(lower);
        // A fresh one, without a background, beneath or above ours.
        const xcb_window_t fresh = desk.addOther({.rect = {150 + step * 5, 90 + step * 4, 160, 120},
                                                  .seed = 100 + static_cast<std::uint32_t>(step),
                                                  .background = Background::none});
        EXPECT_NE(fresh, 0U);
        if (step % 3 != 0) desk.others->destroy(fresh);
        if (step % 4 == 0) desk.own->raise(desk.ownWindows.front());
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, popupsOfOthersAboveOursMove) {
    desk.addOwn({.rect = {150, 100, 300, 240}, .handling = Handling::managed});
    const xcb_window_t popup = desk.addOther({.rect = {200, 150, 90, 70}, .seed = 7});
    const xcb_window_t translucent =
        desk.addOther({.rect = {230, 170, 120, 90}, .paint = translucentNoise, .seed = 8, .depth = Depth::withAlpha});
    paced({60, 800ms}, [&](int step) {
        desk.others->move(popup, 120 + backAndForth(step, 300, 11), 100 + backAndForth(step, 200, 7));
        desk.others->move(translucent, 350 - backAndForth(step, 200, 5), 170);
    });
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

TEST_P(InMotion, othersThatChangeShapeAndOpacityAreRecorded) {
    desk.addOwn({.rect = {150, 100, 300, 240}});
    paced({20, 1000ms}, [&](int step) {
        constexpr Outline outlines[] = {Outline::disc, Outline::frame, Outline::rectangle};
        desk.others->setOutline(lower, outlines[step % 3]);
        desk.others->setOpacity(upper, 0.3 + 0.03 * step);
    });
    desk.others->setOutline(lower, Outline::disc);
    // Some managers ignore a new opacity while they fade to the one before.
    EXPECT_GT(desk.raw->settled(GetParam().rest).width, 0);
    desk.others->setOpacity(upper, 0.75);
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
}

// Ours and theirs fade in and out together where the set-up fades.
TEST_P(InMotion, fadesShowNothingOfOurs) {
    const xcb_window_t panel = desk.addOwn({.rect = {150, 100, 300, 240}, .handling = Handling::managed});
    for (int round = 0; round < 3; ++round) {
        desk.own->hide(panel);
        desk.others->hide(lower);
        std::this_thread::sleep_for(250ms); // in the middle of a fade of 0.7 s, if there is one
        EXPECT_TRUE(desk.own->show(panel));
        EXPECT_TRUE(desk.others->show(lower));
        std::this_thread::sleep_for(round * 200ms);
    }
    noFrameWasWrong();
    desk.proveRecordedEqualsHidden();
    // Ours fade away: after that nothing of them remains either.
    EXPECT_EQ(difference(desk.recordedAtRest(), desk.expectation(desk.shownAtRest())), "");
    desk.proveEveryFrameClean();
}

INSTANTIATE_TEST_SUITE_P(On, InMotion, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

class Repainted : public ::testing::TestWithParam<Setup> {};

TEST_P(Repainted, ownMakeFramesWithoutDamageAndNoMoreThanWanted) {
    Desk desk(GetParam());
    ASSERT_TRUE(desk.isReady());
    desk.addOther({.rect = {60, 60, 320, 240}, .seed = 2});
    const xcb_window_t panel = desk.addOwn({.rect = {150, 100, 300, 240}});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    ASSERT_TRUE(desk.record({.fps = 30}));
    ASSERT_GT(desk.recordedAtRest().width, 0);
    const std::uint64_t before = desk.recording->count();
    const auto begin = std::chrono::steady_clock::now();
    paced({120, 1000ms}, [&](int step) { desk.own->repaint(panel, static_cast<std::uint32_t>(step)); });
    const std::uint64_t after = desk.recording->count();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    EXPECT_GT(after - before, static_cast<std::uint64_t>(15 * seconds)) << "the camera's picture would stand still";
    EXPECT_LE(after - before, static_cast<std::uint64_t>(30 * seconds) + 2);
    for (std::uint64_t frame = before + 1; frame <= after; ++frame) {
        const auto damage = desk.recording->damageOf(frame);
        EXPECT_TRUE(damage && damage->isEmpty()) << "frame " << frame;
    }
    desk.proveEveryFrameClean();
    desk.proveRecordedEqualsHidden();
}

INSTANTIATE_TEST_SUITE_P(On, Repainted, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

} // namespace
} // namespace quillet::testing
