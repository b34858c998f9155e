// The whole program with its camera: the bubble is dragged by hand while the desktop is recorded, and the film is
// measured. Runs inside tests/desktop/desktop --camera none.
#include "platform/synthetic/SyntheticCamera.h"
#include "tests/fakes/CameraCircleInFilm.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/pipewire/VirtualCamera.h"
#include "tests/fakes/x11/ChildProgram.h"
#include "tests/fakes/x11/DesktopEye.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace quillet {
namespace {

using testing::ChildProgram;
using testing::eventually;
using testing::VirtualCamera;

constexpr int bubbleSide = 200;

/// The circle in front of the empty desktop, whose colour depends on who paints it.
std::optional<testing::CircleInFilm> circleIn(const test::MoviePicture& picture) {
    return testing::findCircle(picture, picture.luma[0], testing::CircleMirroring::leftToRight);
}

std::vector<std::filesystem::path> films() {
    std::vector<std::filesystem::path> files;
    std::error_code missing;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(std::getenv("HOME")) / "Desktop", missing))
        files.push_back(entry.path());
    return files;
}

bool isFinished(const std::filesystem::path& file) {
    const std::vector<std::string> boxes = test::topBoxes(file);
    return !boxes.empty() && std::ranges::find(boxes, "moof") == boxes.end();
}

class CameraFilm : public ::testing::Test {
protected:
    void SetUp() override {
        for (const auto& file : films())
            std::filesystem::remove(file);
        camera = VirtualCamera::make(
            PipeWireConnection::make({}),
            {.offers = {{.layout = CameraLayout::nv12, .width = 1280, .height = 720, .framesPerSecond = 30}}});
        ASSERT_TRUE(camera);
        program = ChildProgram::start(
            {.arguments = {QUILLET_PROGRAM}, .environment = {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1"}});
        ASSERT_TRUE(program);
        ASSERT_TRUE(press("switch", "全屏"));
        ASSERT_TRUE(press("switch", "摄像头"));
        ASSERT_TRUE(eventually([&] {
            bubble = findBubble();
            return bubble != 0 && number().has_value();
        })) << "no bubble with a picture";
    }

    /// By what it is called, on the accessibility bus.
    [[nodiscard]] bool press(const std::string& kind, const std::string& name) const {
        const auto command = ChildProgram::start(
            {.arguments = {QUILLET_PYTHON, "-B", QUILLET_PRESS_CONTROL, std::to_string(program->pid()), kind, name},
             .environment = {"QUILLET_PROGRAM=" QUILLET_PROGRAM}});
        return command && command->wait() == 0;
    }
    [[nodiscard]] xcb_window_t findBubble() const {
        for (const xcb_window_t window : eye.stack()) {
            const PixelRect place = eye.placeOf(window);
            if (place.width == bubbleSide && place.height == bubbleSide) return window;
        }
        return 0;
    }
    /// The number that the bubble shows on the screen.
    [[nodiscard]] std::optional<std::uint32_t> number() const {
        const testing::Picture seen = eye.look(eye.placeOf(bubble));
        return SyntheticCameraPicture::readNumber([&](double right, double down) {
            const auto place = [](double offset) { return static_cast<int>((0.5 + offset) * bubbleSide); };
            return lumaOf(seen.at(place(-right), place(down))); // the bubble is a mirror
        });
    }
    static double lumaOf(std::uint32_t colour) {
        return 0.2126 * (colour >> 16 & 255) + 0.7152 * (colour >> 8 & 255) + 0.0722 * (colour & 255);
    }
    void record() {
        ASSERT_TRUE(press("button", "●  开始录制"));
        ASSERT_TRUE(eventually([] { return films().size() == 1 && std::filesystem::file_size(films()[0]) > 20'000; }));
    }
    [[nodiscard]] test::Movie stop() const {
        EXPECT_TRUE(press("button", "■  停止录制"));
        EXPECT_TRUE(eventually([] { return isFinished(films().at(0)); }));
        return test::readMovie(films()[0], test::ReadDepth::pictures);
    }
    [[nodiscard]] bool cameraGoesOn(std::uint64_t pictures) const {
        const std::uint64_t until = camera->latestNumber() + pictures;
        return eventually([&] { return camera->latestNumber() >= until; });
    }

    std::unique_ptr<VirtualCamera> camera;
    std::unique_ptr<ChildProgram> program;
    testing::DesktopEye eye;
    xcb_window_t bubble = 0;
};

TEST_F(CameraFilm, showsTheBubbleWhereTheHandHeldItFrameByFrame) {
    const PixelRect start = eye.placeOf(bubble);
    const int handX = start.x + bubbleSide / 2;
    const int handY = start.y + bubbleSide / 2;
    eye.movePointer(handX, handY);
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_TRUE(cameraGoesOn(10));

    // To and fro along a bend, 60 steps a second as a hand's mouse, each to another whole pixel.
    constexpr int steps = 90;
    std::vector<std::pair<int, int>> path;
    for (int step = 0; step <= steps; ++step)
        path.emplace_back(-8 * step, static_cast<int>(std::lround(-300 * std::sin(step * 0.03))));
    eye.press();
    auto due = std::chrono::steady_clock::now();
    for (const auto& [dx, dy] : path) {
        eye.movePointer(handX + dx, handY + dy);
        // A hand's pace, not a wait for anything.
        std::this_thread::sleep_until(due += std::chrono::microseconds(16'667));
    }
    const auto last = path.back();
    ASSERT_TRUE(eventually([&] { return eye.placeOf(bubble).x == start.x + last.first; }));
    EXPECT_EQ(eye.placeOf(bubble).y, start.y + last.second);
    eye.release();
    ASSERT_TRUE(cameraGoesOn(10));
    const test::Movie movie = stop();

    double worst = 0;
    std::size_t latest = 0;
    std::size_t seenSteps = 1;
    std::size_t longestJump = 0;
    std::uint32_t latestNumber = 0;
    std::size_t distinctNumbers = 0;
    for (const test::MoviePicture& picture : movie.pictures) {
        const auto circle = circleIn(picture);
        ASSERT_TRUE(circle) << "no circle at " << picture.pts;
        EXPECT_TRUE(circle->number);
        if (circle->number.value_or(0) != latestNumber) ++distinctNumbers;
        EXPECT_GE(circle->number.value_or(0), latestNumber);
        latestNumber = circle->number.value_or(latestNumber);
        std::size_t nearest = 0;
        double error = 1e9;
        for (std::size_t step = 0; step < path.size(); ++step) {
            const double distance =
                std::hypot(circle->centreX - handX - path[step].first, circle->centreY - handY - path[step].second);
            if (distance < error) {
                error = distance;
                nearest = step;
            }
        }
        EXPECT_GE(nearest, latest) << "the circle went back";
        if (nearest != latest) {
            ++seenSteps;
            longestJump = std::max(longestJump, nearest - latest);
        }
        latest = nearest;
        worst = std::max(worst, error);
    }
    std::printf(
        "drag: worst position error %.3f pixels in %zu pictures; %zu of %zu steps seen, longest jump %zu; %zu camera "
        "pictures shown\n",
        worst, movie.pictures.size(), seenSteps, path.size(), longestJump, distinctNumbers);
    EXPECT_LT(worst, 0.5);
    EXPECT_EQ(latest, path.size() - 1);
    EXPECT_GT(seenSteps, path.size() / 4);
}

TEST_F(CameraFilm, showsWhatTheBubbleShows) {
    const PixelRect place = eye.placeOf(bubble);
    eye.movePointer(place.x + bubbleSide / 2, place.y + bubbleSide / 2);
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_TRUE(cameraGoesOn(15));
    camera->setSilent(true);
    // From now on the picture stands still: the bubble's and, once the last one has arrived, the film's.
    std::optional<std::uint32_t> shown;
    ASSERT_TRUE(eventually([&] {
        const auto before = std::exchange(shown, number());
        return shown && before == shown && *shown >= camera->latestNumber() - 1;
    }));
    const testing::Picture seen = eye.look(place);
    // The growing film tells when it has arrived there, too.
    ASSERT_TRUE(eventually([&] {
        const test::Movie soFar = test::readMovie(films()[0], test::ReadDepth::pictures);
        const auto latest = soFar.pictures.empty() ? std::nullopt : circleIn(soFar.pictures.back());
        return latest && latest->number == shown;
    }));
    const test::Movie movie = stop();
    ASSERT_FALSE(movie.pictures.empty());
    const test::MoviePicture& last = movie.pictures.back();
    const auto circle = circleIn(last);
    ASSERT_TRUE(circle);
    EXPECT_EQ(circle->number, shown);

    // The same picture, pixel for pixel, but for the ring, its grip under the hand, and what the encoder rounds.
    constexpr double middle = bubbleSide / 2.0;
    constexpr double gripOffset = (middle - 1.5) * 0.70710678;
    double sum = 0;
    double worst = 0;
    int count = 0;
    for (int y = 0; y < bubbleSide; ++y)
        for (int x = 0; x < bubbleSide; ++x) {
            const double right = x + 0.5 - middle;
            const double down = y + 0.5 - middle;
            if (std::hypot(right, down) > middle - 5) continue;
            if (std::hypot(right - gripOffset, down - gripOffset) < 14) continue;
            const double inFilm = last.luma[static_cast<std::size_t>((place.y + y) * last.width + place.x + x)];
            const double difference = std::abs((inFilm - 16) * 255 / 219 - lumaOf(seen.at(x, y)));
            sum += difference;
            worst = std::max(worst, difference);
            ++count;
        }
    std::printf("bubble and film: mean difference %.2f levels of luma, largest %.1f\n", sum / count, worst);
    EXPECT_LT(sum / count, 2);
    EXPECT_LT(worst, 40) << "an edge stands elsewhere, or is less sharp";
}

TEST_F(CameraFilm, keepsTheCamerasPaceOverAStillDesktop) {
    const PixelRect place = eye.placeOf(bubble);
    eye.movePointer(place.x + bubbleSide / 2, place.y + bubbleSide / 2);
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_TRUE(cameraGoesOn(60));
    const test::Movie movie = stop();
    ASSERT_GT(movie.pictures.size(), 10U);
    std::uint32_t first = 0;
    std::uint32_t latest = 0;
    std::size_t shown = 0;
    for (const test::MoviePicture& picture : movie.pictures) {
        const auto circle = circleIn(picture);
        ASSERT_TRUE(circle && circle->number);
        if (first == 0) first = *circle->number;
        EXPECT_GE(*circle->number, latest);
        if (*circle->number != latest) ++shown;
        latest = *circle->number;
    }
    const std::size_t sent = latest - first + 1;
    std::printf("pace: %zu of the camera's %zu pictures in %zu frames of the film\n", shown, sent,
                movie.pictures.size());
    // Most of them on an idle machine; one or two if the bubble's repaints made no frames.
    EXPECT_GT(shown, sent / 3);
    EXPECT_LT(movie.pictures.size(), sent * 3 / 2) << "the film runs at another pace than the camera";
}

} // namespace
} // namespace quillet
