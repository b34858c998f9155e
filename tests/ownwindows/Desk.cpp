#include "tests/ownwindows/Desk.h"

#include "platform/x11/XScreenSource.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <thread>

namespace quillet::testing {

namespace {

using namespace std::chrono_literals;

constexpr int squareSide = 12;
constexpr int pointerReach = 32; // of any window manager's pointer, from its hot spot

// The reach of the widest shadows and title bars around a window's content.
constexpr int effectsReach = 60;

// After this the recording looks again at what ours had covered.
constexpr std::chrono::milliseconds uncoveredAgain = 1300ms;

constexpr int pixelsPerRequest = 16'000;

void putNoise(const XPainter& session, xcb_pixmap_t pixmap, int width, int height, std::uint32_t seed) {
    const xcb_gcontext_t graphics = xcb_generate_id(session.xcb());
    xcb_create_gc(session.xcb(), graphics, pixmap, 0, nullptr);
    const int rowsPerRequest = std::max(1, pixelsPerRequest / width);
    for (int top = 0; top < height; top += rowsPerRequest) {
        std::vector<std::uint32_t> pixels;
        const int rows = std::min(rowsPerRequest, height - top);
        for (int y = top; y < top + rows; ++y)
            for (int x = 0; x < width; ++x)
                pixels.push_back(greenNoise(seed, x, y));
        xcb_put_image(session.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap, graphics, static_cast<std::uint16_t>(width),
                      static_cast<std::uint16_t>(rows), 0, static_cast<std::int16_t>(top), 0, 24,
                      static_cast<std::uint32_t>(pixels.size() * 4),
                      reinterpret_cast<const std::uint8_t*>(pixels.data()));
    }
    xcb_free_gc(session.xcb(), graphics);
}

} // namespace

Desk::Desk(const Setup& wantedSetup, const DeskOptions& wantedOptions) : setup(wantedSetup), options(wantedOptions) {
    server = VirtualXServer::start({options.width, options.height, 24, options.serverArguments});
    if (!server) return;
    if (!options.hiddenExtension.empty()) {
        hider = ExtensionHider::start(server->displayName(), options.hiddenExtension);
        if (!hider) return;
    }
    session = std::make_unique<XPainter>(server->displayName());
    setMonitors();
    setWallpaper(options.wallpaper, 4711);
    running = RunningSetup::start(setup, *server, *session);
    if (!running) return;
    // As in the program itself: before the first window of ours.
    if (options.redirects == Redirects::beforeTheFirstWindow)
        redirection = WindowRedirection::make(server->displayName());
    own = std::make_unique<Program>(server->displayName());
    others = std::make_unique<Program>(server->displayName());
    raw = std::make_unique<RawRoot>(server->displayName());
    if (setup.isComposited() && !waitUntilComposited()) {
        running.reset();
        return;
    }
    recording = std::make_unique<FrameReceiver>(
        FrameReceiverHooks{[this](const ConstPixelBufferRef& frame) { judge.look(*frame); }});
}

Desk::~Desk() {
    if (recording) recording->stop();
}

void Desk::setMonitors() {
    if (options.monitorCount < 2) return;
    const int half = options.width / 2;
    const auto side = [&](int x) {
        return std::to_string(half) + "/100x" + std::to_string(options.height) + "/100+" + std::to_string(x) + "+0";
    };
    server->run({"xrandr", "--setmonitor", "LEFT", side(0), "screen"})->wait();
    server->run({"xrandr", "--setmonitor", "RIGHT", side(half), "none"})->wait();
}

void Desk::setWallpaper(Wallpaper wallpaper, std::uint32_t seed) {
    xcb_connection_t* const c = session->xcb();
    int width = 64;
    int height = 48;
    if (wallpaper == Wallpaper::picture) {
        width = options.width;
        height = options.height;
    }
    const std::uint32_t grey = 0x606060;
    if (wallpaper != Wallpaper::picture && wallpaper != Wallpaper::tiles) {
        xcb_delete_property(c, session->root(), session->atom("_XROOTPMAP_ID"));
        xcb_change_window_attributes(c, session->root(), XCB_CW_BACK_PIXEL, &grey);
    }
    if (wallpaper != Wallpaper::colour) {
        const xcb_pixmap_t pixmap = xcb_generate_id(c);
        xcb_create_pixmap(c, 24, pixmap, session->root(), static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height));
        putNoise(*session, pixmap, width, height, seed);
        const bool isHeeded = wallpaper != Wallpaper::propertyThatNobodyHeeds;
        if (isHeeded) xcb_change_window_attributes(c, session->root(), XCB_CW_BACK_PIXMAP, &pixmap);
        if (wallpaper != Wallpaper::withoutProperty)
            xcb_change_property(c, XCB_PROP_MODE_REPLACE, session->root(),
                                session->atom(isHeeded ? "_XROOTPMAP_ID" : "ESETROOT_PMAP_ID"), XCB_ATOM_PIXMAP, 32, 1,
                                &pixmap);
    }
    xcb_clear_area(c, 0, session->root(), 0, 0, 0, 0);
    session->sync();
}

// A compositing manager announces itself before it draws anything, and kwin draws the background, for which it takes
// black, only where windows have been. But to xfwm4 a window as large as the screen means a film.
bool Desk::waitUntilComposited() {
    const PixelRect place{2, 2, options.width - 4, options.height - 4};
    const xcb_window_t ground = others->add({.rect = place, .paint = plainColour, .seed = 0x00c000});
    const xcb_window_t veil = others->add(
        {.rect = place, .paint = [](std::uint32_t, int, int) { return 0x80404040U; }, .depth = Depth::withAlpha});
    const bool isComposited = eventually([this] {
        const Picture picture = raw->read();
        return picture.width > 0 && (picture.at(55, 55) >> 8 & 0xffU) > 0x80U && picture.at(55, 55) != 0x00c000U;
    });
    others->destroy(veil);
    others->destroy(ground);
    return isComposited && raw->settled(setup.rest).width > 0;
}

xcb_window_t Desk::addOwn(WindowOptions wanted) {
    if (wanted.paint == greenNoise) wanted.paint = magenta;
    wanted.takesFocus = false;
    wanted.wantsShadow = wanted.outline != Outline::frame; // as the program's own outline does
    // Compositing managers learn what a new window is like while it is mapped already, and show it as something else
    // until then.
    if (setup.isComposited() && ownWindows.empty()) (void)raw->settled(setup.rest);
    const xcb_window_t window = own->add(wanted);
    ownWindows.push_back(window);
    return window;
}

xcb_window_t Desk::addOther(const WindowOptions& wanted) { return others->add(wanted); }

void Desk::listOther(WindowOptions wanted) {
    wanted.paint = magenta;
    wanted.takesFocus = false;
    listedWindows.push_back(others->create(wanted));
}

void Desk::hideOwn() {
    for (const xcb_window_t window : ownWindows)
        own->hide(window);
    for (const xcb_window_t window : listedWindows)
        others->hide(window);
}

bool Desk::showOwn() {
    return std::ranges::all_of(ownWindows, [this](xcb_window_t window) { return own->show(window); }) &&
           std::ranges::all_of(listedWindows, [this](xcb_window_t window) { return others->show(window); });
}

bool Desk::waitUntilItShowsOurs() const {
    return eventually([this] { return showsOurs(); });
}

ScreenSourceFactory Desk::factory() const {
    return xScreenSourceFactory({.displayName = hider ? hider->displayName() : server->displayName(),
                                 .ownClients = {{own->resourceBase(), own->resourceMask()}},
                                 .redirection = redirection});
}

bool Desk::record(const CaptureOptions& wanted) {
    auto monitors = session->monitors();
    std::ranges::sort(monitors, {}, [](const Monitor& each) { return each.rect.x; });
    const Monitor& monitor = monitors.at(wanted.monitor);
    recordedArea = monitor.rect;
    parkPointer();
    square = others->add({.rect = {recordedArea.right() - squareSide - 2, recordedArea.bottom() - squareSide - 2,
                                   squareSide, squareSide},
                          .paint = plainColour,
                          .seed = 0x002000});
    const Size size{static_cast<double>(recordedArea.width), static_cast<double>(recordedArea.height)};
    return recording->start(factory(), monitor.id, size, wanted.fps, {listedWindows.begin(), listedWindows.end()});
}

void Desk::parkPointer() { session->movePointer(recordedArea.right() - 1, recordedArea.bottom() / 2); }

std::uint32_t Desk::paintSquare() {
    // Counts upwards in red and blue, always less than the green, and never the colour before.
    ++beats;
    const std::uint32_t colour = 0x00c000U | (beats & 0x7fU) << 16 | (beats >> 7 & 0x7fU);
    others->run([&](xcb_connection_t* c) {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(c, square, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    });
    others->repaint(square, colour);
    return colour;
}

Picture Desk::recordedNow() {
    const std::uint32_t colour = paintSquare();
    Picture found;
    const int x = recordedArea.width - 2 - squareSide / 2;
    const int y = recordedArea.height - 2 - squareSide / 2;
    const bool came = recording->waitFor([&](const Picture& picture) {
        if (picture.at(x, y) != colour) return false;
        found = picture;
        return true;
    });
    if (came) return found;
    const Picture display = raw->read();
    std::cerr << "no frame shows the square; the display itself "
              << (display.width > recordedArea.x + x && display.at(recordedArea.x + x, recordedArea.y + y) == colour
                      ? "does\n"
                      : "does not, either\n");
    return {};
}

Picture Desk::recordedAtRest() {
    const auto limit = std::chrono::steady_clock::now() + 20s;
    Picture picture = recordedNow();
    while (std::chrono::steady_clock::now() < limit && picture.width > 0) {
        std::this_thread::sleep_for(setup.rest);
        Picture next = recordedNow();
        if (difference(next, expectation(picture)).empty()) return next;
        picture = std::move(next);
    }
    return {};
}

Picture Desk::shownAtRest() {
    const auto rest = setup.effects == Effects::none ? setup.rest : std::max(setup.rest, uncoveredAgain);
    // What makes the display of the windows may be late: once the square is there, so is all that came before.
    const std::uint32_t colour = paintSquare();
    const bool isCurrent = eventually([&] {
        const Picture now = raw->read();
        return now.width > 0 &&
               now.at(recordedArea.right() - 2 - squareSide / 2, recordedArea.bottom() - 2 - squareSide / 2) == colour;
    });
    if (!isCurrent) return {};
    const Picture all = raw->settled(rest);
    return all.width > 0 ? all.cut(recordedArea) : all;
}

Expectation Desk::expectation(Picture picture) {
    const int right = recordedArea.width;
    const int bottom = recordedArea.height;
    Expectation wanted{
        std::move(picture),
        {{right - squareSide - 2, bottom - squareSide - 2, squareSide, squareSide},
         {right - pointerReach, recordedArea.bottom() / 2 - pointerReach, pointerReach, 2 * pointerReach}},
        setup.tolerance};
    if (setup.effects == Effects::none) return wanted;
    std::vector<Program::Place> windows = others->places();
    for (Program* const program : furtherPrograms) {
        const std::vector<Program::Place> more = program->places();
        windows.insert(windows.end(), more.begin(), more.end());
    }
    for (const Program::Place& window : windows) {
        const PixelRect rect = window.rect.offsetBy(-recordedArea.x, -recordedArea.y);
        if (!window.isOpaque) wanted.ignored.push_back(rect); // shadows show through
        const PixelRect reach = rect.grownBy(effectsReach);
        wanted.ignored.push_back({reach.x, reach.y, reach.width, effectsReach});
        wanted.ignored.push_back({reach.x, rect.bottom(), reach.width, effectsReach});
        wanted.ignored.push_back({reach.x, rect.y, effectsReach, rect.height});
        wanted.ignored.push_back({rect.right(), rect.y, effectsReach, rect.height});
    }
    return wanted;
}

void Desk::proveRecordedEqualsHidden() {
    ASSERT_TRUE(waitUntilItShowsOurs()) << "the display shows none of ours: nothing to prove";
    const Picture recorded = recordedAtRest();
    ASSERT_GT(recorded.width, 0) << "the recording never comes to rest";
    EXPECT_EQ(tintedPixels(recorded), 0U) << "the recording shows our windows";
    Expectation wanted = expectation({});
    hideOwn();
    ASSERT_TRUE(eventually([this] { return !showsOurs(); })) << "the display goes on showing ours though hidden";
    wanted.picture = shownAtRest();
    ASSERT_GT(wanted.picture.width, 0) << "the display never comes to rest";
    ASSERT_EQ(tintedPixels(wanted.picture), 0U) << "the display shows ours though they are hidden";
    EXPECT_EQ(difference(recorded, wanted), "") << "with ours shown";
}

void Desk::proveAbsence() {
    proveRecordedEqualsHidden();
    if (::testing::Test::HasFatalFailure()) return;
    const Picture now = recordedNow();
    EXPECT_EQ(difference(now, expectation(shownAtRest())), "") << "with ours hidden";
    judge.expect(expectation(now));
    ASSERT_TRUE(showOwn());
    ASSERT_TRUE(waitUntilItShowsOurs());
    EXPECT_GT(recordedAtRest().width, 0);
    hideOwn();
    ASSERT_TRUE(eventually([this] { return !showsOurs(); }));
    EXPECT_GT(recordedNow().width, 0);
    judge.expect(std::nullopt);
    proveEveryFrameClean();
}

void Desk::proveEveryFrameClean() const {
    EXPECT_EQ(judge.verdict(), "");
    EXPECT_EQ(recording->losses(), 0);
    for (const std::string& problem : recording->problems())
        ADD_FAILURE() << problem;
}

} // namespace quillet::testing
