// FlashesAndClicks.h: a recording whose picture and sounds say when they were made.
#pragma once

#include "pipeline/RecordingSession.h"
#include "platform/pipewire/PipeWireCamera.h"
#include "platform/pipewire/PipeWireMicrophone.h"
#include "platform/pipewire/PipeWireSystemAudio.h"
#include "tests/fakes/FakeScreenSource.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/SoundDevice.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"
#include "tests/fakes/pipewire/FormulaPlayer.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/pipewire/VirtualCamera.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

namespace quillet::testing {

inline constexpr int displaySize = 64;
inline constexpr double period =
    0.5; // of the flashes; the speakers click with every other one, the microphone with the rest

/// Records a display that flashes while both devices of a real server click, all at moments of one clock.
class FlashesAndClicks : public ::testing::Test {
protected:
    void SetUp() override {
        server = SoundServer::start();
        ASSERT_TRUE(server);
        programs = PipeWireConnection::make(server->connectionOptions());
        nodes = NodeDirectory::make(PipeWireConnection::make(server->connectionOptions()));
        startMicrophone();
        ASSERT_TRUE(eventually([&] {
            const auto source = nodes->defaultNode(NodeDirectory::Default::audioSource);
            return source && source->name == "voice";
        }));
        const Screen screen{.name = "fake",
                            .frame = {0, 0, displaySize, displaySize},
                            .visibleFrame = {},
                            .displayID = 1,
                            .pixelSize = {displaySize, displaySize},
                            .backingScaleFactor = 1};
        options.layout = *CaptureLayout::make(screen.frame, std::nullopt, {.screens = {screen}, .mainIndex = 0});
        options.camera = std::make_shared<CameraManager>(CaptureDeviceFactories{
            .camera = [this](SerialQueue& queue, auto onFrame) { return PipeWireCamera::make(nodes, queue, onFrame); },
            .microphone = pipeWireMicrophoneFactory(nodes)});
        ASSERT_TRUE(options.camera->attachMicrophone());
        if (usesCamera()) {
            plugInCamera();
            ASSERT_TRUE(camera && eventually([&] { return !CameraDirectory(nodes).cameras().empty(); }));
            ASSERT_TRUE(options.camera->attachCamera());
        }
        session = RecordingSession::make(options, {.screenSource = stage.factory(),
                                                   .desktopFolder = folder.path(),
                                                   .mainQueue = mainQueue.queue(),
                                                   .systemAudio = pipeWireSystemAudioFactory(nodes)});
        ASSERT_TRUE(session);
        std::binary_semaphore answered(0);
        session->start({}, [&](const std::optional<Error>& error) {
            EXPECT_FALSE(error);
            answered.release();
        });
        answered.acquire();
        options.camera->start();
    }
    void TearDown() override {
        session.reset();
        options.camera.reset();
        player.reset();
        voice.reset();
        camera.reset();
    }
    [[nodiscard]] virtual bool usesCamera() const { return false; }

    void plugInCamera() {
        constexpr CameraFormat format{.layout = CameraLayout::yuy2, .width = 320, .height = 240, .framesPerSecond = 15};
        camera = VirtualCamera::make(PipeWireConnection::make(server->connectionOptions()), {.offers = {format}});
    }
    void startMicrophone() {
        voice = std::make_unique<FormulaPlayer>(programs, FormulaPlayer::Role::microphone, "voice",
                                                [](double t) { return fakes::clicks(2 * period, 0.8)(t - period); });
    }
    void startPlayer() {
        player = std::make_unique<FormulaPlayer>(programs, FormulaPlayer::Role::program, "music",
                                                 fakes::clicks(2 * period, 0.8));
    }
    /// Shows a white picture at each multiple of the period and a black one soon after, until `seconds` have passed.
    void film(double seconds) {
        const double until = mediaTimeNow().seconds() + seconds;
        for (double now = mediaTimeNow().seconds(); now < until;) {
            const double flash = (std::floor(now / period) + 1) * period;
            if (framesShown == 0) firstFlash = flash;
            show(flash, {255, 255, 255});
            show(flash + 0.1, {0, 0, 0});
            now = mediaTimeNow().seconds();
        }
    }
    void show(double time, fakes::Colour colour) {
        const auto moment = std::chrono::steady_clock::time_point(std::chrono::microseconds(std::llround(time * 1e6)));
        std::this_thread::sleep_until(moment); // the moment is what the test is about
        const PixelBufferRef frame = fakes::solidFrame(displaySize, displaySize, colour);
        frame->sequence = static_cast<std::uint64_t>(++framesShown);
        stage.show(frame, mediaTimeAt(moment));
    }
    [[nodiscard]] test::Movie stop() {
        std::optional<std::filesystem::path> file;
        bool isDone = false;
        session->stop([&](auto url, auto) {
            file = std::move(url);
            isDone = true;
        });
        EXPECT_TRUE(mainQueue.runUntil([&] { return isDone; }));
        EXPECT_TRUE(file);
        return file ? test::readMovie(*file, test::ReadDepth::pictures) : test::Movie{};
    }

    /// Each click's distance from its flash, and whether there are about as many as flashes in the film. Gives the
    /// moments of the clicks, in seconds of the film.
    std::vector<double> expectTogether(const test::Movie& film, double leastShare) {
        std::vector<double> flashes;
        bool wasWhite = false;
        for (const test::MoviePicture& picture : film.pictures) {
            const bool isWhite = picture.colourAt(displaySize / 2, displaySize / 2)[1] > 128;
            if (isWhite && !wasWhite) flashes.push_back(film.video->timeOf(picture.pts).seconds());
            wasWhite = isWhite;
        }
        fakes::HeardSound heard;
        heard.start = {std::llround(film.soundStart * 48000), 48000};
        for (const auto& frame : film.sound)
            heard.samples.insert(heard.samples.end(), frame.begin(), frame.end());
        const std::vector<double> clicks = fakes::onsets(heard, 0.2);
        EXPECT_GE(static_cast<double>(clicks.size()), leastShare * static_cast<double>(flashes.size()));
        // Where a test was busy with other things no flash was shown, but its moment is known from the others.
        const auto fromFlash = [&](double time) {
            return std::abs(std::remainder(time - (flashes.empty() ? 0 : flashes.front()), period));
        };
        for (const double flash : flashes)
            EXPECT_LT(fromFlash(flash), 0.001) << "seconds";
        double worst = 0;
        for (const double click : clicks)
            worst = std::max(worst, fromFlash(click));
        EXPECT_LT(worst, 0.02) << "seconds";
        RecordProperty("worstMicroseconds", static_cast<int>(worst * 1e6));
        std::cout << clicks.size() << " clicks, " << flashes.size() << " flashes, worst offset " << worst * 1e3
                  << " ms\n";
        // The track lasts as long as the picture, whatever happened to the server.
        EXPECT_NEAR(film.audio->durationSeconds, film.video->durationSeconds, 0.1);
        return clicks;
    }

    fakes::TemporaryFolder folder;
    fakes::ScreenStage stage;
    fakes::ManualMainQueue mainQueue;
    std::unique_ptr<SoundServer> server;
    std::shared_ptr<NodeDirectory> nodes;         // as the recording sees them, and shared with it
    std::shared_ptr<PipeWireConnection> programs; // shared by those that play
    std::unique_ptr<FormulaPlayer> voice;
    std::unique_ptr<FormulaPlayer> player;
    std::unique_ptr<VirtualCamera> camera;
    RecordingOptions options;
    std::shared_ptr<RecordingSession> session;
    int framesShown = 0;
    double firstFlash = 0; // the film's beginning, on the monotonic clock
};

} // namespace quillet::testing
