// Bad luck: programs that hang or never paint, windows that vanish, managers that die, screens that change.
#include "tests/fakes/x11/eventually.h"
#include "tests/ownwindows/Desk.h"
#include "tests/ownwindows/paced.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <vector>

namespace quillet::testing {
namespace {

using namespace std::chrono_literals;

class Disturbed : public ::testing::TestWithParam<Setup> {
protected:
    void SetUp() override {
        ASSERT_TRUE(desk.isReady());
        ASSERT_TRUE(desk.record());
        watch = std::make_unique<RawRootWatch>(desk.server->displayName());
    }

    void noFrameShowedOurs() {
        EXPECT_GT(desk.recordedNow().width, 0);
        EXPECT_TRUE(eventually([this] { return watch->tintedReads() > 0; }))
            << "the display never showed ours: nothing to prove";
        desk.proveEveryFrameClean();
    }

    Desk desk{GetParam()};
    std::unique_ptr<RawRootWatch> watch;
};

TEST_P(Disturbed, aProgramThatHangsLosesNothingBeneathOurs) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOther({.rect = {250, 150, 250, 200}, .seed = 3, .handling = Handling::managed});
    desk.addOther({.rect = {330, 60, 120, 200}, .seed = 4, .background = Background::none});
    Program hanging(desk.server->displayName());
    ASSERT_NE(hanging.add({.rect = {200, 200, 200, 150}, .seed = 5, .background = Background::none}), 0U);
    // From now on it repaints nothing that ours have covered.
    hanging.hang();
    desk.furtherPrograms.push_back(&hanging);
    const xcb_window_t panel = desk.addOwn({.rect = {180, 120, 260, 200}, .handling = Handling::managed});
    for (int step = 0; step < 5; ++step) {
        desk.own->move(panel, 150 + step * 20, 100 + step * 15);
        EXPECT_GT(desk.recordedNow().width, 0);
    }
    noFrameShowedOurs();
    desk.proveAbsence();
}

// A whole process that is stopped; its windows have colours of their own, ours among them.
TEST_P(Disturbed, aStoppedProcessLosesNothingBeneathOurs) {
    desk.judge.forbidTint(false);
    const Picture empty = desk.recordedAtRest();
    const auto scene = desk.server->run({QUILLET_SCENE_PROGRAM, "--fps", "20"});
    ASSERT_NE(scene, nullptr);
    ASSERT_TRUE(desk.recording->waitFor(
        [&](const Picture& picture) { return !difference(picture, desk.expectation(empty)).empty(); }));
    ::kill(scene->pid(), SIGSTOP);
    const Picture stopped = desk.recordedAtRest();
    const Expectation wanted = desk.expectation(stopped);
    ASSERT_EQ(difference(desk.shownAtRest(), wanted), "");
    desk.judge.expect(wanted);
    const xcb_window_t panel = desk.addOwn({.rect = {100, 100, 400, 250}, .handling = Handling::managed});
    ASSERT_TRUE(eventually([&] { return !difference(desk.raw->read(), wanted).empty(); }));
    for (int step = 0; step < 5; ++step) {
        desk.own->move(panel, 20 + step * 30, 30 + step * 25);
        EXPECT_GT(desk.recordedNow().width, 0);
    }
    EXPECT_GT(desk.recordedAtRest().width, 0);
    desk.hideOwn();
    EXPECT_GT(desk.recordedAtRest().width, 0);
    desk.proveEveryFrameClean();
}

// Windows without a background begin as a copy of the screen, ours included, until their program paints them.
TEST_P(Disturbed, windowsThatNeverPaintShowNothingOfOurs) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    const xcb_window_t panel = desk.addOwn({.rect = {150, 100, 300, 240}});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    WindowOptions idle{.rect = {200, 150, 160, 120}, .background = Background::none, .painting = Painting::never};
    const xcb_window_t popup = desk.addOther(idle);
    idle.rect = {350, 200, 150, 180};
    idle.handling = Handling::managed;
    desk.addOther(idle);
    // Longer than any time for which a fresh window is treated with care.
    paced({20, 2500ms}, [&](int step) {
        if (step == 10) desk.others->move(popup, 180, 130);
        if (step == 20) desk.own->move(panel, 170, 110);
        if (step == 30) desk.others->resize(popup, 190, 150);
        EXPECT_GT(desk.recordedNow().width, 0);
    });
    noFrameShowedOurs();
}

// One that paints a part of itself, and much later the rest.
TEST_P(Disturbed, windowsThatPaintInPartsShowNothingOfOurs) {
    desk.addOwn({.rect = {150, 100, 300, 240}});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    const xcb_window_t popup =
        desk.addOther({.rect = {200, 150, 160, 120}, .background = Background::none, .painting = Painting::never});
    const auto fill = [&](const xcb_rectangle_t& part) {
        desk.others->run([&](xcb_connection_t* c) {
            const xcb_gcontext_t graphics = xcb_generate_id(c);
            const std::uint32_t colour = 0x20c040;
            xcb_create_gc(c, graphics, popup, XCB_GC_FOREGROUND, &colour);
            xcb_poly_fill_rectangle(c, popup, graphics, 1, &part);
            xcb_free_gc(c, graphics);
        });
    };
    // What was painted before the recording knew the window would have to be painted again.
    ASSERT_GT(desk.recordedNow().width, 0);
    fill({10, 10, 60, 60});
    EXPECT_TRUE(desk.recording->waitFor([](const Picture& picture) { return picture.at(240, 190) == 0x20c040; }));
    paced({20, 1500ms}, [&](int) { EXPECT_GT(desk.recordedNow().width, 0); });
    EXPECT_EQ(desk.recording->latest().at(240, 190), 0x20c040U);
    fill({0, 0, 160, 120});
    EXPECT_TRUE(desk.recording->waitFor([](const Picture& picture) { return picture.at(350, 260) == 0x20c040; }));
    noFrameShowedOurs();
    desk.proveRecordedEqualsHidden();
}

TEST_P(Disturbed, windowsThatVanishBetweenTwoRequestsEndNothing) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOwn({.rect = {150, 100, 300, 240}});
    Program third(desk.server->displayName());
    // Made, mapped, shaped, moved and destroyed without a breath between, ours and others'.
    const auto flicker = [](Program& program, int step, std::uint32_t colour) {
        program.run([&](xcb_connection_t* c) {
            for (int each = 0; each < 8; ++each) {
                const xcb_window_t window = xcb_generate_id(c);
                const std::uint32_t values[] = {colour, static_cast<std::uint32_t>(each % 3 > 0)};
                xcb_create_window(c, XCB_COPY_FROM_PARENT, window, program.root(),
                                  static_cast<std::int16_t>(100 + 13 * each + step % 50),
                                  static_cast<std::int16_t>(90 + 17 * each), 150, 120, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                                  XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
                xcb_map_window(c, window);
                if (each % 2 == 0) xcb_unmap_window(c, window);
                if (each % 3 == 0) xcb_map_window(c, window);
                xcb_destroy_window(c, window);
            }
        });
    };
    paced({100, 1500ms}, [&](int step) {
        flicker(*desk.others, step, 0x20c040);
        flicker(third, step, 0x108010);
        if (step % 2 == 0) flicker(*desk.own, step, 0xff00ff);
    });
    noFrameShowedOurs();
    desk.proveRecordedEqualsHidden();
}

TEST_P(Disturbed, aProgramThatDiesTakesNothingAlong) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOwn({.rect = {150, 100, 300, 240}, .handling = Handling::managed});
    for (int round = 0; round < 5; ++round) {
        Program dying(desk.server->displayName());
        for (int number = 0; number < 5; ++number)
            EXPECT_NE(dying.add({.rect = {120 + number * 40, 90 + number * 30, 150, 120},
                                 .seed = static_cast<std::uint32_t>(number + round),
                                 .handling = number == 4 ? Handling::managed : Handling::overrideRedirect}),
                      0U);
        EXPECT_GT(desk.recordedNow().width, 0);
    }
    noFrameShowedOurs();
    desk.proveRecordedEqualsHidden();
}

TEST_P(Disturbed, anotherWallpaperIsRecordedBeneathOurs) {
    desk.addOwn({.rect = {150, 100, 300, 240}});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    for (const Wallpaper wallpaper : {Wallpaper::tiles, Wallpaper::picture}) {
        desk.setWallpaper(wallpaper, 77);
        EXPECT_GT(desk.recordedNow().width, 0);
    }
    noFrameShowedOurs();
    desk.proveRecordedEqualsHidden();
}

TEST_P(Disturbed, aNewResolutionKeepsOursAbsent) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOwn({.rect = {150, 100, 300, 240}, .handling = Handling::managed});
    desk.addOwn({.rect = {20, 20, 560, 400}, .outline = Outline::frame});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    for (const auto& size : {std::pair(480, 360), std::pair(320, 400), std::pair(640, 480)}) {
        const int width = size.first;
        const int height = size.second;
        desk.session->resizeScreen(width, height);
        desk.setWallpaper(Wallpaper::tiles, static_cast<std::uint32_t>(width));
        desk.parkPointer(); // the server takes it along
        desk.own->move(desk.ownWindows.front(), width / 4, height / 4);
        ASSERT_TRUE(eventually([&] { return desk.raw->read().width == width; }));
        ASSERT_TRUE(desk.waitUntilItShowsOurs());
        if (width >= 640) {
            EXPECT_GT(desk.recordedNow().width, 0);
        }
    }
    noFrameShowedOurs();
    desk.proveRecordedEqualsHidden();
}

INSTANTIATE_TEST_SUITE_P(On, Disturbed, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

// Managers come and go.

class Managers : public ::testing::TestWithParam<Setup> {};

TEST_P(Managers, thatDieAndAreReplacedLeaveOursAbsent) {
    if (GetParam().windowManager.empty()) GTEST_SKIP() << "there is none";
    Desk desk(GetParam());
    ASSERT_TRUE(desk.isReady());
    ASSERT_TRUE(desk.record());
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2, .handling = Handling::managed});
    desk.addOther({.rect = {320, 200, 200, 200}, .seed = 3});
    desk.addOwn({.rect = {150, 100, 260, 200}, .handling = Handling::managed});
    desk.addOwn({.rect = {400, 90, 120, 120}, .outline = Outline::disc});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    for (int round = 0; round < 2; ++round) {
        ASSERT_TRUE(desk.running->replaceWindowManager(GetParam(), *desk.server, *desk.session));
        EXPECT_GT(desk.recordedNow().width, 0);
    }
    EXPECT_GT(desk.recordedAtRest().width, 0);
    desk.proveEveryFrameClean();
    // When the frames of a dead manager fade away, xcompmgr no longer draws the windows that were in them.
    if (GetParam().name != "xcompmgrFades") desk.proveRecordedEqualsHidden();
}

INSTANTIATE_TEST_SUITE_P(On, Managers, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

struct Compositing {
    const char* name;
    std::vector<std::string> command;
};

class CompositingManagers : public ::testing::TestWithParam<Compositing> {};

TEST_P(CompositingManagers, thatStartAndStopLeaveOursAbsent) {
    Desk desk(plainSetup());
    ASSERT_TRUE(desk.isReady());
    ASSERT_TRUE(desk.record());
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOther({.rect = {150, 150, 320, 211}, .paint = translucentNoise, .seed = 3, .depth = Depth::withAlpha});
    desk.addOwn({.rect = {150, 100, 260, 200}});
    desk.addOwn({.rect = {400, 90, 120, 120}, .outline = Outline::disc});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    for (int round = 0; round < 3; ++round) {
        ASSERT_TRUE(desk.running->startCompositingManager(GetParam().command, *desk.server, *desk.session));
        ASSERT_TRUE(desk.waitUntilComposited());
        ASSERT_TRUE(desk.waitUntilItShowsOurs());
        EXPECT_GT(desk.recordedAtRest().width, 0);
        desk.proveEveryFrameClean();
        desk.proveRecordedEqualsHidden();
        ASSERT_TRUE(desk.showOwn());
        ASSERT_TRUE(desk.running->endCompositingManager(*desk.session));
        ASSERT_TRUE(desk.waitUntilItShowsOurs());
        EXPECT_GT(desk.recordedAtRest().width, 0);
        desk.proveEveryFrameClean();
        desk.proveRecordedEqualsHidden();
        ASSERT_TRUE(desk.showOwn());
    }
}

INSTANTIATE_TEST_SUITE_P(Such, CompositingManagers,
                         ::testing::Values(Compositing{"picom",
                                                       {"picom", "--config", "/dev/null", "--backend", "xrender"}},
                                           Compositing{"xcompmgr", {"xcompmgr", "-n"}}),
                         [](const auto& each) { return std::string(each.param.name); });

// Servers that lack what it takes: ours are in the picture, which the user is told once. (None can do without SHAPE.)

struct Lack {
    const char* name;
    std::vector<std::string> serverArguments;
};

std::ostream& operator<<(std::ostream& stream, const Lack& lack) { return stream << lack.name; }
std::ostream& operator<<(std::ostream& stream, const Compositing& manager) { return stream << manager.name; }

class Lacking : public ::testing::TestWithParam<Lack> {};

TEST_P(Lacking, recordsWithOursAndSaysSoOnce) {
    ::testing::internal::CaptureStderr();
    {
        quillet::testing::Setup bare;
        bare.name = "bare";
        Desk desk(bare, {.serverArguments = GetParam().serverArguments});
        ASSERT_TRUE(desk.isReady());
        desk.judge.forbidTint(false);
        ASSERT_TRUE(desk.record());
        desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
        desk.addOwn({.rect = {150, 100, 260, 200}});
        for (int step = 0; step < 5; ++step) {
            desk.own->move(desk.ownWindows.front(), 100 + step * 10, 90);
            // What ours have uncovered is painted anew by its program, which takes its time.
            EXPECT_TRUE(
                eventually([&] { return difference(desk.recordedNow(), desk.expectation(desk.raw->read())).empty(); }));
        }
        EXPECT_GT(tintedPixels(desk.recordedNow()), 0U);
        desk.proveEveryFrameClean();
    }
    const std::string said = ::testing::internal::GetCapturedStderr();
    std::size_t lines = 0;
    for (std::size_t at = said.find("own windows"); at != std::string::npos; at = said.find("own windows", at + 1))
        ++lines;
    EXPECT_EQ(lines, 1U) << said;
}

INSTANTIATE_TEST_SUITE_P(Of, Lacking,
                         ::testing::Values(Lack{"composite", {"-extension", "Composite"}},
                                           Lack{"damage", {"-extension", "DAMAGE"}},
                                           Lack{"render", {"-extension", "RENDER"}}),
                         [](const auto& each) { return std::string(each.param.name); });

} // namespace
} // namespace quillet::testing
