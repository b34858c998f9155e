// The camera in the film: a whole recording of a real display with a real camera stream, decoded and measured.
#include "pipeline/RecordingSession.h"
#include "platform/pipewire/PipeWireCamera.h"
#include "platform/x11/XScreenSource.h"
#include "tests/fakes/CameraCircleInFilm.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/pipewire/VirtualCamera.h"
#include "tests/fakes/x11/VirtualXServer.h"
#include "tests/fakes/x11/XPainter.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <semaphore>
#include <vector>

namespace quillet {
namespace {

using testing::eventually;
using testing::SoundServer;
using testing::VirtualCamera;

constexpr int displayWidth = 640;
constexpr int displayHeight = 480;
// The painter's plain desktop, 0x336699, in the film.
constexpr double desktopLuma = 16 + 219 * (0.2126 * 0x33 + 0.7152 * 0x66 + 0.0722 * 0x99) / 255;

/// One picture of the film.
struct Seen {
    std::chrono::nanoseconds time{}; ///< on the monotonic clock
    testing::CircleInFilm circle;
};

class CameraFilmTest : public ::testing::Test {
protected:
    void SetUp() override {
        display = testing::VirtualXServer::start({.width = displayWidth, .height = displayHeight, .arguments = {}});
        sound = SoundServer::start(SoundServer::Devices::none);
        ASSERT_TRUE(display && sound);
        own.emplace(display->displayName());
        own->movePointer(0, 0);
        nodes = NodeDirectory::make(PipeWireConnection::make(sound->connectionOptions()));
    }
    void TearDown() override {
        if (manager) manager->setOnCameraFrame({});
        session.reset();
        manager.reset();
    }

    void plugInAndAttach(VirtualCamera::Options options = {}) {
        ASSERT_NO_FATAL_FAILURE(plugInAndStart(std::move(options)));
        ASSERT_TRUE(eventually([&] { return manager->latestFrame() != nullptr; }));
    }
    void plugInAndStart(VirtualCamera::Options options) {
        camera = VirtualCamera::make(PipeWireConnection::make(sound->connectionOptions()), std::move(options));
        ASSERT_TRUE(camera);
        ASSERT_TRUE(eventually([&] { return !CameraDirectory(nodes).cameras().empty(); }));
        manager = std::make_shared<CameraManager>(CaptureDeviceFactories{
            .camera = [this](SerialQueue& queue, auto onFrame) { return PipeWireCamera::make(nodes, queue, onFrame); },
            .microphone = {}});
        ASSERT_TRUE(manager->attachCamera());
        manager->start();
    }

    /// A window of the program's own, standing where the bubble does, painted again for each new camera picture.
    void showBubble(const Rect& frame) {
        bubbleFrame = frame;
        bubble = own->addWindow(toMemoryRows(frame, displayHeight), 1);
        manager->setOnCameraFrame([this](const ConstPixelBufferRef& picture) {
            const std::lock_guard guard(ownLock);
            // One request, as a toolkit's repaint is.
            own->repaintPart(bubble, {0, 0, 64, 16}, static_cast<std::uint32_t>(picture->sequence));
        });
    }
    void moveBubble(const Rect& frame) {
        {
            const std::lock_guard guard(ownLock);
            const PixelRect rect = toMemoryRows(frame, displayHeight);
            own->move(bubble, rect.x, rect.y);
        }
        session->updateCameraRect(frame);
    }

    void startRecording() {
        const Monitor monitor = own->monitors().front();
        const Screen screen{.name = "test",
                            .frame = {0, 0, displayWidth, displayHeight},
                            .visibleFrame = {0, 0, displayWidth, displayHeight},
                            .displayID = monitor.id,
                            .pixelSize = {displayWidth, displayHeight},
                            .backingScaleFactor = 1};
        RecordingOptions options{
            .layout = *CaptureLayout::make(screen.frame, bubbleFrame, {.screens = {screen}, .mainIndex = 0})};
        options.camera = manager;
        const ScreenSourceFactory xSource = xScreenSourceFactory(
            {.displayName = display->displayName(), .ownClients = {XClientResources::of(own->xcb())}});
        RecordingEnvironment environment{
            .screenSource =
                [this, xSource](SerialQueue& queue, ScreenSourceOptions wanted, Error& error) {
                    wanted.onFrame = [this, next = wanted.onFrame](ConstPixelBufferRef frame, MediaTime time) {
                        if (firstFrame.load() == 0) firstFrame = time.valueIn(liveTimescale);
                        ++screenFrames;
                        next(std::move(frame), time);
                    };
                    return xSource(queue, wanted, error);
                },
            .desktopFolder = folder.path(),
            .mainQueue = mainQueue.queue()};
        session = RecordingSession::make(options, environment);
        ASSERT_TRUE(session);
        std::binary_semaphore answered(0);
        std::optional<Error> trouble;
        session->start({}, [&](const std::optional<Error>& error) {
            trouble = error;
            answered.release();
        });
        answered.acquire();
        ASSERT_FALSE(trouble) << trouble->description;
    }

    /// Ends the recording and decodes it.
    [[nodiscard]] test::Movie finish() {
        std::optional<std::filesystem::path> url;
        bool done = false;
        session->stop([&](auto file, auto) {
            url = std::move(file);
            done = true;
        });
        EXPECT_TRUE(mainQueue.runUntil([&] { return done; }));
        if (!url) {
            ADD_FAILURE() << "no film";
            return {};
        }
        test::Movie movie = test::readMovie(*url, test::ReadDepth::pictures);
        EXPECT_EQ(movie.pictures.size(), movie.video->packets.size());
        return movie;
    }
    [[nodiscard]] std::vector<Seen> film(testing::CircleMirroring mirroring = testing::CircleMirroring::leftToRight) {
        const test::Movie movie = finish();
        std::vector<Seen> result;
        for (const test::MoviePicture& picture : movie.pictures) {
            const std::int64_t micros = movie.video->timeOf(picture.pts).valueIn(liveTimescale) + firstFrame.load();
            const auto circle = testing::findCircle(picture, desktopLuma, mirroring);
            if (!circle || !circle->number) {
                ADD_FAILURE() << "no circle with a number in the picture at " << micros - firstFrame.load() << " µs";
                continue;
            }
            result.push_back({std::chrono::microseconds(micros), *circle});
        }
        return result;
    }
    [[nodiscard]] bool cameraGoesOn(std::uint64_t pictures) {
        const std::uint64_t until = camera->latestNumber() + pictures;
        return eventually([&] { return camera->latestNumber() >= until; });
    }

    fakes::TemporaryFolder folder;
    fakes::ManualMainQueue mainQueue;
    std::unique_ptr<testing::VirtualXServer> display;
    std::unique_ptr<SoundServer> sound;
    std::optional<testing::XPainter> own; // the program's own connection
    std::mutex ownLock;                   // guards `own` while the camera runs
    std::size_t bubble = 0;
    std::optional<Rect> bubbleFrame;
    std::shared_ptr<NodeDirectory> nodes;
    std::unique_ptr<VirtualCamera> camera;
    std::shared_ptr<CameraManager> manager;
    std::shared_ptr<RecordingSession> session;
    std::atomic<std::int64_t> firstFrame = 0; // µs
    std::atomic<int> screenFrames = 0;
};

TEST_F(CameraFilmTest, movesAtTheCamerasOwnPaceOverAStillDesktop) {
    plugInAndAttach();
    showBubble({200, 100, 200, 200});
    startRecording();
    const std::uint64_t first = camera->latestNumber();
    ASSERT_TRUE(cameraGoesOn(60));
    const std::uint64_t last = camera->latestNumber();
    const std::vector<Seen> seen = film();
    ASSERT_FALSE(seen.empty());

    // Every picture of the film shows a newer one of the camera's. On an idle machine hardly one is missing; a busy one
    // drops some, and a film without the camera's pace would have one or two.
    int shown = 0;
    std::vector<double> latencies; // milliseconds from the camera's handing over to the film's frame
    for (std::size_t i = 0; i < seen.size(); ++i) {
        const std::uint32_t number = *seen[i].circle.number;
        if (i > 0) {
            EXPECT_GE(number, *seen[i - 1].circle.number);
            if (number == *seen[i - 1].circle.number) continue; // the screen's very first frame, or a late repaint
        }
        ++shown;
        const auto sent = camera->timeOf(number);
        ASSERT_TRUE(sent);
        if (i > 0) latencies.push_back(std::chrono::duration<double, std::milli>(seen[i].time - *sent).count());
    }
    const double sent = static_cast<double>(last - first);
    EXPECT_GT(shown, sent / 3) << "of " << sent;
    EXPECT_LT(static_cast<double>(seen.size()), sent * 1.2) << "frames of the film for " << sent << " of the camera";

    ASSERT_FALSE(latencies.empty());
    std::sort(latencies.begin(), latencies.end());
    const double median = latencies[latencies.size() / 2];
    const double worst = latencies.back();
    std::printf("camera to film: median %.1f ms, worst %.1f ms of %zu; %d of %.0f pictures shown, film frames %zu\n",
                median, worst, latencies.size(), shown, sent, seen.size());
    EXPECT_LT(median, 100);
}

TEST_F(CameraFilmTest, standsExactlyWhereTheBubbleStoodFrameByFrame) {
    plugInAndAttach({.offers = {{.layout = CameraLayout::nv12, .width = 640, .height = 480, .framesPerSecond = 60}}});
    constexpr double diameter = 160;
    const auto place = [](int step) { return Rect{20.0 + step * 7, 300.0 - step * 5, diameter, diameter}; };
    showBubble(place(0));
    startRecording();
    constexpr int steps = 40;
    for (int step = 0; step < steps; ++step) {
        moveBubble(place(step));
        const int before = screenFrames;
        ASSERT_TRUE(eventually([&] { return screenFrames > before; }));
    }
    const std::vector<Seen> seen = film();
    double worst = 0;
    int latestStep = 0;
    int distinct = 0;
    for (const Seen& each : seen) {
        // The step whose place lies nearest; no step is taken back.
        int nearest = 0;
        double error = 1e9;
        for (int step = 0; step < steps; ++step) {
            const Rect frame = place(step);
            const double x = frame.minX() + diameter / 2;
            const double y = displayHeight - (frame.minY() + diameter / 2);
            const double distance = std::hypot(each.circle.centreX - x, each.circle.centreY - y);
            if (distance < error) {
                error = distance;
                nearest = step;
            }
        }
        EXPECT_GE(nearest, latestStep);
        if (nearest != latestStep) ++distinct;
        latestStep = nearest;
        worst = std::max(worst, error);
        // Half a pixel is left free on each side of the mask.
        EXPECT_NEAR(each.circle.diameter, diameter - 1, 1);
    }
    std::printf("position: worst error %.3f pixels in %zu pictures, %d of %d steps seen\n", worst, seen.size(),
                distinct + 1, steps);
    EXPECT_LT(worst, 0.3);
    EXPECT_GT(distinct, steps / 2) << "each step reaches the film unless two fall into one frame";
    EXPECT_EQ(latestStep, steps - 1);
}

TEST_F(CameraFilmTest, goesOnWithoutTheCameraAndWithItAgain) {
    plugInAndAttach({.offers = {{.layout = CameraLayout::yuy2, .width = 640, .height = 480, .framesPerSecond = 30}}});
    showBubble({300, 200, 200, 200});
    startRecording();
    ASSERT_TRUE(cameraGoesOn(5));
    const std::uint64_t last = camera->latestNumber();
    camera.reset();
    ASSERT_TRUE(eventually([&] { return CameraDirectory(nodes).cameras().empty(); }));
    moveBubble({290, 200, 200, 200});
    const int before = screenFrames;
    ASSERT_TRUE(eventually([&] { return screenFrames > before; }));
    camera = VirtualCamera::make(
        PipeWireConnection::make(sound->connectionOptions()),
        {.offers = {{.layout = CameraLayout::jpeg, .width = 720, .height = 1280, .framesPerSecond = 30}},
         .firstNumber = 10000});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(cameraGoesOn(10));
    const std::vector<Seen> seen = film();
    ASSERT_FALSE(seen.empty());
    bool isKept = false;
    for (const Seen& each : seen) {
        const std::uint32_t number = *each.circle.number;
        EXPECT_TRUE(number <= last || number >= 10000);
        // The bubble that moved while there was no camera: the picture from before has come along.
        if (number <= last && std::abs(each.circle.centreX - 390) < 0.3) isKept = true;
    }
    EXPECT_TRUE(isKept);
    EXPECT_GE(*seen.back().circle.number, 10000U);
}

TEST_F(CameraFilmTest, showsTheCameraUprightWhenItIsTurnedInMidRecording) {
    plugInAndAttach({.offers = {{.layout = CameraLayout::nv12, .width = 640, .height = 480, .framesPerSecond = 30}}});
    showBubble({300, 200, 200, 200});
    startRecording();
    ASSERT_TRUE(cameraGoesOn(5));
    const std::uint64_t before = camera->latestNumber();
    // Lying on its side, it says so.
    camera->change({{.layout = CameraLayout::yuy2, .width = 640, .height = 360, .framesPerSecond = 30}}, {false, 1});
    ASSERT_TRUE(eventually([&] { return manager->latestFrame()->width() == 360; }));
    ASSERT_TRUE(cameraGoesOn(10));
    const std::vector<Seen> seen = film();
    ASSERT_FALSE(seen.empty());
    for (const Seen& each : seen) {
        EXPECT_NEAR(each.circle.centreX, 400, 0.3);
        EXPECT_NEAR(each.circle.centreY, displayHeight - 300, 0.3);
        EXPECT_NEAR(each.circle.diameter, 199, 1);
    }
    EXPECT_LE(*seen.front().circle.number, before);
    EXPECT_GT(*seen.back().circle.number, before + 1);
}

TEST_F(CameraFilmTest, isAFilmWithoutACircleWhileTheCameraDeliversNothing) {
    for (const bool isBusy : {false, true}) {
        plugInAndStart({.isSilent = true, .isBusy = isBusy});
        bubbleFrame = Rect{300, 200, 200, 200};
        startRecording();
        ASSERT_TRUE(eventually([&] { return isBusy ? camera->refusals() > 0 : camera->isOn(); }));
        const std::size_t window = own->addWindow({0, 0, 32, 32}, 1);
        for (std::uint32_t seed = 2; seed < 6; ++seed) {
            const int before = screenFrames;
            own->repaint(window, seed);
            ASSERT_TRUE(eventually([&] { return screenFrames > before; }));
        }
        const test::Movie movie = finish();
        EXPECT_GE(movie.pictures.size(), 2U) << "the recording goes on";
        for (const test::MoviePicture& picture : movie.pictures)
            EXPECT_FALSE(testing::findCircle(picture, desktopLuma, testing::CircleMirroring::leftToRight));
        session.reset();
        manager.reset();
        camera.reset();
        own->unmap(window);
        ASSERT_TRUE(eventually([&] { return CameraDirectory(nodes).cameras().empty(); }));
    }
}

} // namespace
} // namespace quillet
