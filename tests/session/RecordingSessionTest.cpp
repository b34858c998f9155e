#include "pipeline/RecordingSession.h"

#include "pipeline/mp4/FileSink.h"
#include "selftest/FilmReader.h"
#include "tests/fakes/FakeScreenSource.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"
#include "tests/fakes/x11/eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <span>

#include <atomic>
#include <chrono>
#include <cmath>
#include <latch>
#include <semaphore>
#include <thread>
#include <utility>
#include <vector>

namespace quillet {
namespace {

constexpr fakes::Colour grey{128, 128, 128};
constexpr fakes::Colour green{0, 255, 0};
constexpr std::int32_t clockTimescale = 240; // divides by every rate used here
constexpr int displayWidth = 640;
constexpr int displayHeight = 360;

/// A camera that shows one picture when it is started, and a microphone that says one buffer.
struct FakeDevices {
    struct Counts {
        std::atomic<int> starts = 0;
        std::atomic<int> stops = 0;
    };
    // Shared with the devices, which may be let go by the session's threads after the test.
    std::shared_ptr<Counts> counts = std::make_shared<Counts>();

    [[nodiscard]] CaptureDeviceFactories factories() {
        return {.camera = [this](SerialQueue&, auto onFrame) { return device([onFrame] { onFrame(picture()); }); },
                .microphone =
                    [this](SerialQueue&, auto onSample) {
                        return device([onSample] { onSample(AudioSampleBuffer{commonAudioFormat, 1, {7, 1}, {}}); });
                    }};
    }

private:
    [[nodiscard]] static ConstPixelBufferRef picture() {
        PixelBufferRef frame = fakes::solidFrame(320, 240, green);
        frame->sequence = 1;
        return frame;
    }
    [[nodiscard]] std::unique_ptr<CaptureDevice> device(std::function<void()> onStart) {
        struct Device : CaptureDevice {
            Device(std::shared_ptr<Counts> shared, std::function<void()> first)
                : counts(std::move(shared)), onStart(std::move(first)) {}
            void start() override {
                ++counts->starts;
                onStart();
            }
            void stop() override { ++counts->stops; }
            std::shared_ptr<Counts> counts;
            std::function<void()> onStart;
        };
        return std::make_unique<Device>(counts, std::move(onStart));
    }
};

class RecordingSessionTest : public ::testing::Test {
protected:
    RecordingSessionTest() {
        const Screen screen{.name = "fake",
                            .frame = {100, 50, displayWidth / 2.0, displayHeight / 2.0},
                            .visibleFrame = {},
                            .displayID = 77,
                            .pixelSize = {displayWidth, displayHeight},
                            .backingScaleFactor = 2};
        options.layout = *CaptureLayout::make(screen.frame, std::nullopt, {.screens = {screen}, .mainIndex = 0});
        options.quality = ExportQuality::low;
        environment = {.screenSource = stage.factory(),
                       .desktopFolder = folder.path(),
                       .mainQueue = mainQueue.queue(),
                       .now = [this] {
                           return MediaTime{clock, clockTimescale};
                       }};
        environment.localTime = [] {
            std::tm time{};
            time.tm_year = 124;
            time.tm_mday = 2;
            time.tm_hour = 3;
            time.tm_min = 4;
            time.tm_sec = 5;
            return time;
        };
    }

    void makeAndStart() {
        session = RecordingSession::make(options, environment);
        ASSERT_TRUE(session);
        std::binary_semaphore answered(0);
        session->start({42}, [&](const std::optional<Error>& error) {
            startError = error;
            answered.release();
        });
        answered.acquire();
    }
    /// A grey display at the `number`th thirtieth of a second after an arbitrary beginning.
    void show(int number, fakes::Colour colour = grey) {
        show(fakes::solidFrame(displayWidth, displayHeight, colour), MediaTime{1000, 1} + MediaTime{number, 30});
    }
    /// Shows the frame until it is taken: no display is as quick as this test, and the writer's queue is short.
    void show(const PixelBufferRef& frame, MediaTime time) {
        clock = time.valueIn(clockTimescale);
        const std::uint64_t written = session->frameCounts().written;
        EXPECT_TRUE(testing::eventually([&] {
            frame->sequence = static_cast<std::uint64_t>(++framesShown);
            stage.show(frame, time);
            return session->frameCounts().written > written;
        }));
    }
    /// Waits for the file; the completion's arguments.
    std::pair<std::optional<std::filesystem::path>, std::optional<Error>> stop() {
        std::pair<std::optional<std::filesystem::path>, std::optional<Error>> result;
        bool done = false;
        session->stop([&](auto url, auto error) {
            result = {std::move(url), std::move(error)};
            done = true;
        });
        EXPECT_TRUE(mainQueue.runUntil([&] { return done; }));
        return result;
    }
    /// What the film shows at a moment after its start, at display pixels (x, y), y up.
    [[nodiscard]] fakes::Colour filmColour(const std::filesystem::path& film, MediaTime time, int x, int y) const {
        const auto picture = filmPictureAt(film, time);
        if (!picture) {
            ADD_FAILURE() << "no picture";
            return {};
        }
        const QRgb pixel = picture->pixel(x, picture->height() - 1 - y);
        return {static_cast<std::uint8_t>(qBlue(pixel)), static_cast<std::uint8_t>(qGreen(pixel)),
                static_cast<std::uint8_t>(qRed(pixel))};
    }

    fakes::TemporaryFolder folder;
    fakes::ScreenStage stage;
    fakes::ManualMainQueue mainQueue;
    FakeDevices devices;
    std::atomic<std::int64_t> clock = 1000 * clockTimescale; // what the session takes for now
    RecordingOptions options;
    RecordingEnvironment environment;
    std::shared_ptr<RecordingSession> session;
    std::optional<Error> startError;
    int framesShown = 0;
};

bool isNear(fakes::Colour a, fakes::Colour b) {
    return std::abs(a.blue - b.blue) < 12 && std::abs(a.green - b.green) < 12 && std::abs(a.red - b.red) < 12;
}

TEST_F(RecordingSessionTest, namesItsFileAfterTheLocalTime) {
    makeAndStart();
    EXPECT_EQ(session->outputURL(), folder.path() / "Quillet-20240102-030405.mp4");
}

TEST_F(RecordingSessionTest, midnightAndANewSystemTimeInMidRecordingChangeNothing) {
    int asked = 0;
    environment.localTime = [&] {
        std::tm time{};
        time.tm_year = asked++ == 0 ? 124 : 70; // years back, should it be asked again
        time.tm_mday = 2;
        return time;
    };
    makeAndStart();
    for (const int number : {0, 30, 60})
        show(number);
    clock = (MediaTime{1000, 1} + MediaTime{90, 30}).valueIn(clockTimescale);
    const auto [url, error] = stop();
    EXPECT_EQ(asked, 1) << "nothing but the name comes from the system's time";
    EXPECT_EQ(url, folder.path() / "Quillet-20240102-000000.mp4");
    EXPECT_NEAR(test::readMovie(*url).durationSeconds, 3, 0.01);
}

TEST_F(RecordingSessionTest, startsTheTimelineAtTheFirstFrameAndKeepsEveryTime) {
    makeAndStart();
    EXPECT_FALSE(startError);
    ASSERT_TRUE(stage.options());
    EXPECT_EQ(stage.options()->displayID, 77u);
    EXPECT_EQ(stage.options()->pixelSize, (Size{displayWidth, displayHeight}));
    EXPECT_EQ(stage.options()->excludeWindowIDs, (std::set<std::uint32_t>{42}));
    for (const int number : {0, 1, 2, 5, 11})
        show(number);
    clock = (MediaTime{1000, 1} + MediaTime{15, 30}).valueIn(clockTimescale);
    const auto [url, error] = stop();
    ASSERT_TRUE(url) << (error ? error->description : "");
    EXPECT_FALSE(stage.isRunning());

    const test::Movie film = test::readMovie(*url);
    ASSERT_TRUE(film.video);
    EXPECT_EQ(film.video->width, displayWidth);
    EXPECT_EQ(film.video->height, displayHeight);
    ASSERT_TRUE(film.audio) << "there is always a sound track";
    EXPECT_NEAR(film.audio->durationSeconds, 0.5, 0.001) << "as long as the recording";
    std::vector<MediaTime> times;
    for (const auto& packet : film.video->packets)
        times.push_back(film.video->timeOf(packet.pts));
    EXPECT_EQ(times, (std::vector<MediaTime>{{0, 30}, {1, 30}, {2, 30}, {5, 30}, {11, 30}}));
    ASSERT_FALSE(film.video->packets.empty());
    EXPECT_EQ(film.video->timeOf(film.video->packets.back().duration), (MediaTime{4, 30}))
        << "the last picture stays until the recording's end";
    EXPECT_EQ(session->frameCounts().written, 5u);
}

TEST_F(RecordingSessionTest, asksForAnotherFrameWhileItLacksTheNewest) {
    /// A file whose every write waits for a gate.
    struct GatedFile : mp4::ByteSink {
        GatedFile(std::unique_ptr<mp4::ByteSink> real, std::latch& opened) : file(std::move(real)), gate(opened) {}
        std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
            gate.wait();
            return file->writeAt(offset, bytes);
        }
        void writeBehind(std::uint64_t offset, std::uint64_t length) override { file->writeBehind(offset, length); }
        std::optional<Error> synchronise() override { return file->synchronise(); }
        std::optional<Error> close() override { return file->close(); }
        void discard() override { file->discard(); }
        [[nodiscard]] std::optional<std::uint64_t> availableBytes() override { return file->availableBytes(); }
        [[nodiscard]] std::filesystem::path place() const override { return file->place(); }
        std::unique_ptr<mp4::ByteSink> file;
        std::latch& gate;
    };
    std::latch gate(1);
    environment.openFile = [&](const std::filesystem::path& path, Error& error) {
        return std::make_unique<GatedFile>(mp4::FileSink::make(path, error), gate);
    };
    makeAndStart();
    int number = 0;
    const auto offer = [&] {
        const PixelBufferRef frame = fakes::solidFrame(displayWidth, displayHeight, grey);
        frame->sequence = static_cast<std::uint64_t>(++number);
        const MediaTime time = MediaTime{1000, 1} + MediaTime{number, 30};
        clock = time.valueIn(clockTimescale);
        stage.show(frame, time);
    };
    while (session->frameCounts().dropped == 0 && number < 100)
        offer();
    ASSERT_GT(session->frameCounts().dropped, 0U);
    EXPECT_TRUE(testing::eventually([&] { return stage.framesAskedFor() > 0; }));
    gate.count_down();
    EXPECT_TRUE(testing::eventually([&] {
        const std::uint64_t written = session->frameCounts().written;
        offer();
        return session->frameCounts().written > written;
    }));
    const int asked = stage.framesAskedFor();
    std::this_thread::sleep_for(std::chrono::milliseconds(1100)); // two rounds of the clock that asks
    EXPECT_EQ(stage.framesAskedFor(), asked) << "nothing is lacking any more";
    EXPECT_TRUE(stop().first);
}

TEST_F(RecordingSessionTest, recordsTheRegionOnly) {
    // Points are doubled: the right half of the display, (320, 0, 320, 360) in pixels.
    options.layout.regionGlobal = {260, 50, 160, 180};
    makeAndStart();
    const PixelBufferRef frame = fakes::solidFrame(displayWidth, displayHeight, grey);
    fakes::fill(*frame, {320, 350, 10, 10}, {0, 0, 255});
    show(frame, {1000, 1});
    const auto url = stop().first;
    ASSERT_TRUE(url);
    const auto picture = filmPictureAt(*url, {0, 1});
    ASSERT_TRUE(picture);
    EXPECT_EQ(picture->size(), QSize(320, 360));
    EXPECT_TRUE(isNear(filmColour(*url, {0, 1}, 4, 4), {0, 0, 255}));
    EXPECT_TRUE(isNear(filmColour(*url, {0, 1}, 100, 100), grey));
}

TEST_F(RecordingSessionTest, theCameraCircleFollowsTheBubbleFromTheNextFrameOn) {
    options.camera = std::make_shared<CameraManager>(devices.factories());
    ASSERT_TRUE(options.camera->attachCamera());
    options.camera->start();
    ASSERT_TRUE(testing::eventually([&] { return options.camera->latestFrame() != nullptr; }));
    options.layout.cameraGlobal = Rect{110, 60, 50, 50}; // pixels (20, 20, 100, 100)
    makeAndStart();
    show(0);
    session->updateCameraRect({200, 100, 50, 50}); // pixels (200, 100)
    show(1);
    session->updateCameraRect({100 + displayWidth / 2.0, 60, 50, 50}); // just off the right edge
    show(2);
    session->updateCameraRect({110, 60, 50, 50});
    show(3);
    const auto url = stop().first;
    ASSERT_TRUE(url);
    const auto at = [&](int number, int x, int y) { return filmColour(*url, {number, 30}, x, y); };
    EXPECT_TRUE(isNear(at(0, 70, 70), green));
    EXPECT_TRUE(isNear(at(0, 250, 150), grey));
    EXPECT_TRUE(isNear(at(1, 70, 70), grey));
    EXPECT_TRUE(isNear(at(1, 250, 150), green));
    EXPECT_TRUE(isNear(at(2, 250, 150), grey));
    EXPECT_TRUE(isNear(at(2, displayWidth - 3, 70), grey));
    EXPECT_TRUE(isNear(at(3, 70, 70), green));
    // The shared camera is stopped with the recording, although the bubble still shows it.
    options.camera.reset();
    session.reset();
    EXPECT_TRUE(testing::eventually([&] { return devices.counts->stops == 1; }));
    EXPECT_EQ(devices.counts->starts, 1);
}

TEST_F(RecordingSessionTest, aBubbleOffTheDisplayAtTheStartIsNotHiddenByItsPlaceAlone) {
    // Partly on the display, its centre outside: drawn as far as it is inside, without a test of visibility.
    options.camera = std::make_shared<CameraManager>(devices.factories());
    ASSERT_TRUE(options.camera->attachCamera());
    options.layout.cameraGlobal = Rect{100 - 35, 100, 60, 60}; // pixels (-70, 100, 120, 120)
    options.camera->start();
    ASSERT_TRUE(testing::eventually([&] { return options.camera->latestFrame() != nullptr; }));
    makeAndStart();
    show(0);
    const auto url = stop().first;
    ASSERT_TRUE(url);
    EXPECT_TRUE(isNear(filmColour(*url, {0, 1}, 10, 160), green));
    EXPECT_TRUE(isNear(filmColour(*url, {0, 1}, 100, 160), grey));
}

TEST_F(RecordingSessionTest, stoppedBeforeAnyFrameLeavesNothing) {
    makeAndStart();
    const auto [url, error] = stop();
    EXPECT_FALSE(url);
    EXPECT_FALSE(error);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(RecordingSessionTest, aSecondStopIsIgnoredAndItsCompletionNeverCalled) {
    makeAndStart();
    show(0);
    bool second = false;
    bool first = false;
    session->stop([&](auto, auto) { first = true; });
    session->stop([&](auto, auto) { second = true; });
    ASSERT_TRUE(mainQueue.runUntil([&] { return first; }));
    EXPECT_FALSE(second);
}

TEST_F(RecordingSessionTest, passesTheReasonWhyCaptureDidNotStart) {
    stage.refusal = Error{"Quillet", 1, "No capturable display found."};
    session = RecordingSession::make(options, environment);
    ASSERT_TRUE(session);
    std::binary_semaphore answered(0);
    session->start({}, [&](const std::optional<Error>& error) {
        startError = error;
        answered.release();
    });
    answered.acquire();
    EXPECT_EQ(startError, stage.refusal);
    session.reset();
    EXPECT_TRUE(std::filesystem::is_empty(folder.path())) << "a recording without pictures leaves no file";
}

TEST_F(RecordingSessionTest, isNotMadeWhereNoFileCanBe) {
    environment.desktopFolder = folder.path() / "missing";
    Error error;
    EXPECT_FALSE(RecordingSession::make(options, environment, &error));
    EXPECT_FALSE(error.description.empty());
}

struct OddRegion {
    const char* name;
    Rect region; // global points of a display at (100, 50) of 320 by 180 points, doubled in pixels
    int width;
    int height;
};

class OddRegions : public RecordingSessionTest, public ::testing::WithParamInterface<OddRegion> {};

TEST_P(OddRegions, areRecordedAtAnEvenSize) {
    options.layout.regionGlobal = GetParam().region;
    makeAndStart();
    show(0);
    show(1);
    const auto [url, error] = stop();
    ASSERT_TRUE(url) << (error ? error->description : "");
    const test::Movie film = test::readMovie(*url);
    ASSERT_TRUE(film.video);
    EXPECT_EQ(film.video->width, GetParam().width);
    EXPECT_EQ(film.video->height, GetParam().height);
    EXPECT_EQ(film.video->packets.size(), 2u);
}

INSTANTIATE_TEST_SUITE_P(Table, OddRegions,
                         ::testing::Values(OddRegion{"onePixel", {120, 70, 0.5, 0.5}, 2, 2},
                                           OddRegion{"oddSize", {120, 70, 50.5, 25.5}, 100, 50},
                                           OddRegion{"offEveryScreen", {5000, 5000, 100, 60}, 200, 120},
                                           OddRegion{"halfOutside", {380, 50, 80, 60}, 160, 120}),
                         [](const auto& row) { return std::string(row.param.name); });

class FrameRates : public RecordingSessionTest, public ::testing::WithParamInterface<int> {};

TEST_P(FrameRates, areAskedOfTheSourceAndWritten) {
    options.fps = GetParam();
    makeAndStart();
    EXPECT_EQ(stage.options()->fps, GetParam());
    for (int i = 0; i < 3; ++i) {
        const PixelBufferRef frame = fakes::solidFrame(displayWidth, displayHeight, grey);
        show(frame, MediaTime{1000, 1} + MediaTime{i, GetParam()});
    }
    const auto url = stop().first;
    ASSERT_TRUE(url);
    const test::Movie film = test::readMovie(*url);
    ASSERT_TRUE(film.video);
    EXPECT_GE(film.video->packets.size(), 3u);
    EXPECT_EQ(film.video->timeOf(film.video->packets.back().duration), (MediaTime{1, GetParam()}));
}

INSTANTIATE_TEST_SUITE_P(Slowest, FrameRates, ::testing::Values(1, 240));

TEST_F(RecordingSessionTest, beautifySetsThePictureOnItsBackdrop) {
    options.beautify = BeautifySettings{.backgroundIndex = 2};
    makeAndStart();
    show(0);
    const auto url = stop().first;
    ASSERT_TRUE(url);
    EXPECT_TRUE(isNear(filmColour(*url, {0, 1}, displayWidth / 2, displayHeight / 2), grey));
    EXPECT_FALSE(isNear(filmColour(*url, {0, 1}, 2, 2), grey));
}

TEST_F(RecordingSessionTest, mayBeLetGoWhileFramesArrive) {
    makeAndStart();
    show(0);
    session.reset();
    EXPECT_FALSE(stage.isRunning());
}

TEST(RecordingFileName, isTheLocalTimeOfTheStart) {
    std::tm time{};
    time.tm_year = 99;
    time.tm_mon = 11;
    time.tm_mday = 31;
    time.tm_hour = 23;
    time.tm_min = 59;
    time.tm_sec = 58;
    EXPECT_EQ(recordingFileName(time), "Quillet-19991231-235958.mp4");
}

} // namespace
} // namespace quillet
