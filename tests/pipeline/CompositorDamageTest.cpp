// Draws random recordings twice, once with damage into recycled frames and once afresh, and compares every bit.
#include "pipeline/Compositor.h"
#include "pipeline/PixelBufferPool.h"
#include "tests/pipeline/paintedFrames.h"

#include <algorithm>
#include <deque>
#include <random>
#include <string_view>

namespace quillet {
namespace {

struct Recording {
    const char* name;
    Rect region;
    std::optional<BeautifySettings> beautify;
    Alpha alpha;
    bool mirrored;
};

constexpr int screenWidth = 150;
constexpr int screenHeight = 110;

class DamagedRecording : public testing::TestWithParam<Recording> {
protected:
    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
    bool chance(int percent) { return between(1, 100) <= percent; }

    void scribble(const PixelRect& part) {
        for (int y = part.y; y < part.bottom(); ++y)
            for (int x = part.x; x < part.right(); ++x)
                painted::setPixel(*screen, x, y, {between(0, 90), between(0, 90), between(0, 90), between(90, 255)});
    }

    PixelRect anywhere() {
        const PixelRect part{between(-9, screenWidth), between(-9, screenHeight), between(1, 40), between(1, 30)};
        return part.intersection(screen->bounds());
    }

    /// The source's next frame; damage always says everything that changed, and sometimes more.
    void nextScreenFrame() {
        screen->sequence += chance(4) ? 2U : 1U;
        if (chance(3)) screen->sequence = 0;
        screen->damage.emplace();
        const int changes = chance(30) ? 0 : between(1, chance(10) ? 30 : 3);
        for (int i = 0; i < changes; ++i) {
            const PixelRect part = anywhere();
            if (part.isEmpty()) continue;
            scribble(chance(90) ? part : PixelRect{part.x, part.y, 1, 1});
            screen->damage->add(part);
        }
        if (chance(3)) {
            scribble(anywhere());
            screen->damage.reset();
        }
    }

    void nextCameraFrame() {
        if (chance(50))
            cameras.push_back(painted::frame(48, 36, [&](int, int) { return painted::speckle(between(0, 9999), 1); }));
        else
            std::rotate(cameras.begin(), cameras.begin() + 1, cameras.end());
        if (cameras.size() > 3) cameras.pop_front();
        cameras.back()->sequence = chance(5) ? 0 : ++cameraSequence;
        painted::setPixel(*cameras.back(), between(0, 47), between(0, 35), {255, 0, 255, 255});
    }

    void moveBubble() {
        if (chance(15))
            bubble.reset();
        else if (!bubble || chance(15))
            bubble = Rect{1.0 * between(-40, 150), 1.0 * between(-40, 110), 1.0 * between(1, 60), 1};
        else
            *bubble = bubble->offsetBy(between(-5, 5), between(-5, 5));
        if (bubble && chance(5)) bubble->width += 0.5;
    }

    std::mt19937 random{11};
    PixelBufferRef screen = painted::frame(screenWidth, screenHeight, painted::speckle);
    std::deque<PixelBufferRef> cameras;
    std::uint64_t cameraSequence = 0;
    std::optional<Rect> bubble;
};

/// Whether `frame` differs from `before` only where its damage says.
testing::AssertionResult damageCovers(const PixelBuffer& frame, const PixelBuffer& before) {
    if (!frame.damage) return testing::AssertionSuccess();
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            if (painted::pixelAt(frame, x, y) != painted::pixelAt(before, x, y) &&
                !frame.damage->intersects({x, y, 1, 1}))
                return testing::AssertionFailure() << "changed beside its damage at " << x << ", " << y;
    return testing::AssertionSuccess();
}

bool isWithin(const PixelBuffer& frame, const PixelBuffer& screen) {
    return frame.row(0) >= screen.row(0) && frame.row(0) < screen.row(screen.height());
}

/// Alike in every colour; a drawn frame is opaque where the other's fourth bytes are ignored.
testing::AssertionResult samePicture(const PixelBuffer& found, const PixelBuffer& expected) {
    if (found.alpha != Alpha::ignored) return painted::samePixels(found, expected);
    const PixelBufferRef opaque = painted::frame(found.width(), found.height(), [&](int x, int y) {
        painted::Pixel pixel = painted::pixelAt(found, x, y);
        pixel.alpha = 255;
        return pixel;
    });
    return painted::samePixels(*opaque, expected);
}

TEST_P(DamagedRecording, equalsAFullRedrawBitForBit) {
    const Recording& recording = GetParam();
    screen->alpha = recording.alpha;
    screen->sequence = 1;
    Compositor compositor(recording.region, recording.mirrored, recording.beautify);
    const auto pool = PixelBufferPool::make(compositor.outputSize());
    std::vector<ConstPixelBufferRef> held;
    PixelBufferRef last;
    int partial = 0;
    int views = 0;
    for (int step = 0; step < 400; ++step) {
        nextScreenFrame();
        if (cameras.empty() || chance(30)) nextCameraFrame();
        if (chance(40)) moveBubble();
        const PixelBuffer* camera = chance(95) ? cameras.back().get() : nullptr;

        while (held.size() > 6 || (!held.empty() && chance(50)))
            held.erase(held.begin() + between(0, static_cast<int>(held.size()) - 1));
        if (chance(8)) {
            if (chance(50)) compositor.skip(*screen); // else the gap speaks for itself
            continue;
        }
        if (chance(1)) screen->alpha = screen->alpha == Alpha::ignored ? Alpha::premultiplied : Alpha::ignored;

        const auto acquire = [&] {
            return chance(4) ? painted::flat(static_cast<int>(recording.region.width),
                                             static_cast<int>(recording.region.height), {1, 2, 3, 4})
                             : pool->acquire();
        };
        ConstPixelBufferRef into;
        if (chance(50)) {
            into = compositor.show(screen, camera, bubble, {acquire, chance(90)});
            views += isWithin(*into, *screen);
        } else {
            const PixelBufferRef target = acquire();
            compositor.render(*screen, camera, bubble, *target);
            into = target;
        }
        partial += into->damage.has_value();

        const PixelBufferRef expected = PixelBuffer::make(into->width(), into->height());
        Compositor(recording.region, recording.mirrored, recording.beautify).render(*screen, camera, bubble, *expected);
        ASSERT_TRUE(samePicture(*into, *expected)) << "step " << step;
        ASSERT_TRUE(!last || (damageCovers(*expected, *last) && damageCovers(*into, *last))) << "step " << step;
        last = expected;
        held.push_back(into);
    }
    EXPECT_GT(partial, 100) << "most frames are drawn in part";
    if (recording.name == std::string_view("plainOpaque"))
        EXPECT_GT(views, 5);
    else
        EXPECT_EQ(views, 0);
}

INSTANTIATE_TEST_SUITE_P(
    Table, DamagedRecording,
    testing::Values(
        Recording{"plain", {13, 7, 100, 80}, std::nullopt, Alpha::premultiplied, false},
        Recording{"plainOpaque", {0, 0, 150, 110}, std::nullopt, Alpha::ignored, true},
        Recording{"plainBeyondTheScreen", {-21, 33, 90, 100}, std::nullopt, Alpha::ignored, false},
        Recording{"beautified", {13, 7, 100, 80}, BeautifySettings{}, Alpha::ignored, true},
        Recording{"beautifiedBeyondTheScreen",
                  {61, -19, 100, 80},
                  BeautifySettings{7, 0.2, 0.14, false},
                  Alpha::premultiplied,
                  false},
        Recording{"beautifiedTiny", {21, 17, 64, 48}, BeautifySettings{0, 0.1, 0.31, true}, Alpha::ignored, false},
        Recording{"beautifiedWhole", {0, 0, 150, 110}, BeautifySettings{8, 0, 0, true}, Alpha::ignored, false}),
    [](const auto& parameter) { return parameter.param.name; });

/// A plain recording of a part of a screen that changes everywhere.
class CompositorView : public testing::Test {
protected:
    CompositorView() { screen->alpha = Alpha::ignored; }

    ConstPixelBufferRef show(const PixelBuffer* camera = nullptr, std::optional<Rect> place = std::nullopt) {
        ++screen->sequence;
        return compositor->show(screen, camera, place,
                                {.acquire =
                                     [this] {
                                         ++acquired;
                                         return PixelBuffer::make(64, 24);
                                     },
                                 .isPrompt = isPrompt});
    }

    PixelBufferRef screen = painted::frame(96, 40, painted::speckle);
    std::optional<Compositor> compositor{std::in_place, Rect{16, 8, 64, 24}, false, std::nullopt};
    int acquired = 0;
    bool isPrompt = true;
};

TEST_F(CompositorView, showsTheScreenItselfWhereMostOfItIsNew) {
    const ConstPixelBufferRef shown = show();
    EXPECT_EQ(acquired, 0);
    EXPECT_EQ(shown->bounds(), (PixelRect{0, 0, 64, 24}));
    EXPECT_EQ(shown->row(0), screen->row(8) + std::ptrdiff_t{16} * 4);
    EXPECT_EQ(shown->strideBytes(), screen->strideBytes());
    EXPECT_EQ(shown->alpha, Alpha::ignored);
    EXPECT_FALSE(shown->damage);
}

TEST_F(CompositorView, saysWhereItDiffersFromTheFrameBefore) {
    const std::uint64_t first = show()->sequence;
    screen->damage.emplace();
    screen->damage->add({0, 8, 96, 16});
    const ConstPixelBufferRef shown = show();
    EXPECT_EQ(acquired, 0);
    EXPECT_EQ(shown->sequence, first + 1);
    ASSERT_TRUE(shown->damage);
    EXPECT_EQ(shown->damage->bounds(), (PixelRect{0, 0, 64, 16}));
}

TEST_F(CompositorView, keepsTheScreensFrameForAsLong) {
    ConstPixelBufferRef shown = show();
    EXPECT_EQ(screen.use_count(), 2);
    shown.reset();
    EXPECT_EQ(screen.use_count(), 1);
}

TEST_F(CompositorView, isOneAtATime) {
    const ConstPixelBufferRef first = show();
    const ConstPixelBufferRef second = show();
    EXPECT_EQ(acquired, 1);
    EXPECT_FALSE(isWithin(*second, *screen));
    EXPECT_TRUE(samePicture(*first, *second));
}

TEST_F(CompositorView, isForPromptReaders) {
    isPrompt = false;
    EXPECT_FALSE(isWithin(*show(), *screen));
    isPrompt = true;
    EXPECT_TRUE(isWithin(*show(), *screen));
}

TEST_F(CompositorView, isNotWorthItForLittle) {
    show();
    screen->damage.emplace();
    screen->damage->add({16, 8, 64, 12});
    EXPECT_FALSE(isWithin(*show(), *screen)) << "half";
    screen->damage->add({16, 20, 64, 1});
    EXPECT_TRUE(isWithin(*show(), *screen)) << "a little more than half";
}

TEST_F(CompositorView, givesWayToACircle) {
    const PixelBufferRef camera = painted::flat(20, 20, {0, 255, 0, 255});
    camera->sequence = 1;
    EXPECT_FALSE(isWithin(*show(camera.get(), Rect{30, 12, 10, 10}), *screen));
    EXPECT_TRUE(isWithin(*show(camera.get(), Rect{-300, 12, 10, 10}), *screen)) << "far outside";
    EXPECT_TRUE(isWithin(*show(), *screen)) << "where the circle was is new, and the rest by itself";
}

TEST_F(CompositorView, isNoneWhereRowsWouldStandAtOtherPlaces) {
    compositor.emplace(Rect{17, 8, 64, 24}, false, std::nullopt);
    EXPECT_FALSE(isWithin(*show(), *screen));
}

TEST_F(CompositorView, losesNothingWhereNoFrameIsToBeHad) {
    const ConstPixelBufferRef held = show();
    painted::setPixel(*screen, 20, 10, {7, 8, 9, 255});
    screen->damage.emplace();
    screen->damage->add({20, 10, 1, 1});
    ++screen->sequence;
    EXPECT_EQ(compositor->show(screen, nullptr, std::nullopt, {[] { return PixelBufferRef(); }}), nullptr);
    screen->damage->clear();
    const ConstPixelBufferRef next = show();
    ASSERT_TRUE(next->damage);
    EXPECT_TRUE(next->damage->intersects({4, 2, 1, 1}));
    EXPECT_EQ(painted::pixelAt(*next, 4, 2), (painted::Pixel{7, 8, 9, 255}));
}

TEST(CompositorDamage, drawsWholeIntoAFrameOfAnotherCompositor) {
    const PixelBufferRef screen = painted::flat(40, 30, {1, 2, 3, 255});
    screen->sequence = 1;
    const PixelBufferRef other = painted::flat(40, 30, {200, 100, 50, 255});
    other->sequence = 1;
    const PixelBufferRef into = PixelBuffer::make(40, 30);
    Compositor first({0, 0, 40, 30}, false, std::nullopt);
    Compositor second({0, 0, 40, 30}, false, std::nullopt);
    first.render(*screen, nullptr, std::nullopt, *into);
    second.render(*other, nullptr, std::nullopt, *into);
    EXPECT_TRUE(painted::samePixels(*into, *other));
    screen->sequence = 2;
    screen->damage.emplace();
    first.render(*screen, nullptr, std::nullopt, *into);
    EXPECT_TRUE(painted::samePixels(*into, *screen));
}

TEST(CompositorDamage, drawsWholeIntoAFrameThatWasAwayForLong) {
    const PixelBufferRef screen = painted::flat(40, 30, {1, 2, 3, 255});
    screen->sequence = 1;
    Compositor compositor({0, 0, 40, 30}, false, std::nullopt);
    const PixelBufferRef away = PixelBuffer::make(40, 30);
    const PixelBufferRef used = PixelBuffer::make(40, 30);
    compositor.render(*screen, nullptr, std::nullopt, *away);
    for (int i = 0; i < 100; ++i) {
        ++screen->sequence;
        painted::setPixel(*screen, i % 40, i % 30, {9, 9, 9, 255});
        screen->damage.emplace();
        screen->damage->add({i % 40, i % 30, 1, 1});
        compositor.render(*screen, nullptr, std::nullopt, *used);
    }
    compositor.render(*screen, nullptr, std::nullopt, *away);
    EXPECT_TRUE(painted::samePixels(*away, *screen));
}

TEST(CompositorDamage, touchesNothingThatIsUpToDate) {
    const PixelBufferRef screen = painted::frame(200, 100, painted::speckle);
    const PixelBufferRef camera = painted::flat(20, 20, {0, 255, 0, 255});
    camera->sequence = 1;
    screen->sequence = 1;
    for (const auto& settings : {std::optional<BeautifySettings>(), std::optional(BeautifySettings{})}) {
        Compositor compositor({0, 0, 200, 100}, false, settings);
        const PixelBufferRef into = PixelBuffer::make(200, 100);
        screen->sequence = 1;
        compositor.render(*screen, camera.get(), Rect{120, 20, 40, 40}, *into);
        // Marks where nothing changes must still be there.
        painted::setPixel(*into, 30, 70, {1, 1, 1, 1});
        painted::setPixel(*into, 140, 60, {2, 2, 2, 2});
        screen->sequence = 2;
        screen->damage.emplace();
        screen->damage->add({90, 40, 10, 10});
        compositor.render(*screen, camera.get(), Rect{120, 20, 40, 40}, *into);
        EXPECT_EQ(painted::pixelAt(*into, 30, 70), (painted::Pixel{1, 1, 1, 1}));
        EXPECT_EQ(painted::pixelAt(*into, 140, 60), (painted::Pixel{2, 2, 2, 2})) << "the circle stands still";
        const PixelRect drawn = into->damage->bounds();
        EXPECT_LT(drawn.width, 20);
        EXPECT_LT(drawn.height, 20);
    }
}

} // namespace
} // namespace quillet
