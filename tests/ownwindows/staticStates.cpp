// Windows that stand still, beneath ours and above: what is recorded is what the display shows without ours.
#include "tests/ownwindows/Desk.h"

#include <gtest/gtest.h>

#include <string_view>

#include <unistd.h>

namespace quillet::testing {
namespace {

const PixelRect middle{180, 120, 260, 200};

struct StaticState {
    const char* name;
    void (*build)(Desk& desk);
    DeskOptions options = {};
    CaptureOptions capture = {};
    bool isTriedEverywhere = false; ///< also where each state costs seconds
};

std::ostream& operator<<(std::ostream& stream, const StaticState& state) { return stream << state.name; }

void addPanel(Desk& desk) { desk.addOwn({.rect = middle, .handling = Handling::managed}); }
void addPlainOwn(Desk& desk) { desk.addOwn({.rect = middle}); }

// Beneath a plain window of ours.

void plainBeneath(Desk& desk) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOther({.rect = {333, 211, 201, 133}, .seed = 3, .background = Background::none});
    addPlainOwn(desk);
}

void managedBeneath(Desk& desk) {
    desk.addOther({.rect = {60, 90, 300, 200}, .seed = 2, .handling = Handling::managed});
    desk.addOther({.rect = {300, 160, 250, 210}, .seed = 3, .handling = Handling::managed});
    addPlainOwn(desk);
}

void translucentBeneath(Desk& desk) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    desk.addOther({.rect = {150, 150, 320, 211}, .paint = translucentNoise, .seed = 3, .depth = Depth::withAlpha});
    desk.addOther({.rect = {260, 100, 120, 150}, .paint = translucentNoise, .seed = 5, .depth = Depth::withAlpha});
    addPlainOwn(desk);
}

void managedTranslucentBeneath(Desk& desk) {
    desk.addOther({.rect = {150, 150, 320, 211},
                   .paint = translucentNoise,
                   .seed = 3,
                   .handling = Handling::managed,
                   .depth = Depth::withAlpha});
    addPlainOwn(desk);
}

void shapedBeneath(Desk& desk) {
    desk.addOther({.rect = {100, 80, 301, 203}, .seed = 2, .outline = Outline::disc});
    desk.addOther({.rect = {200, 140, 200, 150}, .seed = 3, .outline = Outline::frame});
    desk.addOther({.rect = {300, 200, 200, 200}, .seed = 4, .outline = Outline::disc, .handling = Handling::managed});
    addPlainOwn(desk);
}

void borderedBeneath(Desk& desk) {
    desk.addOther({.rect = {150, 90, 150, 111}, .seed = 2, .border = 7});
    desk.addOther({.rect = {281, 187, 222, 99}, .seed = 3, .border = 1});
    desk.addOther({.rect = {230, 130, 100, 99}, .seed = 3, .outline = Outline::disc, .border = 5});
    addPlainOwn(desk);
}

void nestedBeneath(Desk& desk) {
    const xcb_window_t outer = desk.addOther({.rect = {150, 90, 250, 180}, .seed = 2});
    const xcb_window_t inner =
        desk.addOther({.rect = {40, 30, 190, 130}, .seed = 3, .background = Background::none, .parent = outer});
    desk.addOther({.rect = {-20, 50, 130, 130}, .seed = 4, .outline = Outline::disc, .border = 3, .parent = inner});
    addPlainOwn(desk);
}

void opacityBeneath(Desk& desk) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2, .opacity = 0.6});
    desk.addOther({.rect = {260, 160, 250, 200}, .seed = 3, .handling = Handling::managed, .opacity = 0.35});
    addPlainOwn(desk);
    desk.addOther({.rect = {220, 200, 99, 77}, .seed = 4, .opacity = 0.5});
}

// Which windows of others exist but have no pixels to show: never mapped, unmapped again, or only there for clicks.
void unseenBeneath(Desk& desk) {
    desk.addOther({.rect = {200, 150, 100, 100}, .seed = 2});
    (void)desk.others->create({.rect = {210, 160, 200, 100}, .seed = 3});
    const xcb_window_t hidden = desk.addOther({.rect = {230, 140, 150, 100}, .seed = 4});
    desk.others->hide(hidden);
    addPlainOwn(desk);
    desk.others->run([&](xcb_connection_t* c) {
        const std::uint32_t unmanaged = 1;
        const xcb_window_t clicks = xcb_generate_id(c);
        xcb_create_window(c, 0, clicks, desk.others->root(), 100, 100, 400, 300, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                          XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &unmanaged);
        xcb_map_window(c, clicks);
    });
}

void nothingBeneath(Desk& desk) { addPlainOwn(desk); }

// Above and below.

void popupsOfOthersAbove(Desk& desk) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    addPlainOwn(desk);
    desk.addOther({.rect = {200, 140, 90, 130}, .seed = 3, .type = "_NET_WM_WINDOW_TYPE_POPUP_MENU"});
    desk.addOther({.rect = {270, 200, 120, 40}, .seed = 4, .border = 1, .type = "_NET_WM_WINDOW_TYPE_TOOLTIP"});
    desk.addOther({.rect = {300, 130, 110, 60},
                   .paint = translucentNoise,
                   .seed = 5,
                   .depth = Depth::withAlpha,
                   .type = "_NET_WM_WINDOW_TYPE_NOTIFICATION"});
    desk.addOther({.rect = {200, 280, 80, 80}, .seed = 6, .outline = Outline::disc});
}

void menusOfOurs(Desk& desk) {
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2, .handling = Handling::managed});
    addPanel(desk);
    desk.addOwn({.rect = {190, 140, 90, 130}, .type = "_NET_WM_WINDOW_TYPE_POPUP_MENU"});
    desk.addOther({.rect = {240, 180, 90, 60}, .seed = 3, .type = "_NET_WM_WINDOW_TYPE_POPUP_MENU"});
    desk.addOwn({.rect = {270, 200, 120, 40}, .border = 1, .type = "_NET_WM_WINDOW_TYPE_TOOLTIP"});
}

void layersInTurn(Desk& desk) {
    for (int layer = 0; layer < 6; ++layer) {
        const int step = layer * 28;
        const PixelRect rect{120 + step, 90 + step, 200 - layer * 7, 150};
        if (layer % 2 == 0)
            desk.addOther({.rect = rect, .seed = static_cast<std::uint32_t>(10 + layer)});
        else
            desk.addOwn({.rect = rect});
    }
}

void ownOfEveryKind(Desk& desk) {
    desk.addOther({.rect = {20, 30, 300, 250}, .seed = 2, .handling = Handling::managed});
    desk.addOther({.rect = {250, 200, 300, 250}, .seed = 3});
    addPanel(desk);
    desk.addOwn(
        {.rect = {30, 260, 150, 120}, .handling = Handling::managedWithoutTitle, .background = Background::none});
    desk.addOwn({.rect = {10, 10, 480, 400}, .outline = Outline::frame});
    desk.addOwn({.rect = {400, 250, 121, 121}, .outline = Outline::disc, .handling = Handling::managedWithoutTitle});
    desk.addOwn({.rect = {300, 60, 150, 130}, .paint = translucentMagenta, .depth = Depth::withAlpha});
    desk.addOwn({.rect = {60, 40, 100, 80}, .border = 4, .opacity = 0.5});
}

// A process number is a claim that anybody can make, and so are a class and a title.
void claimsToBeOurs(Desk& desk) {
    addPlainOwn(desk);
    const auto ourProcess = static_cast<std::uint32_t>(::getpid());
    const auto claim = [&desk](xcb_window_t window) {
        desk.others->run([window](xcb_connection_t* c) {
            const auto set = [&](xcb_atom_t property, std::string_view text) {
                xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, property, XCB_ATOM_STRING, 8,
                                    static_cast<std::uint32_t>(text.size()), text.data());
            };
            set(XCB_ATOM_WM_CLASS, std::string_view("quillet\0Quillet\0", 16));
            set(XCB_ATOM_WM_NAME, "Quillet");
        });
    };
    claim(desk.addOther({.rect = {150, 100, 180, 150}, .seed = 2, .processID = ourProcess}));
    claim(desk.addOther(
        {.rect = {300, 190, 200, 150}, .seed = 3, .handling = Handling::managed, .processID = ourProcess}));
}

// Places.

void beyondTheEdges(Desk& desk) {
    desk.addOther({.rect = {-70, -40, 200, 150}, .seed = 2});
    desk.addOther({.rect = {560, -50, 200, 300}, .seed = 3, .outline = Outline::disc});
    desk.addOther({.rect = {-50, 400, 300, 200}, .seed = 4, .border = 6});
    desk.addOther({.rect = {700, 100, 50, 50}, .seed = 5});
    desk.addOwn({.rect = {-100, -60, 180, 160}});
    desk.addOwn({.rect = {540, -90, 300, 160}});
    desk.addOwn({.rect = {-30, 420, 200, 200}, .border = 5});
    desk.addOwn({.rect = {-400, -300, 100, 100}});
    desk.addOther({.rect = {-20, -10, 60, 60}, .seed = 6});
}

void largerThanTheScreen(Desk& desk) {
    desk.addOther({.rect = {-200, -100, 1100, 800}, .seed = 2});
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 3});
    desk.addOwn({.rect = {-50, -60, 900, 700}});
    desk.addOther({.rect = {-500, 200, 2000, 50}, .seed = 4, .border = 3});
}

void acrossTwoMonitors(Desk& desk) {
    desk.addOther({.rect = {400, 80, 400, 200}, .seed = 2});
    desk.addOther({.rect = {700, 150, 250, 200}, .seed = 3, .handling = Handling::managed});
    desk.addOwn({.rect = {600, 100, 260, 200}});
    desk.addOwn({.rect = {100, 100, 100, 100}, .handling = Handling::managed});
    desk.addOther({.rect = {630, 250, 100, 80}, .seed = 4});
}

void hundredsOfWindows(Desk& desk) {
    for (int number = 0; number < 300; ++number)
        desk.others->map(desk.others->create(
            {.rect = {number * 37 % 600, number * 23 % 420, 45, 33}, .seed = static_cast<std::uint32_t>(number)}));
    addPlainOwn(desk);
    desk.addOther({.rect = {150, 100, 180, 150}, .seed = 1000});
}

using StaticCase = std::tuple<Setup, StaticState>;

class StandingStill : public ::testing::TestWithParam<StaticCase> {};

TEST_P(StandingStill, leavesNoTrace) {
    const auto& [setup, state] = GetParam();
    Desk desk(setup, state.options);
    ASSERT_TRUE(desk.isReady());
    ASSERT_TRUE(desk.record(state.capture));
    state.build(desk);
    desk.proveAbsence();
}

const std::vector<StaticState>& everyState() {
    static const std::vector<StaticState> states{
        StaticState{.name = "plainBeneath", .build = plainBeneath},
        StaticState{.name = "managedBeneath", .build = managedBeneath, .isTriedEverywhere = true},
        StaticState{.name = "translucentBeneath", .build = translucentBeneath, .isTriedEverywhere = true},
        StaticState{.name = "managedTranslucentBeneath", .build = managedTranslucentBeneath},
        StaticState{.name = "shapedBeneath", .build = shapedBeneath},
        StaticState{.name = "borderedBeneath", .build = borderedBeneath},
        StaticState{.name = "nestedBeneath", .build = nestedBeneath},
        StaticState{.name = "opacityBeneath", .build = opacityBeneath},
        StaticState{.name = "unseenBeneath", .build = unseenBeneath},
        StaticState{.name = "pictureAsWallpaper", .build = nothingBeneath},
        StaticState{.name = "tilesAsWallpaper", .build = nothingBeneath, .options = {.wallpaper = Wallpaper::tiles}},
        StaticState{.name = "colourAsWallpaper", .build = nothingBeneath, .options = {.wallpaper = Wallpaper::colour}},
        StaticState{.name = "wallpaperWithoutProperty",
                    .build = nothingBeneath,
                    .options = {.wallpaper = Wallpaper::withoutProperty}},
        StaticState{.name = "backgroundThatNoPropertyTells",
                    .build = nothingBeneath,
                    .options = {.wallpaper = Wallpaper::propertyThatNobodyHeeds}},
        StaticState{.name = "popupsOfOthersAbove", .build = popupsOfOthersAbove, .isTriedEverywhere = true},
        StaticState{.name = "menusOfOurs", .build = menusOfOurs, .isTriedEverywhere = true},
        StaticState{.name = "layersInTurn", .build = layersInTurn},
        StaticState{.name = "ownOfEveryKind", .build = ownOfEveryKind, .isTriedEverywhere = true},
        StaticState{.name = "claimsToBeOurs", .build = claimsToBeOurs},
        StaticState{.name = "beyondTheEdges", .build = beyondTheEdges},
        StaticState{.name = "largerThanTheScreen", .build = largerThanTheScreen},
        StaticState{.name = "onTheRightMonitor",
                    .build = acrossTwoMonitors,
                    .options = {.width = 1280, .monitorCount = 2},
                    .capture = {.monitor = 1}},
        StaticState{.name = "hundredsOfWindows", .build = hundredsOfWindows}};
    return states;
}

std::vector<StaticCase> chosenCases() {
    std::vector<StaticCase> cases;
    for (const Setup& setup : chosenSetups())
        for (const StaticState& state : everyState())
            if ((setup.states == StatesTried::all || state.isTriedEverywhere)) cases.emplace_back(setup, state);
    return cases;
}

INSTANTIATE_TEST_SUITE_P(On, StandingStill, ::testing::ValuesIn(chosenCases()),
                         [](const ::testing::TestParamInfo<StaticCase>& each) {
                             return std::get<Setup>(each.param).name + "_" + std::get<StaticState>(each.param).name;
                         });

// Windows of others whose numbers the recording is given.

class Listed : public ::testing::TestWithParam<Setup> {};

TEST_P(Listed, windowsOfOthersAreTreatedAsOurs) {
    Desk desk(GetParam());
    ASSERT_TRUE(desk.isReady());
    desk.listOther({.rect = middle, .handling = Handling::managed});
    desk.listOther({.rect = {400, 90, 120, 120}, .outline = Outline::disc});
    ASSERT_TRUE(desk.record());
    desk.addOther({.rect = {100, 80, 300, 200}, .seed = 2});
    ASSERT_TRUE(desk.showOwn());
    desk.addOther({.rect = {420, 150, 120, 120}, .seed = 3}); // by the same program, but not listed
    desk.proveAbsence();
}

INSTANTIATE_TEST_SUITE_P(On, Listed, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

// A recording that begins while ours stand on the display.

class AlreadyShown : public ::testing::TestWithParam<Setup> {};

TEST_P(AlreadyShown, areAbsentFromTheFirstFrameOn) {
    Desk desk(GetParam());
    ASSERT_TRUE(desk.isReady());
    ownOfEveryKind(desk);
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    ASSERT_TRUE(desk.record());
    desk.proveAbsence();
}

// The range's outline when all of the screen is recorded.
TEST_P(AlreadyShown, anOutlineAroundTheScreenKeepsNothingFromBeingLearnedOfTheBackground) {
    const DeskOptions options{.wallpaper = Wallpaper::propertyThatNobodyHeeds};
    Desk desk(GetParam(), options);
    ASSERT_TRUE(desk.isReady());
    addPlainOwn(desk);
    desk.addOwn({.rect = {0, 0, options.width, options.height}, .outline = Outline::frame, .wantsShadow = false});
    ASSERT_TRUE(desk.waitUntilItShowsOurs());
    ASSERT_TRUE(desk.record());
    desk.proveRecordedEqualsHidden();
}

INSTANTIATE_TEST_SUITE_P(On, AlreadyShown, ::testing::ValuesIn(chosenSetups()),
                         [](const auto& each) { return each.param.name; });

} // namespace
} // namespace quillet::testing
