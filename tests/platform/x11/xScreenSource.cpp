#include "platform/x11/XScreenSource.h"

#include "tests/fakes/FrameReceiver.h"
#include "tests/fakes/x11/VirtualXServer.h"
#include "tests/fakes/x11/XPainter.h"
#include "tests/fakes/x11/eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <xcb/shape.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <unistd.h>

namespace quillet::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// A display with a painter on it, and a receiver of its pictures.
class XScreen {
public:
    explicit XScreen(const VirtualXServer::Options& options = {})
        : server(VirtualXServer::start(options)),
          painter(server->displayName()), size{static_cast<double>(options.width),
                                               static_cast<double>(options.height)} {
        painter.movePointer(5, 5);
    }

    [[nodiscard]] bool start(int fps = 240) { return startMonitor(painter.monitors().front().id, size, fps); }
    [[nodiscard]] bool startMonitor(std::uint32_t id, Size pixelSize, int fps = 240) {
        return receiver.start(xScreenSourceFactory({.displayName = server->displayName()}), id, pixelSize, fps);
    }

    std::unique_ptr<VirtualXServer> server;
    XPainter painter;
    Size size;
    FrameReceiver receiver;
};

Picture withCursor(Picture picture, const PixelRect& rect, std::uint32_t colour) {
    picture.paint(rect, [&](int, int) { return colour; });
    return picture;
}

// Its own sign of life comes long before it manages windows, and before it sets the pointer.
const std::vector<std::string> openbox{"openbox", "--startup",
                                       "xprop -root -f QUILLET_TEST_READY 8s -set QUILLET_TEST_READY 1"};

// Under every kind of desktop.

struct Desktop {
    const char* name;
    std::vector<std::string> windowManager;
    std::vector<std::string> compositingManager;
};

class XScreenSourceUnder : public ::testing::TestWithParam<Desktop> {};

TEST_P(XScreenSourceUnder, showsWindowsToThePixelWhateverBecomesOfThem) {
    XScreen screen;
    std::unique_ptr<ChildProgram> windowManager;
    std::unique_ptr<ChildProgram> compositingManager;
    XPainter& painter = screen.painter;
    if (!GetParam().windowManager.empty()) {
        windowManager = screen.server->run(GetParam().windowManager);
        ASSERT_TRUE(painter.waitForRootProperty("QUILLET_TEST_READY"));
    }
    if (!GetParam().compositingManager.empty()) {
        compositingManager = screen.server->run(GetParam().compositingManager);
        ASSERT_TRUE(painter.waitForSelection("_NET_WM_CM_S0"));
    }
    FrameReceiver& receiver = screen.receiver;
    // A window manager brings its own pointer, and changes it when it likes.
    painter.movePointer(639, 0);
    const auto withoutCorner = [](Picture picture) {
        if (picture.width == 0) return picture; // no frame yet
        picture.paint({590, 0, 50, 50}, [](int, int) { return 0U; });
        return picture;
    };
    const auto showsTheDesktop = [&] {
        const Picture expected = withoutCorner(painter.expected());
        return eventually([&] {
            painter.repaintExposed(); // a compositing manager that has just begun takes the windows' content away
            return withoutCorner(receiver.latest()) == expected;
        });
    };
    const std::size_t first = painter.addWindow({40, 50, 201, 133}, 1);
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(showsTheDesktop()) << "a window that was there before";
    const std::size_t second = painter.addWindow({150, 90, 180, 222}, 2);
    ASSERT_TRUE(showsTheDesktop()) << "a new one above it";
    painter.raise(first);
    ASSERT_TRUE(showsTheDesktop()) << "raised";
    for (int step = 0; step < 12; ++step) {
        painter.move(first, 31 + step * 17, 40 + step * 9);
        painter.repaintPart(second, {step * 3, step * 5, 40, 20}, static_cast<std::uint32_t>(100 + step));
    }
    ASSERT_TRUE(showsTheDesktop()) << "moved and painted";
    painter.move(second, -70, 400); // beyond two edges
    ASSERT_TRUE(showsTheDesktop()) << "partly outside";
    painter.unmap(first);
    ASSERT_TRUE(showsTheDesktop()) << "gone";
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Desktops, XScreenSourceUnder,
    ::testing::Values(Desktop{"noManager", {}, {}}, Desktop{"openbox", openbox, {}},
                      Desktop{"xcompmgr", {}, {"xcompmgr", "-n"}},
                      Desktop{"openboxAndPicom", openbox, {"picom", "--config", "/dev/null", "--backend", "xrender"}}),
    [](const auto& each) { return std::string(each.param.name); });

TEST(XScreenSource, showsAManagedWindowsContent) {
    XScreen screen;
    const auto windowManager = screen.server->run(openbox);
    ASSERT_TRUE(screen.painter.waitForRootProperty("QUILLET_TEST_READY"));
    ASSERT_TRUE(screen.start());
    screen.painter.addWindow({0, 0, 160, 120}, 9, XPainter::Management::managed);
    // The manager chooses the place.
    EXPECT_TRUE(screen.receiver.waitFor([](const Picture& picture) {
        for (int y = 0; y + 120 <= picture.height; ++y)
            for (int x = 0; x + 160 <= picture.width; ++x) {
                bool equal = true;
                for (int row = 0; equal && row < 120; ++row)
                    for (int column = 0; equal && column < 160; ++column)
                        equal = picture.at(x + column, y + row) == noise(9, column, row);
                if (equal) return true;
            }
        return false;
    }));
}

// Monitors and sizes.

TEST(XScreenSource, showsTheChosenOneOfTwoMonitors) {
    XScreen screen({1000, 400, 24, {}});
    ASSERT_EQ(screen.server->run({"xrandr", "--setmonitor", "LEFT", "600/150x400/100+0+0", "screen"})->wait(), 0);
    ASSERT_EQ(screen.server->run({"xrandr", "--setmonitor", "RIGHT", "400/100x300/80+600+50", "none"})->wait(), 0);
    const std::vector<Monitor> monitors = screen.painter.monitors();
    const auto right = std::ranges::find(monitors, "RIGHT", &Monitor::name);
    ASSERT_NE(right, monitors.end());
    ASSERT_EQ(right->rect, (PixelRect{600, 50, 400, 300}));
    screen.painter.setCursor(9, 9, 4, 4, 0x00ff00);
    ASSERT_TRUE(screen.startMonitor(right->id, {400, 300}));
    const std::size_t window = screen.painter.addWindow({520, 20, 200, 100}, 3);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected().cut(right->rect)));
    screen.painter.movePointer(600, 51); // half on the other monitor, partly above this one
    const auto seen = [&] {
        return withCursor(screen.painter.expected(), screen.painter.cursorRect(), 0x00ff00).cut(right->rect);
    };
    ASSERT_TRUE(screen.receiver.waitFor(seen()));
    screen.painter.movePointer(300, 20);
    screen.painter.repaint(window, 4);
    EXPECT_TRUE(screen.receiver.waitFor(seen()));
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

struct FrameSize {
    const char* name;
    Size size;
};

class XScreenSourceSized : public ::testing::TestWithParam<FrameSize> {};

TEST_P(XScreenSourceSized, cutsOrPadsWithBlack) {
    XScreen screen;
    ASSERT_TRUE(screen.startMonitor(screen.painter.monitors().front().id, GetParam().size));
    screen.painter.addWindow({300, 200, 340, 280}, 3);
    Picture expected(static_cast<int>(GetParam().size.width), static_cast<int>(GetParam().size.height));
    const Picture shown = screen.painter.expected();
    expected.paint({0, 0, shown.width, shown.height}, [&](int x, int y) { return shown.at(x, y); });
    EXPECT_TRUE(screen.receiver.waitFor(expected));
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Sizes, XScreenSourceSized,
                         ::testing::Values(FrameSize{"smaller", {401, 303}}, FrameSize{"larger", {777, 500}},
                                           FrameSize{"widerAndLower", {800, 100}}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(XScreenSource, goesOnWhenTheResolutionChanges) {
    XScreen screen({800, 600, 24, {}});
    ASSERT_TRUE(screen.start());
    const std::size_t window = screen.painter.addWindow({50, 60, 300, 200}, 3);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    for (const auto& [width, height] : {std::pair(400, 300), std::pair(320, 640), std::pair(800, 600)}) {
        screen.painter.resizeScreen(width, height);
        screen.painter.repaint(window, static_cast<std::uint32_t>(width));
        Picture expected(800, 600);
        const Picture shown = screen.painter.expected();
        expected.paint({0, 0, shown.width, shown.height}, [&](int x, int y) { return shown.at(x, y); });
        ASSERT_TRUE(screen.receiver.waitFor(expected)) << width << "x" << height;
    }
    EXPECT_EQ(screen.receiver.losses(), 0);
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

TEST(XScreenSource, followsItsMonitorThroughNewLayoutsAndModes) {
    XScreen screen({1000, 400, 24, {}});
    const auto set = [&](const std::string& name, const std::string& geometry, const std::string& output) {
        return screen.server->run({"xrandr", "--setmonitor", name, geometry, output})->wait() == 0;
    };
    const auto remove = [&](const std::string& name) {
        return screen.server->run({"xrandr", "--delmonitor", name})->wait() == 0;
    };
    ASSERT_TRUE(set("LEFT", "600/150x400/100+0+0", "screen") && set("RIGHT", "400/100x300/80+600+50", "none"));
    const std::vector<Monitor> monitors = screen.painter.monitors();
    const auto right = std::ranges::find(monitors, "RIGHT", &Monitor::name);
    ASSERT_NE(right, monitors.end());
    screen.painter.addWindow({520, 20, 200, 100}, 3);
    const std::size_t wide = screen.painter.addWindow({20, 60, 900, 300}, 4);
    ASSERT_TRUE(screen.startMonitor(right->id, {400, 300}));
    // What of the recorded size the monitor no longer has is black.
    const auto shows = [&](const PixelRect& place) {
        screen.painter.repaint(wide, static_cast<std::uint32_t>(place.x + place.width));
        const Picture part = screen.painter.expected().cut(place);
        Picture expected(400, 300);
        expected.paint({0, 0, std::min(part.width, 400), std::min(part.height, 300)},
                       [&](int x, int y) { return part.at(x, y); });
        return screen.receiver.waitFor(expected);
    };
    ASSERT_TRUE(shows({600, 50, 400, 300}));
    ASSERT_TRUE(remove("RIGHT"));
    EXPECT_TRUE(shows({600, 50, 400, 300})) << "one that is switched off keeps its last place";
    ASSERT_TRUE(set("RIGHT", "400/100x300/80+100+20", "none"));
    EXPECT_TRUE(shows({100, 20, 400, 300})) << "moved";
    ASSERT_TRUE(remove("LEFT"));
    EXPECT_TRUE(shows({100, 20, 400, 300})) << "the other one is gone";
    ASSERT_TRUE(remove("RIGHT") && set("RIGHT", "320/100x200/80+640+100", "none"));
    EXPECT_TRUE(shows({640, 100, 320, 200})) << "smaller";
    ASSERT_TRUE(remove("RIGHT") && set("RIGHT", "600/100x400/80+400+0", "none"));
    EXPECT_TRUE(shows({400, 0, 600, 400})) << "larger";
    EXPECT_EQ(screen.receiver.losses(), 0);
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

// The pointer.

TEST(XScreenSource, followsThePointerThoughNothingElseChanges) {
    XScreen screen;
    screen.painter.setCursor(12, 20, 3, 7, 0xff8000);
    ASSERT_TRUE(screen.start());
    const std::size_t window = screen.painter.addWindow({100, 100, 200, 200}, 3);
    const auto seen = [&] { return withCursor(screen.painter.expected(), screen.painter.cursorRect(), 0xff8000); };
    ASSERT_TRUE(screen.receiver.waitFor(seen()));
    for (int step = 0; step < 10; ++step) {
        const PixelRect before = screen.painter.cursorRect();
        screen.painter.movePointer(90 + step * 23, 95 + step * 11);
        ASSERT_TRUE(screen.receiver.waitFor(seen()));
        const std::optional<PixelRegion> damage = screen.receiver.damageOf(screen.receiver.count());
        ASSERT_TRUE(damage.has_value());
        EXPECT_LE(damage->bounds().area(), before.united(screen.painter.cursorRect()).area());
    }
    screen.painter.repaint(window, 4); // beneath the pointer
    ASSERT_TRUE(screen.receiver.waitFor(seen()));
    for (const auto& [x, y] : {std::pair(0, 0), std::pair(639, 479), std::pair(639, 0)}) {
        screen.painter.movePointer(x, y);
        EXPECT_TRUE(screen.receiver.waitFor(seen())) << "at the edge " << x << ", " << y;
    }
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

TEST(XScreenSource, seesAPointerThatAProgramMovesWithTheNextChange) {
    XScreen screen;
    screen.painter.setCursor(12, 20, 3, 7, 0xff8000);
    ASSERT_TRUE(screen.start());
    const std::size_t window = screen.painter.addWindow({100, 100, 20, 20}, 3);
    screen.painter.warpPointer(400, 300);
    screen.painter.repaint(window, 4);
    EXPECT_TRUE(screen.receiver.waitFor(withCursor(screen.painter.expected(), screen.painter.cursorRect(), 0xff8000)));
}

TEST(XScreenSource, showsANewPointerAndNoneWhileItIsHidden) {
    XScreen screen;
    screen.painter.movePointer(200, 100);
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    screen.painter.setCursor(16, 16, 0, 0, 0x0000ff);
    const auto seen = [&] { return withCursor(screen.painter.expected(), screen.painter.cursorRect(), 0x0000ff); };
    ASSERT_TRUE(screen.receiver.waitFor(seen()));
    screen.painter.setCursor(0, 0, 0, 0, 0);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    const std::uint64_t count = screen.receiver.count();
    for (int step = 0; step < 20; ++step)
        screen.painter.movePointer(10 + step, 20);
    screen.painter.addWindow({300, 300, 30, 30}, 1);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    EXPECT_LE(screen.receiver.count(), count + 2)
        << "an invisible pointer makes no frames; the window is mapped, then painted";
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

// What makes no frames.

TEST(XScreenSource, makesNoFrameOfARepaintThatChangesNothing) {
    XScreen screen;
    ASSERT_TRUE(screen.start());
    const std::size_t window = screen.painter.addWindow({100, 100, 300, 30}, 3);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    const std::uint64_t count = screen.receiver.count();
    for (int time = 0; time < 50; ++time)
        screen.painter.repaint(window, 3);
    screen.painter.repaintPart(window, {250, 5, 3, 3}, 8);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    EXPECT_EQ(screen.receiver.count(), count + 1);
    const std::optional<PixelRegion> damage = screen.receiver.damageOf(count + 1);
    ASSERT_TRUE(damage.has_value());
    EXPECT_LE(damage->bounds().area(), 128 * 32) << "though the whole window was painted, only a tile or two differ";
}

/// The windows that have been created on the root since the last call.
int windowsCreated(const XPainter& watcher) {
    watcher.sync();
    int count = 0;
    while (const auto event = owned(xcb_poll_for_event(watcher.xcb())))
        if ((event->response_type & 0x7f) == XCB_CREATE_NOTIFY) ++count;
    return count;
}

// The server has the root drawn by way of a window of the source's.
TEST(XScreenSource, looksAtTheBackgroundAgainWhenItChangesAndNotWhenARoundWindowOfOursIsRepainted) {
    XScreen screen;
    XPainter own(screen.server->displayName());
    const std::size_t bubble = own.addWindow({200, 150, 120, 120}, 1);
    const auto tree = owned(xcb_query_tree_reply(own.xcb(), xcb_query_tree(own.xcb(), own.root()), nullptr));
    ASSERT_TRUE(tree && xcb_query_tree_children_length(tree.get()) == 1);
    const xcb_rectangle_t cross[] = {{40, 0, 40, 40}, {0, 40, 120, 40}, {40, 80, 40, 40}};
    xcb_shape_rectangles(own.xcb(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_YX_BANDED,
                         xcb_query_tree_children(tree.get())[0], 0, 0, 3, cross);
    own.sync();
    const XPainter watcher(screen.server->displayName());
    const std::uint32_t structure = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(watcher.xcb(), watcher.root(), XCB_CW_EVENT_MASK, &structure);
    const Size size{640, 480};
    FrameReceiver& receiver = screen.receiver;
    ASSERT_TRUE(receiver.start(xScreenSourceFactory({.displayName = screen.server->displayName(),
                                                     .ownClients = {XClientResources::of(own.xcb())}}),
                               own.monitors().front().id, size));
    ASSERT_TRUE(receiver.waitForCount(1));
    const std::uint32_t other = 0x204060;
    xcb_change_window_attributes(own.xcb(), own.root(), XCB_CW_BACK_PIXEL, &other);
    xcb_clear_area(own.xcb(), 0, own.root(), 0, 0, 0, 0);
    own.sync();
    EXPECT_TRUE(eventually([&] { return windowsCreated(watcher) > 0; }));
    EXPECT_TRUE(receiver.waitFor([](const Picture& seen) { return seen.at(260, 210) == 0x204060; }));
    for (std::uint32_t picture = 2; picture < 30; ++picture) {
        const std::uint64_t count = receiver.count();
        own.repaint(bubble, picture);
        ASSERT_TRUE(receiver.waitForCount(count + 1)) << "a repaint of ours is a frame";
    }
    EXPECT_EQ(windowsCreated(watcher), 0);
}

std::uint64_t wakeups(pid_t thread) {
    std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
    std::uint64_t sum = 0;
    for (std::string word; status >> word;)
        if (word.ends_with("ctxt_switches:")) {
            std::uint64_t count = 0;
            status >> count;
            sum += count;
        }
    return sum;
}

TEST(XScreenSource, sleepsWhileTheScreenIsStill) {
    XScreen screen;
    screen.painter.setCursor(16, 16, 0, 0, 0x0000ff);
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.receiver.waitFor(withCursor(screen.painter.expected(), screen.painter.cursorRect(), 0x0000ff)));
    pid_t thread = 0;
    screen.receiver.queue.sync([&] { thread = ::gettid(); });
    // What the first frames have stirred up comes to rest; then nothing may happen however long we look.
    std::uint64_t before = 0;
    ASSERT_TRUE(eventually([&] { return std::exchange(before, wakeups(thread)) == wakeups(thread); }));
    const std::uint64_t count = screen.receiver.count();
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    EXPECT_EQ(wakeups(thread), before);
    EXPECT_EQ(screen.receiver.count(), count);
}

TEST(XScreenSource, makesAnotherFrameOfAStillScreenWhenAsked) {
    XScreen screen;
    ASSERT_TRUE(screen.start());
    FrameReceiver& receiver = screen.receiver;
    ASSERT_TRUE(receiver.waitFor(screen.painter.expected()));
    for (int round = 0; round < 3; ++round) {
        const std::uint64_t before = receiver.count();
        receiver.queue.sync([&] { receiver.source->makeAnother(); });
        ASSERT_TRUE(receiver.waitForCount(before + 1));
        EXPECT_TRUE(receiver.latest() == screen.painter.expected());
    }
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST(XScreenSource, makesNoFramesOfAStillScreenWithoutDamage) {
    XScreen screen({640, 480, 24, {"-extension", "DAMAGE"}});
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    const std::uint64_t count = screen.receiver.count();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(screen.receiver.count(), count);
    screen.painter.addWindow({100, 100, 300, 200}, 3);
    EXPECT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
}

TEST(XScreenSource, needsOneBufferWhenItsReceiverLetsGoAtOnce) {
    XScreen screen;
    ASSERT_TRUE(screen.start());
    for (std::uint32_t seed = 0; seed < 10; ++seed) {
        screen.painter.addWindow({100, 100, 300, 200}, seed);
        ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    }
    screen.receiver.queue.sync([&] {
        const auto& source = dynamic_cast<const XScreenSource&>(*screen.receiver.source);
        EXPECT_EQ(source.takeovers(), 0U);
        EXPECT_TRUE(source.sharesMemory());
    });
}

// Pictures that are wholly new, which do not go the way of those that change in part.

struct Habit {
    const char* name;
    std::size_t keeps; ///< frames
};

class XScreenSourceAllNew : public ::testing::TestWithParam<Habit> {};

TEST_P(XScreenSourceAllNew, showsEachAndWhatChangesAfterwardsWithThePointerOnThem) {
    XScreen screen;
    XPainter& painter = screen.painter;
    std::deque<ConstPixelBufferRef> kept; // the queue's
    FrameReceiver receiver({.onFrame = [&](const ConstPixelBufferRef& frame) {
        kept.push_back(frame);
        while (kept.size() > GetParam().keeps)
            kept.pop_front();
    }});
    painter.setCursor(12, 20, 3, 7, 0xff8000);
    const std::size_t all = painter.addWindow({0, 0, 640, 480}, 1);
    ASSERT_TRUE(receiver.start(xScreenSourceFactory({.displayName = screen.server->displayName()}),
                               painter.monitors().front().id, screen.size));
    const auto seen = [&] { return withCursor(painter.expected(), painter.cursorRect(), 0xff8000); };
    ASSERT_TRUE(receiver.waitFor(seen()));
    for (std::uint32_t step = 0; step < 12; ++step) {
        const int place = 20 * static_cast<int>(step);
        painter.repaint(all, 10 + step);
        ASSERT_TRUE(receiver.waitFor(seen())) << "all new, step " << step;
        if (step % 3 == 1) painter.movePointer(100 + place, 50 + place);
        if (step % 3 != 0) painter.repaintPart(all, {place, 40, 90, 70}, 100 + step);
        ASSERT_TRUE(receiver.waitFor(seen())) << "in part, step " << step;
    }
    EXPECT_THAT(receiver.problems(), IsEmpty());
    receiver.queue.sync([&] {
        const auto& source = dynamic_cast<const XScreenSource&>(*receiver.source);
        EXPECT_TRUE(GetParam().keeps > 0 || source.wholePictures() > 0);
    });
    receiver.stop();
    receiver.queue.sync([&] { kept.clear(); });
}

INSTANTIATE_TEST_SUITE_P(Table, XScreenSourceAllNew,
                         ::testing::Values(Habit{"letsGoAtOnce", 0}, Habit{"keepsOne", 1}, Habit{"keepsThree", 3}),
                         [](const auto& row) { return std::string(row.param.name); });

// Servers that lack something.

struct Lack {
    const char* name;
    std::vector<std::string> arguments;
    const char* note;
    bool hasPointer;
};

class XScreenSourceLacking : public ::testing::TestWithParam<Lack> {};

TEST_P(XScreenSourceLacking, saysSoAndShowsTheScreenAllTheSame) {
    XScreen screen({640, 480, 24, GetParam().arguments});
    screen.painter.setCursor(10, 10, 0, 0, 0xffff00);
    const auto listed =
        listMonitors(screen.painter.xcb(), screen.painter.root(),
                     std::string_view(GetParam().name) == "randr" ? MonitorSource::wholeRoot : MonitorSource::randr);
    ASSERT_EQ(listed.size(), 1U);
    ::testing::internal::CaptureStderr();
    const bool started = screen.startMonitor(listed.front().id, {640, 480});
    EXPECT_THAT(::testing::internal::GetCapturedStderr(), HasSubstr(GetParam().note));
    ASSERT_TRUE(started) << screen.receiver.error().description;
    const std::size_t window = screen.painter.addWindow({13, 17, 500, 400}, 3);
    for (std::uint32_t step = 0; step < 5; ++step) {
        screen.painter.repaintPart(window, {20, 20, 400, 300}, step);
        screen.painter.movePointer(100 + static_cast<int>(step), 100);
        const Picture plain = screen.painter.expected();
        ASSERT_TRUE(screen.receiver.waitFor(
            GetParam().hasPointer ? withCursor(plain, screen.painter.cursorRect(), 0xffff00) : plain));
    }
    EXPECT_THAT(screen.receiver.problems(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Extensions, XScreenSourceLacking,
    ::testing::Values(
        Lack{"shm", {"-extension", "MIT-SHM"}, "shares no memory", true},
        Lack{"damage", {"-extension", "DAMAGE"}, "no DAMAGE", true},
        Lack{"fixes", {"-extension", "XFIXES"}, "no XFIXES", false},
        Lack{"composite", {"-extension", "Composite"}, "", true},
        Lack{"randr", {"-extension", "RANDR"}, "no RandR", true},
        Lack{"bigRequests", {"-extension", "BIG-REQUESTS", "-extension", "MIT-SHM"}, "shares no memory", true},
        Lack{"nearlyEverything",
             {"-extension", "MIT-SHM", "-extension", "DAMAGE", "-extension", "XFIXES"},
             "shares no memory",
             false}),
    [](const auto& each) { return std::string(each.param.name); });

// Failures.

TEST(XScreenSource, endsOnceWhenTheServerDies) {
    XScreen screen;
    ASSERT_TRUE(screen.start());
    const std::size_t window = screen.painter.addWindow({100, 100, 300, 200}, 3);
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    screen.painter.repaint(window, 4);
    screen.server->crash();
    EXPECT_TRUE(screen.receiver.waitForLoss());
    const std::uint64_t count = screen.receiver.count();
    screen.receiver.queue.sync([] {});
    EXPECT_EQ(screen.receiver.losses(), 1);
    EXPECT_EQ(screen.receiver.count(), count);
}

TEST(XScreenSource, endsOnceWhenAStillServerDies) {
    XScreen screen;
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.receiver.waitFor(screen.painter.expected()));
    screen.server->crash();
    EXPECT_TRUE(screen.receiver.waitForLoss());
}

TEST(XScreenSource, knowsNoOtherDisplays) {
    XScreen screen;
    EXPECT_FALSE(screen.startMonitor(4'000'000'000U, {640, 480}));
    EXPECT_EQ(screen.receiver.error(), (Error{"Quillet", 1, "No capturable display found."}));
}

TEST(XScreenSource, needsAServer) {
    FrameReceiver receiver;
    EXPECT_FALSE(receiver.start(xScreenSourceFactory({.displayName = ":30000"}), 1, {640, 480}));
    EXPECT_EQ(receiver.error(), (Error{"Quillet", 2, "The X server :30000 does not answer."}));
}

class XScreenSourceAtDepth : public ::testing::TestWithParam<int> {};

TEST_P(XScreenSourceAtDepth, saysThatItCannotRecord) {
    const auto server = VirtualXServer::start({320, 240, GetParam(), {}});
    ASSERT_NE(server, nullptr);
    FrameReceiver receiver;
    EXPECT_FALSE(receiver.start(xScreenSourceFactory({.displayName = server->displayName()}), 1, {320, 240}));
    EXPECT_EQ(receiver.error().code, 3);
    EXPECT_THAT(receiver.error().description, HasSubstr("depth of " + std::to_string(GetParam())));
}

INSTANTIATE_TEST_SUITE_P(Depths, XScreenSourceAtDepth, ::testing::Values(8, 16, 30),
                         [](const auto& each) { return "depth" + std::to_string(each.param); });

TEST(XScreenSource, saysThatWaylandSessionsAreNotSupported) {
    if (!std::filesystem::exists("/usr/bin/weston") || !std::filesystem::exists("/usr/bin/Xwayland"))
        GTEST_SKIP() << "weston and Xwayland are not installed";
    std::string folder = "/tmp/quillet-wayland-XXXXXX";
    ASSERT_NE(::mkdtemp(folder.data()), nullptr);
    const std::string log = folder + "/log";
    const auto session = ChildProgram::start({{"weston", "--backend=headless-backend.so", "--xwayland", "--idle-time=0",
                                               "--no-config", "--socket=quillet-test", "--log=" + log},
                                              {"XDG_RUNTIME_DIR=" + folder},
                                              -1});
    std::string display;
    // The X server starts when its first client comes; the compositor listens for it.
    ASSERT_TRUE(eventually([&] {
        static constexpr std::string_view announcement = "xserver listening on display ";
        std::ifstream lines(log);
        for (std::string line; std::getline(lines, line);)
            if (const std::size_t at = line.find(announcement); at != std::string::npos)
                display = line.substr(at + announcement.size());
        return !display.empty();
    }));
    FrameReceiver receiver;
    EXPECT_FALSE(receiver.start(xScreenSourceFactory({.displayName = display}), 1, {640, 480}));
    EXPECT_EQ(receiver.error().code, 4);
    EXPECT_THAT(receiver.error().description, HasSubstr("Wayland session is not supported yet"));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace quillet::testing
