// Sound through the whole session, measured in the finished film by an independent decoder.

#include "pipeline/RecordingSession.h"
#include "platform/synthetic/SyntheticScreenSource.h"
#include "platform/synthetic/SyntheticSound.h"
#include "tests/fakes/FakeMicrophone.h"
#include "tests/fakes/FakeScreenSource.h"
#include "tests/fakes/FakeSystemAudio.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/SoundDevice.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <semaphore>
#include <utility>
#include <vector>

namespace quillet {
namespace {

constexpr int displayWidth = 64;
constexpr int displayHeight = 64;
constexpr fakes::Colour black{0, 0, 0};
constexpr fakes::Colour white{255, 255, 255};
constexpr double start = 1000; // the first picture's moment
constexpr std::int64_t clockRate = 1'000'000;

/// A desk on one made-up clock: a display that flashes, speakers, and a microphone.
class SessionSound : public ::testing::Test {
protected:
    SessionSound() {
        const Screen screen{.name = "fake",
                            .frame = {0, 0, displayWidth, displayHeight},
                            .visibleFrame = {},
                            .displayID = 1,
                            .pixelSize = {displayWidth, displayHeight},
                            .backingScaleFactor = 1};
        options.layout = *CaptureLayout::make(screen.frame, std::nullopt, {.screens = {screen}, .mainIndex = 0});
        options.camera = std::make_shared<CameraManager>(microphoneStage.factories());
        environment = {.screenSource = stage.factory(),
                       .desktopFolder = folder.path(),
                       .mainQueue = mainQueue.queue(),
                       .systemAudio = speakersStage.factory(),
                       .now = [this] {
                           return MediaTime{clock, clockRate};
                       }};
    }
    ~SessionSound() override {
        session.reset();
        options.camera.reset();
    }

    void begin() {
        session = RecordingSession::make(options, environment);
        ASSERT_TRUE(session);
        std::binary_semaphore answered(0);
        session->start({}, [&](const std::optional<Error>& error) {
            EXPECT_FALSE(error);
            answered.release();
        });
        answered.acquire();
    }
    void setClock(double seconds) { clock = std::llround(seconds * clockRate); }

    /// Lets time pass: pictures at an even rate, white where `isFlash`, and what the devices play and hear.
    void play(double until, fakes::SoundDevice* speakers, fakes::SoundDevice* microphone,
              const std::function<bool(double)>& isFlash = nullptr) {
        for (;;) {
            const double picture = start + pictureInterval * pictures;
            const double system = speakers ? speakers->nextEnd() : until;
            const double voice = microphone ? microphone->nextEnd() : until;
            const double next = std::min({picture, system, voice});
            if (next >= until) break;
            setClock(next);
            if (next == picture) {
                show(picture, isFlash && isFlash(picture) ? white : black);
                ++pictures;
            } else if (next == voice) {
                microphoneStage.say(microphone->next());
            } else {
                AudioSampleBuffer heard = speakers->next();
                if (speakersTimeline) heard = speakersTimeline->place(std::move(heard));
                speakersStage.play(heard);
            }
        }
        setClock(until);
    }
    /// Shows the frame until it is taken: no display is as quick as this test, and the writer's queue is short.
    void show(double time, fakes::Colour colour) {
        const PixelBufferRef frame = fakes::solidFrame(displayWidth, displayHeight, colour);
        const std::uint64_t written = session->frameCounts().written;
        EXPECT_TRUE(testing::eventually([&] {
            frame->sequence = static_cast<std::uint64_t>(++framesShown);
            stage.show(frame, {std::llround(time * clockRate), static_cast<std::int32_t>(clockRate)});
            return session->frameCounts().written > written;
        }));
    }
    [[nodiscard]] test::Movie stop() {
        std::optional<std::filesystem::path> film;
        bool isDone = false;
        session->stop([&](auto url, auto) {
            film = std::move(url);
            isDone = true;
        });
        EXPECT_TRUE(mainQueue.runUntil([&] { return isDone; }));
        EXPECT_TRUE(film);
        return film ? test::readMovie(*film, test::ReadDepth::pictures) : test::Movie{};
    }

    fakes::TemporaryFolder folder;
    fakes::ScreenStage stage;
    fakes::SystemAudioStage speakersStage;
    fakes::MicrophoneStage microphoneStage;
    fakes::ManualMainQueue mainQueue;
    std::atomic<std::int64_t> clock = std::llround(start * clockRate);
    RecordingOptions options;
    RecordingEnvironment environment;
    std::shared_ptr<RecordingSession> session;
    std::optional<SoundTimeline> speakersTimeline; // for speakers that do not place their sound themselves
    double pictureInterval = 0.04;
    int pictures = 0;
    int framesShown = 0;
};

/// The film's sound, on the film's clock.
fakes::HeardSound soundOf(const test::Movie& film) {
    fakes::HeardSound heard;
    heard.start = {std::llround(film.soundStart * 48000), 48000};
    for (const auto& frame : film.sound)
        heard.samples.insert(heard.samples.end(), frame.begin(), frame.end());
    return heard;
}

/// When the film turns white, in seconds.
std::vector<double> flashesOf(const test::Movie& film) {
    std::vector<double> found;
    bool wasWhite = false;
    for (const test::MoviePicture& picture : film.pictures) {
        const bool isWhite = picture.colourAt(displayWidth / 2, displayHeight / 2)[1] > 128;
        if (isWhite && !wasWhite) found.push_back(film.video->timeOf(picture.pts).seconds());
        wasWhite = isWhite;
    }
    return found;
}

/// Each onset's distance from the flash that is nearest to it.
double worstOffset(const std::vector<double>& flashes, const std::vector<double>& onsets) {
    double worst = 0;
    for (const double onset : onsets) {
        double nearest = 1e9;
        for (const double flash : flashes)
            nearest = std::min(nearest, std::abs(onset - flash));
        worst = std::max(worst, nearest);
    }
    return worst;
}

bool isWholeSecond(double time) { return std::abs(time - std::round(time)) < 0.01; }

TEST_F(SessionSound, aFlashAndTheClicksOfItsMomentLieTogether) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    // The speakers click on even seconds, the microphone hears a click on odd ones; the display flashes on all.
    fakes::SoundDevice speakers({.sound = fakes::clicks(2, 0.8), .start = start - 0.2, .frames = 1024});
    fakes::SoundDevice microphone({.sound = [](double t) { return fakes::clicks(2, 0.8)(t - 1); },
                                   .format = {SampleType::int16, 44100, 1},
                                   .start = start - 0.1,
                                   .clockMillionths = 200,
                                   .jitterSeconds = 0.003,
                                   .frames = 441});
    play(start + 10.5, &speakers, &microphone, isWholeSecond);
    const test::Movie film = stop();
    const std::vector<double> flashes = flashesOf(film);
    EXPECT_EQ(flashes.size(), 11U);
    const std::vector<double> onsets = fakes::onsets(soundOf(film), 0.2);
    EXPECT_GE(onsets.size(), 10U);
    EXPECT_LT(worstOffset(flashes, onsets), 0.005) << "seconds";
    RecordProperty("worstMicroseconds", static_cast<int>(worstOffset(flashes, onsets) * 1e6));
}

/// Seconds to record; QUILLET_TEST_SECONDS=1800 makes it the half hour that is to be recorded before a release.
double longRun() {
    const char* wanted = std::getenv("QUILLET_TEST_SECONDS");
    return wanted ? std::max(20.0, std::atof(wanted)) : 20.0;
}

TEST_F(SessionSound, devicesWhoseClocksDisagreeStayInTimeToTheEnd) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    fakes::SoundDevice speakers({.sound = fakes::clicks(2, 0.8),
                                 .start = start,
                                 .clockMillionths = -200,
                                 .jitterSeconds = 0.003,
                                 .frames = 1024});
    fakes::SoundDevice microphone({.sound = [](double t) { return fakes::clicks(2, 0.8)(t - 1); },
                                   .start = start,
                                   .clockMillionths = 200,
                                   .jitterSeconds = 0.003,
                                   .frames = 512,
                                   .seed = 2});
    speakersTimeline.emplace();
    pictureInterval = 0.2;
    const double seconds = longRun();
    play(start + seconds + 0.5, &speakers, &microphone, isWholeSecond);
    const test::Movie film = stop();
    const std::vector<double> flashes = flashesOf(film);
    const std::vector<double> onsets = fakes::onsets(soundOf(film), 0.2);
    EXPECT_GE(static_cast<double>(flashes.size()), seconds);
    EXPECT_GE(static_cast<double>(onsets.size()), seconds - 1);
    EXPECT_LT(worstOffset(flashes, onsets), 0.006) << "seconds";
    RecordProperty("worstMicroseconds", static_cast<int>(worstOffset(flashes, onsets) * 1e6));
    RecordProperty("lastMicroseconds", static_cast<int>(worstOffset({flashes.back()}, {onsets.back()}) * 1e6));
}

TEST_F(SessionSound, theSystemsClicksStandWithinAMillisecond) {
    begin();
    fakes::SoundDevice speakers({.sound = fakes::clicks(1, 0.8), .start = start - 0.2, .frames = 1024});
    play(start + 5.5, &speakers, nullptr, isWholeSecond);
    const test::Movie film = stop();
    const std::vector<double> onsets = fakes::onsets(soundOf(film), 0.25);
    EXPECT_GE(onsets.size(), 5U);
    EXPECT_LT(worstOffset(flashesOf(film), onsets), 0.001) << "seconds";
}

TEST_F(SessionSound, bothSoundsKeepPitchSidesAndGain) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    fakes::SoundDevice speakers(
        {.sound =
             [](double t) {
                 return fakes::StereoLevel{fakes::sine(440, 0.4)(t).left, fakes::sine(660, 0.2)(t).left};
             },
         .start = start,
         .frames = 512});
    fakes::SoundDevice microphone(
        {.sound = fakes::sine(1000, 0.3), .format = {SampleType::int16, 16000, 1}, .start = start, .frames = 160});
    play(start + 4, &speakers, &microphone);
    const test::Movie film = stop();
    const fakes::HeardSound heard = soundOf(film);
    const auto left = heard.channel(0, 1, 3);
    const auto right = heard.channel(1, 1, 3);
    EXPECT_NEAR(fakes::fitSine(left, 440).amplitude, 0.28, 0.01) << "0.7 of it";
    EXPECT_NEAR(fakes::fitSine(right, 660).amplitude, 0.14, 0.01);
    EXPECT_NEAR(fakes::fitSine(left, 660).amplitude, 0, 0.01) << "left is left";
    EXPECT_NEAR(fakes::fitSine(right, 440).amplitude, 0, 0.01);
    for (const auto& side : {left, right}) {
        EXPECT_NEAR(fakes::fitSine(side, 1000).amplitude, 0.21, 0.01) << "one microphone, both sides";
        EXPECT_NEAR(fakes::fitSine(side, 1000).phase, 0, 0.1);
    }
    EXPECT_NEAR(film.audio->durationSeconds, 4, 0.03);
}

TEST_F(SessionSound, isLimited) {
    begin();
    fakes::SoundDevice speakers({.sound = fakes::sine(500, 3), .start = start, .frames = 512});
    play(start + 2, &speakers, nullptr);
    const auto heard = soundOf(stop());
    const auto settled = heard.channel(0, 0.5, 1.9);
    const float peak = *std::max_element(settled.begin(), settled.end());
    EXPECT_NEAR(peak, 0.9, 0.07) << "2.1 without the limiter";
}

TEST_F(SessionSound, soundBeforeTheFirstPictureIsDropped) {
    begin();
    setClock(start + 1);
    fakes::SoundDevice speakers({.sound = fakes::sine(1000, 0.5), .start = start, .frames = 480});
    while (speakers.nextEnd() < start + 1)
        speakersStage.play(speakers.next());
    pictures = 25; // the first one comes now
    play(start + 2, &speakers, nullptr);
    const test::Movie film = stop();
    ASSERT_TRUE(film.audio);
    EXPECT_NEAR(film.audio->durationSeconds, 1.0, 0.015);
    EXPECT_NEAR(fakes::fitSine(soundOf(film).channel(0, 0.1, 0.9), 1000).phase, 0, 0.05);
}

TEST_F(SessionSound, theLastSoundIsInTheFilm) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    fakes::SoundDevice speakers({.sound = fakes::clicks(1.9, 0.8), .start = start, .frames = 480});
    fakes::SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start, .frames = 480});
    play(start + 1.8, &speakers, &microphone);
    // The source has heard more than it has handed over when the recording is stopped.
    play(start + 2, nullptr, &microphone);
    while (speakers.nextEnd() <= start + 2)
        speakersStage.keepForTheEnd(speakers.next());
    const test::Movie film = stop();
    ASSERT_TRUE(film.audio);
    EXPECT_NEAR(film.audio->durationSeconds, 2, 0.011);
    EXPECT_NEAR(fakes::fitSine(soundOf(film).channel(1, 1.92, 1.98), 1000).amplitude, 0.21, 0.02)
        << "nothing that was held for the microphone's sake is lost";
}

TEST_F(SessionSound, aMicrophoneThatIsNotWantedIsNotHeard) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    options.micEnabled = false;
    begin();
    fakes::SoundDevice speakers({.sound = fakes::sine(440, 0.2), .start = start});
    fakes::SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    play(start + 1, &speakers, &microphone);
    const auto heard = soundOf(stop()).channel(0, 0.1, 0.9);
    EXPECT_NEAR(fakes::fitSine(heard, 1000).amplitude, 0, 0.003);
    EXPECT_NEAR(fakes::fitSine(heard, 440).amplitude, 0.14, 0.01);
}

TEST_F(SessionSound, theMicrophoneIsHeardWithoutAnySystemSound) {
    environment.systemAudio = [](SerialQueue&, auto) { return nullptr; };
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    fakes::SoundDevice microphone({.sound = fakes::sine(1000, 0.3), .start = start});
    play(start + 2, nullptr, &microphone);
    const test::Movie film = stop();
    ASSERT_TRUE(film.audio);
    EXPECT_NEAR(film.audio->durationSeconds, 2, 0.001);
    const auto fit = fakes::fitSine(soundOf(film).channel(0, 0.5, 1.9), 1000);
    EXPECT_NEAR(fit.amplitude, 0.21, 0.01);
    EXPECT_NEAR(fit.phase, 0, 0.1);
}

TEST_F(SessionSound, aRecordingWithoutAnySoundHasASilentTrack) {
    environment.systemAudio = nullptr;
    begin();
    play(start + 1.5, nullptr, nullptr);
    const test::Movie film = stop();
    ASSERT_TRUE(film.audio);
    EXPECT_NEAR(film.audio->durationSeconds, 1.5, 0.001);
    for (const auto& frame : film.sound)
        ASSERT_LT(std::abs(frame[0]) + std::abs(frame[1]), 1e-4F);
}

TEST_F(SessionSound, everythingThatCanGoWrongWithSoundLeavesTheFilmInTime) {
    ASSERT_TRUE(options.camera->attachMicrophone());
    begin();
    fakes::SoundDevice speakers({.sound = fakes::clicks(1, 0.8), .start = start});
    fakes::SoundDevice microphone({.sound = [](double t) { return fakes::clicks(1, 0.6)(t - 0.52); }, .start = start});
    const auto isFlash = [](double t) { return isWholeSecond(t) || isWholeSecond(t - 0.52); };
    play(start + 2.2, &speakers, &microphone, isFlash);
    // Sound that cannot be: no frames, no numbers, no such time, no such format.
    AudioSampleBuffer strange = speakers.next();
    for (float& sample : commonSamples(strange))
        sample = std::nanf("");
    speakersStage.play(strange);
    microphoneStage.say(strange);
    speakersStage.play({});
    microphoneStage.say({});
    strange.presentationTime = {INT64_MAX, 1};
    speakersStage.play(strange);
    microphoneStage.say(strange);
    strange.presentationTime = {static_cast<std::int64_t>(start) + 86'400, 1};
    speakersStage.play(strange);
    strange.format.channels = 0;
    speakersStage.play(strange);
    microphoneStage.say(strange);
    // Lost buffers on both sides, then a headset in place of the microphone.
    speakers.lose(9600);
    microphone.lose(14'400);
    play(start + 4.2, &speakers, &microphone, isFlash);
    fakes::SoundDevice headset({.sound = [](double t) { return fakes::clicks(1, 0.6)(t - 0.52); },
                                .format = {SampleType::int16, 8000, 1},
                                .start = start + 4.9,
                                .clockMillionths = -200,
                                .frames = 80});
    play(start + 8.2, &speakers, &headset, isFlash);
    const test::Movie film = stop();
    const std::vector<double> onsets = fakes::onsets(soundOf(film), 0.2);
    EXPECT_GE(onsets.size(), 13U);
    EXPECT_LT(worstOffset(flashesOf(film), onsets), 0.002) << "seconds";
    EXPECT_NEAR(film.audio->durationSeconds, 8.2, 0.03);
    for (const auto& frame : film.sound)
        ASSERT_TRUE(std::isfinite(frame[0]) && std::isfinite(frame[1]));
}

/// Three seconds of the synthetic devices, on the live clock and all their own threads.
TEST_F(SessionSound, theSyntheticDeskIsInTimeOnTheLiveClock) {
    std::optional<MediaTime> firstPicture;
    std::atomic<int> frames = 0;
    options.camera = std::make_shared<CameraManager>(
        CaptureDeviceFactories{.camera = nullptr, .microphone = syntheticMicrophoneFactory()});
    ASSERT_TRUE(options.camera->attachMicrophone());
    environment.now = mediaTimeNow;
    environment.systemAudio = syntheticSystemAudioFactory();
    environment.screenSource = [&](SerialQueue& queue, ScreenSourceOptions wanted, Error& error) {
        wanted.onFrame = [&, onFrame = wanted.onFrame](const ConstPixelBufferRef& frame, MediaTime time) {
            if (!firstPicture) firstPicture = time;
            ++frames;
            onFrame(frame, time);
        };
        return syntheticScreenSourceFactory(SyntheticDrive::timer)(queue, std::move(wanted), error);
    };
    begin();
    const MediaTime until = mediaTimeNow() + MediaTime{3, 1};
    ASSERT_TRUE(testing::eventually([&] { return mediaTimeNow() > until && frames > 0; }));
    const test::Movie film = stop();
    fakes::HeardSound heard = soundOf(film);
    heard.start = heard.start + *firstPicture; // on the live clock
    // Clicks stand out of the tones by far; half of them are the speakers', half the microphone's.
    const std::vector<double> onsets = fakes::onsets(heard, 0.45);
    EXPECT_GE(onsets.size(), 5U);
    for (const double at : onsets)
        EXPECT_NEAR(std::round(at * 2) / 2, at, 0.002);
    const auto left = heard.channel(0, firstPicture->seconds() + 0.5, firstPicture->seconds() + 2.5);
    EXPECT_NEAR(fakes::fitSine(left, syntheticSound::leftHertz).amplitude, 0.7 * syntheticSound::amplitude, 0.01);
    EXPECT_NEAR(fakes::fitSine(left, syntheticSound::microphoneHertz).amplitude, 0.7 * syntheticSound::amplitude, 0.01);
}

} // namespace
} // namespace quillet
