// The whole program with its camera: the bubble is dragged by hand while the desktop is recorded, and the film is
// measured. Runs inside tests/desktop/desktop --camera none.
#include "platform/synthetic/SyntheticCamera.h"
#include "tests/fakes/CameraCircleInFilm.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/pipewire/VirtualCamera.h"
#include "tests/fakes/x11/ChildProgram.h"
#include "tests/fakes/x11/DesktopEye.h"
#include "tests/fakes/x11/WindowTrack.h"
#include "tests/fakes/x11/XPainter.h"
#include "tests/fakes/x11/eventually.h"
#include "tests/program/FilmOfBubble.h"

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
        start = eye.placeOf(bubble);
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
            // The only square of its size.
            const PixelRect place = eye.placeOf(window);
            if (place.width == place.height && place.width >= 90) return window;
        }
        return 0;
    }
    /// The number that the bubble shows on the screen.
    [[nodiscard]] std::optional<std::uint32_t> number() const {
        const PixelRect whole = eye.placeOf(bubble);
        const testing::Picture seen = eye.look(whole);
        return SyntheticCameraPicture::readNumber([&](double right, double down) {
            const auto place = [&](double offset) { return static_cast<int>((0.5 + offset) * whole.width); };
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
    /// The bubble has been 40 points away from its monitor's edges, at 200 points a diameter, and the film shows all of
    /// that monitor.
    [[nodiscard]] testing::FilmOfBubble filmOfBubble(const test::Movie& movie,
                                                     const testing::WindowTrack& track) const {
        const int distance = start.width / 5;
        return {movie,
                {.places = track.places(),
                 .side = start.width,
                 .left = start.right() + distance - movie.video->width,
                 .top = start.bottom() + distance - movie.video->height}};
    }
    /// Takes the bubble by its middle to each of these places from where it stands, a step as often as `pace` says, and
    /// lets it go.
    void drag(const std::vector<std::pair<int, int>>& path, std::chrono::microseconds pace) {
        const PixelRect from = eye.placeOf(bubble);
        const int handX = from.x + from.width / 2;
        const int handY = from.y + from.height / 2;
        eye.movePointer(handX, handY);
        eye.press();
        auto due = std::chrono::steady_clock::now();
        for (const auto& [dx, dy] : path) {
            eye.movePointer(handX + dx, handY + dy);
            // A hand's pace, not a wait for anything.
            std::this_thread::sleep_until(due += pace);
        }
        ASSERT_TRUE(eventually([&] { return eye.placeOf(bubble).x == from.x + path.back().first; }));
        EXPECT_EQ(eye.placeOf(bubble).y, from.y + path.back().second);
        eye.release();
    }
    [[nodiscard]] bool cameraGoesOn(std::uint64_t pictures) const {
        const std::uint64_t until = camera->latestNumber() + pictures;
        return eventually([&] { return camera->latestNumber() >= until; });
    }

    testing::XPainter desktop{std::getenv("DISPLAY")}; // for the wallpaper that it hangs up
    std::unique_ptr<VirtualCamera> camera;
    std::unique_ptr<ChildProgram> program;
    testing::DesktopEye eye;
    xcb_window_t bubble = 0;
    PixelRect start; // where it stands at first
};

TEST_F(CameraFilm, showsTheBubbleWhereTheHandHeldItFrameByFrame) {
    const testing::WindowTrack track(bubble);
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_TRUE(cameraGoesOn(10));
    // To and fro along a bend, each step to another whole pixel, odd ones too.
    std::vector<std::pair<int, int>> path;
    for (int step = 1; step <= 90; ++step)
        path.emplace_back(-7 * step, static_cast<int>(std::lround(-300 * std::sin(step * 0.03))));
    ASSERT_NO_FATAL_FAILURE(drag(path, std::chrono::microseconds(16'667))); // a hand's mouse
    ASSERT_TRUE(cameraGoesOn(10));
    const test::Movie movie = stop();

    const testing::FilmOfBubble film = filmOfBubble(movie, track);
    std::size_t latestPlace = 0;
    std::uint32_t latestNumber = 0;
    std::size_t distinctNumbers = 0;
    for (const auto& each : film.pictures()) {
        EXPECT_GE(each.place, latestPlace) << "the circle went back";
        latestPlace = each.place;
        EXPECT_NE(each.number, 0U);
        EXPECT_GE(each.number, latestNumber);
        if (each.number != latestNumber) ++distinctNumbers;
        latestNumber = each.number;
    }
    const std::vector<double> behind = film.millisecondsBehind();
    std::printf("drag of %d pixels: worst position error %.3f pixels in %zu pictures; %zu of %zu places shown; place "
                "left for %.1f ms in the middle, %.1f at most; %zu camera pictures\n",
                start.width, film.worstError(), film.pictures().size(), film.placesShown(), track.places().size(),
                behind.at(behind.size() / 2), behind.back(), distinctNumbers);
    EXPECT_LT(film.worstError(), 0.5);
    EXPECT_EQ(latestPlace, track.places().size() - 1) << "the last place is not shown";
    EXPECT_GT(film.placesShown(), path.size() / 4);
    EXPECT_LT(behind[behind.size() / 2], 100);
}

TEST_F(CameraFilm, showsWhatTheBubbleShows) {
    const PixelRect place = start;
    eye.movePointer(place.x + place.width / 2, place.y + place.height / 2);
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
    const double unit = place.width / 200.0;
    const double middle = place.width / 2.0;
    const double gripOffset = (middle - 1.5 * unit) * 0.70710678;
    const int left = place.right() + place.width / 5 - last.width; // the monitor's corner
    const int top = place.bottom() + place.width / 5 - last.height;
    double sum = 0;
    double worst = 0;
    int count = 0;
    for (int y = 0; y < place.width; ++y)
        for (int x = 0; x < place.width; ++x) {
            const double right = x + 0.5 - middle;
            const double down = y + 0.5 - middle;
            if (std::hypot(right, down) > middle - 5 * unit) continue;
            if (std::hypot(right - gripOffset, down - gripOffset) < 14 * unit) continue;
            const double inFilm =
                last.luma[static_cast<std::size_t>((place.y - top + y) * last.width + place.x - left + x)];
            const double difference = std::abs((inFilm - 16) * 255 / 219 - lumaOf(seen.at(x, y)));
            sum += difference;
            worst = std::max(worst, difference);
            ++count;
        }
    std::printf("bubble and film: mean difference %.2f levels of luma, largest %.1f\n", sum / count, worst);
    EXPECT_LT(sum / count, 2);
    EXPECT_LT(worst, 40) << "an edge stands elsewhere, or is less sharp";
}

/// The densest second of the film, at 30 pictures a second.
struct Second {
    std::size_t numbers = 0;  ///< pictures of the camera shown
    std::size_t pictures = 0; ///< pictures of the film
};

TEST_F(CameraFilm, keepsTheCamerasPaceOverAStillDesktop) {
    const testing::WindowTrack track(bubble);
    ASSERT_NO_FATAL_FAILURE(record());
    // A few moves, at a pace that falls in with nothing else's, tell when the film began. Then nothing moves but the
    // camera's picture.
    std::vector<std::pair<int, int>> path;
    for (int step = 1; step <= 25; ++step)
        path.emplace_back(-10 * step, 0);
    ASSERT_NO_FATAL_FAILURE(drag(path, std::chrono::microseconds(23'000)));
    const std::uint64_t still = camera->latestNumber() + 2;
    ASSERT_TRUE(cameraGoesOn(90));
    const test::Movie movie = stop();
    const testing::FilmOfBubble film = filmOfBubble(movie, track);
    ASSERT_TRUE(film.begin());

    Second best;
    std::vector<double> latencies; // milliseconds from the camera's handing over to the film's picture
    std::uint32_t latest = 0;
    for (std::size_t i = 0; i < film.pictures().size(); ++i) {
        const auto& picture = film.pictures()[i];
        EXPECT_GE(picture.number, latest);
        if (picture.number < still) continue;
        if (const auto sent = camera->timeOf(picture.number); sent && picture.number != latest)
            latencies.push_back(std::chrono::duration<double, std::milli>(*film.begin() - *sent).count() +
                                picture.seconds * 1000);
        latest = picture.number;
        Second second;
        for (std::size_t j = i; j < film.pictures().size() && film.pictures()[j].number < picture.number + 30; ++j) {
            ++second.pictures;
            if (j == i || film.pictures()[j].number != film.pictures()[j - 1].number) ++second.numbers;
        }
        if (second.numbers > best.numbers) best = second;
    }
    ASSERT_FALSE(latencies.empty());
    const std::uint64_t sent = camera->latestNumber() - still + 1;
    const std::size_t shown = latencies.size();
    std::ranges::sort(latencies);
    std::printf("pace: %zu of the camera's %zu pictures shown, %zu of 30 in the best second, in %zu pictures of the "
                "film; camera to film %.1f ms in the middle, %.1f for the slowest of twenty, %.1f at most\n",
                shown, static_cast<std::size_t>(sent), best.numbers, best.pictures, latencies[shown / 2],
                latencies[shown * 19 / 20], latencies.back());
    // A machine that does much else drops some pictures, but not in each second; a bubble whose repaints make no
    // pictures, or that loses every other one, has no such second.
    EXPECT_GE(best.numbers, 25U);
    EXPECT_LE(best.pictures, 36U) << "the film runs at another pace than the camera";
    EXPECT_LT(latencies[shown / 2], 100);
}

} // namespace
} // namespace quillet
