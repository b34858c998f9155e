#include "pipeline/Compositor.h"

#include "beautify/BackgroundLibrary.h"
#include "pipeline/roundedRectCoverage.h"
#include "tests/pipeline/paintedFrames.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace quillet {
namespace {

using painted::Pixel;
using painted::pixelAt;

constexpr Pixel grey{128, 128, 128, 255};
constexpr Pixel green{0, 255, 0, 255};
constexpr Pixel nothing{0, 0, 0, 0};

/// The pixel at x from the left and y from the bottom.
Pixel fromBottom(const PixelBuffer& frame, int x, int y) { return pixelAt(frame, x, frame.height() - 1 - y); }

PixelBufferRef rendered(Compositor& compositor, const PixelBuffer& screen, const PixelBuffer* camera = nullptr,
                        std::optional<Rect> cameraRect = std::nullopt) {
    const auto columns = static_cast<int>(compositor.outputSize().width);
    const auto rows = static_cast<int>(compositor.outputSize().height);
    PixelBufferRef into = painted::flat(columns, rows, {9, 8, 7, 6});
    compositor.render(screen, camera, cameraRect, *into);
    return into;
}

TEST(Compositor, cutsTheRegionOutCountedFromTheBottomLeft) {
    const PixelBufferRef screen = painted::frame(100, 60, painted::speckle);
    Compositor compositor({13, 7, 50, 30}, false, std::nullopt);
    EXPECT_EQ(compositor.outputSize(), (Size{50, 30}));
    const PixelBufferRef expected =
        painted::frame(50, 30, [](int x, int y) { return painted::speckle(x + 13, y + 23); });
    EXPECT_TRUE(painted::samePixels(*rendered(compositor, *screen), *expected));
}

TEST(Compositor, showsTransparentBlackOutsideTheScreen) {
    const PixelBufferRef screen = painted::frame(40, 30, painted::speckle);
    for (const Alpha alpha : {Alpha::premultiplied, Alpha::ignored}) {
        screen->alpha = alpha;
        for (const auto& [dx, dy] : {std::pair{-5, -3}, {20, 15}, {-5, 15}, {90, 0}, {0, -80}}) {
            Compositor compositor({static_cast<double>(dx), static_cast<double>(dy), 34, 22}, false, std::nullopt);
            const int top = 30 - dy - 22;
            const PixelBufferRef expected = painted::frame(34, 22, [&, left = dx](int x, int y) {
                const PixelRect place{x + left, y + top, 1, 1};
                return screen->bounds().contains(place) ? painted::speckle(place.x, place.y) : nothing;
            });
            EXPECT_TRUE(painted::samePixels(*rendered(compositor, *screen), *expected)) << dx << ", " << dy;
        }
    }
}

TEST(Compositor, takesAnIgnoredFourthByteFor255) {
    const auto garbage = [](int x, int y) {
        Pixel pixel = painted::speckle(x, y);
        pixel.alpha = (x * 7 + y) % 256;
        return pixel;
    };
    const PixelBufferRef screen = painted::frame(70, 20, garbage);
    Compositor compositor({0, 0, 70, 20}, false, std::nullopt);
    EXPECT_TRUE(painted::samePixels(*rendered(compositor, *screen), *screen));
    screen->alpha = Alpha::ignored;
    const PixelBufferRef into = rendered(compositor, *screen);
    EXPECT_TRUE(painted::samePixels(*into, *painted::frame(70, 20, painted::speckle)));
    EXPECT_EQ(into->alpha, Alpha::premultiplied);
}

/// What a flat green camera leaves at one pixel, `x` and `y` counted from the circle's bottom left.
Pixel greenOver(const Pixel& below, double diameter, int x, int y) {
    const double side = std::max(2.0, 2 * std::round(diameter / 2));
    const int end = std::max(1, static_cast<int>(std::round(diameter)));
    if (x < 0 || y < 0 || x >= end || y >= end) return below;
    const double area = roundedRectCoverage({0.5, 0.5, side - 1, side - 1}, (side - 1) / 2, x, y);
    const int cover = static_cast<int>(std::lround(area * 255));
    const auto seen = [&](int channel) { return static_cast<int>(std::lround(channel * (255 - cover) / 255.0)); };
    return {seen(below.blue), seen(below.green) + cover, seen(below.red), seen(below.alpha) + cover};
}

struct Bubble {
    const char* name;
    Rect rect;
    int x; ///< where its bottom left must come to lie on the display
    int y;
};

class Circle : public testing::TestWithParam<Bubble> {};

TEST_P(Circle, liesWhereTheBubbleStandsWithSoftEdges) {
    const PixelBufferRef camera = painted::flat(64, 48, green);
    const auto& [name, rect, left, bottom] = GetParam();
    const PixelBufferRef screen = painted::flat(120, 90, grey);
    // The region reaches beyond the screen to the right.
    const Rect region{20, 10, 110, 70};
    Compositor compositor(region, true, std::nullopt);
    const PixelBufferRef into = rendered(compositor, *screen, camera.get(), rect);
    for (int y = 0; y < 70; ++y)
        for (int x = 0; x < 110; ++x) {
            const Pixel below = x + 20 < 120 ? grey : nothing;
            ASSERT_EQ(fromBottom(*into, x, y), greenOver(below, rect.size().width, x + 20 - left, y + 10 - bottom))
                << x << ", " << y;
        }
}

INSTANTIATE_TEST_SUITE_P(
    Table, Circle,
    testing::Values(Bubble{"within", {40, 30, 32, 32}, 40, 30}, Bubble{"heightDoesNotCount", {40, 30, 32, 5}, 40, 30},
                    Bubble{"odd", {40, 30, 31, 31}, 40, 30}, Bubble{"fractionalPlace", {40.4, 29.6, 32, 32}, 40, 30},
                    Bubble{"fractionalDiameter", {40, 30, 32.5, 32.5}, 40, 30},
                    Bubble{"halfAPixel", {40, 30, 0.4, 0.4}, 40, 30}, Bubble{"onePixel", {40, 30, 1, 1}, 40, 30},
                    Bubble{"negativeWidth", {72, 62, -32, -32}, 40, 30},
                    Bubble{"overTheCorner", {5, -4, 40, 40}, 5, -4},
                    Bubble{"beyondTheScreen", {100, 40, 40, 40}, 100, 40},
                    Bubble{"outside", {300, 30, 40, 40}, 300, 30}, Bubble{"leftOutside", {-20, 30, 40, 40}, -20, 30},
                    Bubble{"larger", {-100, -120, 400, 400}, -100, -120}, Bubble{"small", {50, 50, 5, 5}, 50, 50},
                    Bubble{"empty", {50, 50, 0, 0}, 1000, 1000}, Bubble{"farAway", {1e300, -1e300, 40, 40}, 1000, 1000},
                    Bubble{"tooLargeToDraw", {-1e7, -1e7, 3e7, 3e7}, 1000000, 1000000}),
    [](const auto& parameter) { return parameter.param.name; });

TEST(Compositor, drawsNoCircleWithoutCameraOrRectangle) {
    const PixelBufferRef screen = painted::flat(60, 40, grey);
    const PixelBufferRef camera = painted::flat(16, 16, green);
    Compositor compositor({0, 0, 60, 40}, false, std::nullopt);
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), Rect{10, 10, 20, 20}), 20, 20), green);
    EXPECT_TRUE(painted::samePixels(*rendered(compositor, *screen, camera.get()), *screen));
    EXPECT_TRUE(painted::samePixels(*rendered(compositor, *screen, nullptr, Rect{10, 10, 20, 20}), *screen));
}

/// A camera picture whose red runs from left to right and whose green runs from top to bottom, in source pixels.
PixelBufferRef slopes(int width, int height) {
    return painted::frame(width, height, [](int x, int y) { return Pixel{40, y, x, 255}; });
}

TEST(Compositor, showsTheMiddleSquareOfTheCameraWithItsShorterSideAsDiameter) {
    const PixelBufferRef screen = painted::flat(100, 100, grey);
    for (const auto& [width, height] : {std::pair{240, 180}, {180, 240}, {200, 60}})
        for (const bool mirrored : {false, true}) {
            const PixelBufferRef camera = slopes(width, height);
            Compositor compositor({0, 0, 100, 100}, mirrored, std::nullopt);
            const PixelBufferRef into = rendered(compositor, *screen, camera.get(), Rect{5, 5, 90, 90});
            const double step = std::min(width, height) / 90.0;
            for (int y = 10; y < 90; y += 8)
                for (int x = 10; x < 90; x += 8) {
                    if (std::hypot(x - 50, y - 50) > 42) continue;
                    const double fromLeft = width / 2.0 + (x + 0.5 - 50) * step * (mirrored ? -1 : 1) - 0.5;
                    const double fromTop = height / 2.0 + (y + 0.5 - 50) * step - 0.5;
                    const Pixel pixel = pixelAt(*into, x, y);
                    EXPECT_NEAR(pixel.red, fromLeft, 1.1) << x << ", " << y;
                    EXPECT_NEAR(pixel.green, fromTop, 1.1) << x << ", " << y;
                    EXPECT_EQ(pixel.blue, 40);
                }
        }
}

TEST(Compositor, showsTheMiddleOfALargeCameraInATinyCircle) {
    const PixelBufferRef screen = painted::flat(40, 40, grey);
    // Red is 2 for each column right of the middle, less left of it; far apart sizes make it be halved first.
    const PixelBufferRef camera = painted::frame(255, 193, [](int x, int y) { return Pixel{0, y, x, 255}; });
    Compositor compositor({0, 0, 40, 40}, true, std::nullopt);
    const PixelBufferRef into = rendered(compositor, *screen, camera.get(), Rect{10, 10, 20, 20});
    const double step = 193 / 20.0;
    for (int y = 15; y < 25; ++y)
        for (int x = 15; x < 25; ++x) {
            EXPECT_NEAR(pixelAt(*into, x, y).red, 127 - (x + 0.5 - 20) * step, 1.5);
            EXPECT_NEAR(pixelAt(*into, x, y).green, 96 + (y + 0.5 - 20) * step, 1.5);
        }
}

TEST(Compositor, scalesACameraFrameAgainOnlyWhenItIsAnother) {
    const PixelBufferRef screen = painted::flat(60, 40, grey);
    const PixelBufferRef camera = painted::flat(16, 16, green);
    const Pixel blue{255, 0, 0, 255};
    Compositor compositor({0, 0, 60, 40}, false, std::nullopt);
    const Rect bubble{10, 10, 20, 20};
    const auto repaint = [&](const Pixel& pixel) {
        for (int y = 0; y < 16; ++y)
            for (int x = 0; x < 16; ++x)
                painted::setPixel(*camera, x, y, pixel);
    };
    camera->sequence = 5;
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), bubble), 20, 20), green);
    repaint(blue);
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), bubble), 20, 20), green) << "known by its number";
    camera->sequence = 6;
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), bubble), 20, 20), blue);
    camera->sequence = 0;
    repaint(green);
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), bubble), 20, 20), green);
    repaint(blue);
    EXPECT_EQ(pixelAt(*rendered(compositor, *screen, camera.get(), bubble), 20, 20), blue) << "nothing is known of it";
}

TEST(Compositor, numbersItsFramesAndSaysWhatChanged) {
    const PixelBufferRef screen = painted::flat(60, 40, grey);
    Compositor compositor({10, 10, 40, 20}, false, std::nullopt);
    screen->sequence = 1;
    PixelBufferRef into = rendered(compositor, *screen);
    EXPECT_EQ(into->sequence, 1U);
    EXPECT_FALSE(into->damage);
    screen->sequence = 2;
    screen->damage.emplace();
    into = rendered(compositor, *screen);
    EXPECT_EQ(into->sequence, 2U);
    ASSERT_TRUE(into->damage);
    EXPECT_TRUE(into->damage->isEmpty());
    screen->sequence = 3;
    screen->damage->add({0, 0, 15, 13});
    into = rendered(compositor, *screen);
    EXPECT_EQ(into->damage->rects(), (std::vector{PixelRect{0, 0, 5, 3}}));
    screen->sequence = 5;
    EXPECT_FALSE(rendered(compositor, *screen)->damage) << "a frame was missed";
    screen->sequence = 6;
    compositor.skip(*screen);
    screen->sequence = 7;
    screen->damage.emplace();
    into = rendered(compositor, *screen);
    EXPECT_EQ(into->sequence, 5U);
    EXPECT_EQ(into->damage->rects(), (std::vector{PixelRect{0, 0, 5, 3}})) << "what the skipped frame changed";
}

TEST(CompositorDeathTest, stopsForFramesOfAnotherSizeAndRectanglesThatAreNone) {
    const PixelBufferRef screen = painted::flat(60, 40, grey);
    const PixelBufferRef into = painted::flat(20, 21, grey);
    Compositor compositor({0, 0, 20, 20}, false, std::nullopt);
    EXPECT_DEATH(compositor.render(*screen, nullptr, std::nullopt, *into), "another size");
    EXPECT_DEATH(Compositor({0, 0, 20.5, 20}, false, std::nullopt), "not whole");
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_DEATH(rendered(compositor, *screen, screen.get(), Rect{0, 0, infinity, 9}), "diameter");
}

// --- with beautify ---

TEST(BeautifiedCompositor, setsThePictureExactlyIntoItsPlace) {
    // The picture's left half is black, its right half white, likewise in green from top to bottom, so that the seams
    // show where it lies: at (76.8, 43.2) in 0.88 of its size.
    const PixelBufferRef screen = painted::frame(1280, 720, [](int x, int y) {
        return Pixel{0, y < 360 ? 0 : 255, x < 300 ? 0 : 255, 255};
    });
    Compositor compositor({0, 0, 1280, 720}, false, BeautifySettings{});
    const PixelBufferRef into = rendered(compositor, *screen);
    const auto seam = [](double sum, double end) { return end - sum / 255; };
    double red = 0;
    for (int x = 300; x < 400; ++x)
        red += pixelAt(*into, x, 300).red;
    EXPECT_NEAR(seam(red, 400), 76.8 + 300 * 0.88, 0.05);
    double greens = 0;
    for (int y = 310; y < 410; ++y)
        greens += pixelAt(*into, 600, y).green;
    EXPECT_NEAR(seam(greens, 410), 43.2 + 360 * 0.88, 0.05);

    // The edges of a flat grey picture: covered to the fraction.
    const PixelBufferRef flat = painted::flat(1280, 720, grey);
    Compositor bare({0, 0, 1280, 720}, false, BeautifySettings{6, 0, 0.06, false});
    const PixelBufferRef edges = rendered(bare, *flat);
    const QImage backdrop = BackgroundLibrary::image(6, {1280, 720});
    const auto mixed = [&](int x, int y, double cover) {
        return 128 * cover + qRed(backdrop.pixel(x, y)) * (1 - cover);
    };
    EXPECT_NEAR(pixelAt(*edges, 75, 300).red, mixed(75, 300, 0), 1);
    EXPECT_NEAR(pixelAt(*edges, 76, 300).red, mixed(76, 300, 0.2), 1);
    EXPECT_NEAR(pixelAt(*edges, 77, 300).red, 128, 1);
    EXPECT_NEAR(pixelAt(*edges, 1203, 300).red, mixed(1203, 300, 0.2), 1);
    EXPECT_NEAR(pixelAt(*edges, 600, 43).red, mixed(600, 43, 0.8), 1);
    EXPECT_NEAR(pixelAt(*edges, 600, 676).red, mixed(600, 676, 0.8), 1);
    EXPECT_NEAR(pixelAt(*edges, 600, 677).red, mixed(600, 677, 0), 1);
}

TEST(BeautifiedCompositor, carriesTheCircleIntoThePicture) {
    const PixelBufferRef screen = painted::flat(1920, 1080, grey);
    const PixelBufferRef camera = painted::flat(640, 480, green);
    Compositor compositor({200, 150, 1280, 720}, false, BeautifySettings{});
    const PixelBufferRef into = rendered(compositor, *screen, camera.get(), Rect{860, 250, 200, 200});
    EXPECT_EQ(fromBottom(*into, 745, 219), green);
    // The circle's edge: 99.5 * 0.88 from its centre at (745.6, 219.2).
    EXPECT_EQ(fromBottom(*into, 745 - 85, 219), green);
    EXPECT_EQ(fromBottom(*into, 745 - 91, 219), grey);
    EXPECT_EQ(fromBottom(*into, 745, 219 + 85), green);
    EXPECT_EQ(fromBottom(*into, 745, 219 + 91), grey);
    const Pixel corner = fromBottom(*into, 4, 4);
    EXPECT_GT(std::max({std::abs(corner.blue - 128), std::abs(corner.green - 128), std::abs(corner.red - 128)}), 24);
}

TEST(BeautifiedCompositor, equalsThePlainPictureWithoutPaddingAndRounding) {
    const PixelBufferRef screen = painted::frame(120, 80, painted::speckle);
    const PixelBufferRef camera = painted::frame(33, 21, painted::speckle);
    for (const bool shadow : {false, true}) {
        Compositor plain({-6, 4, 100, 60}, true, std::nullopt);
        Compositor framed({-6, 4, 100, 60}, true, BeautifySettings{3, 0, 0, shadow});
        const PixelBufferRef expected = rendered(plain, *screen, camera.get(), Rect{20, 20, 30, 30});
        const PixelBufferRef into = rendered(framed, *screen, camera.get(), Rect{20, 20, 30, 30});
        const QImage backdrop = BackgroundLibrary::image(3, {100, 60});
        for (int y = 0; y < 60; ++y)
            for (int x = 0; x < 100; ++x) {
                if (x >= 6) {
                    ASSERT_EQ(pixelAt(*into, x, y), pixelAt(*expected, x, y)) << x << ", " << y;
                } else if (!shadow) {
                    ASSERT_EQ(pixelAt(*into, x, y).red, qRed(backdrop.pixel(x, y))) << x << ", " << y;
                }
            }
    }
}

TEST(BeautifiedCompositor, showsOnlyTheBackdropWhenThePaddingLeavesNoPicture) {
    const PixelBufferRef screen = painted::flat(64, 36, grey);
    const QImage backdrop = BackgroundLibrary::image(1, {64, 36});
    for (const double padding : {0.5, 0.7, 5.0}) {
        Compositor compositor({0, 0, 64, 36}, false, BeautifySettings{1, 0.045, padding, true});
        const PixelBufferRef into = rendered(compositor, *screen, screen.get(), Rect{0, 0, 20, 20});
        for (int y = 0; y < 36; ++y)
            for (int x = 0; x < 64; ++x)
                ASSERT_EQ(pixelAt(*into, x, y).red, qRed(backdrop.pixel(x, y)));
    }
}

TEST(BeautifiedCompositor, isOpaqueAtEverySizeAndPadding) {
    const PixelBufferRef screen = painted::frame(70, 50, painted::speckle);
    for (const auto& [width, height] : {std::pair{2, 2}, {2, 64}, {66, 4}, {64, 48}})
        for (const double padding : {0.0, 0.01, 0.14, 0.3, 0.42, 0.499})
            for (const double corner : {0.0, 0.2, 0.5, 3.0}) {
                Compositor compositor({-1, 2, static_cast<double>(width), static_cast<double>(height)}, false,
                                      BeautifySettings{4, corner, padding, true});
                const PixelBufferRef into = rendered(compositor, *screen, screen.get(), Rect{1, 3, 8, 8});
                for (int y = 0; y < height; ++y)
                    for (int x = 0; x < width; ++x)
                        ASSERT_EQ(pixelAt(*into, x, y).alpha, 255) << width << " by " << height << ", " << padding;
            }
}

/// The shadow's alpha at one pixel by its definition, sum over all pixels of the mask around.
double shadowAt(const Rect& shape, double radius, double deviation, double drop, int width, int height, int x, int y) {
    const int reach = static_cast<int>(std::ceil(4 * deviation + drop)) + 1;
    double sum = 0;
    double weights = 0;
    for (int dy = -reach; dy <= reach; ++dy)
        for (int dx = -reach; dx <= reach; ++dx) {
            const double down = (dy + drop) / deviation;
            const double across = dx / deviation;
            const double weight = std::exp(-0.5 * (down * down + across * across));
            weights += weight;
            sum += weight * roundedRectCoverage(shape, radius, std::clamp(x + dx, 0, width - 1),
                                                std::clamp(y + dy, 0, height - 1));
        }
    return 0.5 * sum / weights;
}

TEST(BeautifiedCompositor, castsABlurredShadowDownwardsAtHalfStrength) {
    constexpr int width = 320;
    constexpr int height = 200;
    // Nothing of the screen is in the region: the inset picture is transparent and hides nothing of the shadow.
    const PixelBufferRef screen = painted::flat(8, 8, grey);
    const BeautifySettings settings{2, 0.1, 0.08, true};
    Compositor compositor({1000, 1000, width, height}, false, settings);
    const PixelBufferRef into = rendered(compositor, *screen);
    const QImage backdrop = BackgroundLibrary::image(2, {width, height});
    const double scale = (200 - 32) / 200.0;
    const Rect shape{width * (1 - scale) / 2, height * (1 - scale) / 2, width * scale, height * scale};
    for (int y = 0; y < height; y += 9)
        for (int x = 0; x < width; x += 11) {
            const double light =
                1 - shadowAt(shape, 0.1 * height * scale, 200 * 0.02, 200 * 0.012, width, height, x, y);
            ASSERT_NEAR(pixelAt(*into, x, y).green, qGreen(backdrop.pixel(x, y)) * light, 1.01) << x << ", " << y;
        }
}

} // namespace
} // namespace quillet
