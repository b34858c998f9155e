#include "pipeline/RecordingWriter.h"

#include "tests/fakes/ReadMovie.h"
#include "tests/pipeline/support/Recording.h"

#include <cmath>
#include <csignal>
#include <fstream>
#include <random>
#include <semaphore>

#include <sys/resource.h>
#include <sys/stat.h>

namespace quillet {
namespace {

using namespace fakes;
using namespace test;

constexpr int width = 64;
constexpr int height = 48;

std::unique_ptr<RecordingWriter> makeWriter(const std::filesystem::path& path, int fps = 60, int w = width,
                                            int h = height) {
    Error error;
    auto writer =
        RecordingWriter::make(path, {static_cast<double>(w), static_cast<double>(h)}, fps, ExportQuality::high, &error);
    EXPECT_TRUE(writer) << error.description;
    return writer;
}

TEST(RecordingWriter, keepsIrregularTimesExactly) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    const MediaTime start{5'000'017, 1'000'000};
    const std::vector<std::int64_t> offsets{0, 16'667, 33'334, 33'335, 150'001, 1'900'000, 1'916'667};
    writer->start(start);
    for (std::size_t i = 0; i < offsets.size(); ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, static_cast<int>(i)),
                                    {start.value + offsets[i], 1'000'000}));
    const Outcome outcome = finishAndWait(*writer);
    ASSERT_EQ(outcome.url, folder.file());
    EXPECT_FALSE(outcome.error);

    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_TRUE(movie.video);
    EXPECT_FALSE(movie.audio);
    EXPECT_FALSE(movie.isFragmented);
    EXPECT_EQ(movie.video->timescale, 1'000'000);
    ASSERT_EQ(movie.video->packets.size(), offsets.size());
    ASSERT_EQ(movie.pictures.size(), offsets.size());
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        EXPECT_EQ(movie.video->packets[i].pts, offsets[i]);
        EXPECT_EQ(movie.video->packets[i].dts, offsets[i]);
        EXPECT_EQ(movie.pictures[i].pts, offsets[i]);
        EXPECT_NEAR(movie.pictures[i].colourAt(20, 20)[1], 15 + static_cast<double>(i) * 15, 2);
    }
    EXPECT_NEAR(movie.durationSeconds, 1.916667 + 1.0 / 60, 2e-6);
}

TEST(RecordingWriter, mixedTimescalesStayExactWhereTheyCan) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 1});
    const std::vector<MediaTime> times{{0, 1}, {1, 60}, {1, 30}, {3, 60}, {1, 10}, {1, 1}, {90'000, 48'000}};
    for (const MediaTime& time : times)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), time));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file());
    ASSERT_EQ(movie.video->packets.size(), times.size());
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_EQ((MediaTime{movie.video->packets[i].pts, movie.video->timescale}), times[i]);
}

TEST(RecordingWriter, saysHighProfileWithoutReorderingAndBt709) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file(), 60, 1920, 1080);
    writer->start({0, 60});
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(1920, 1080, i), {i, 60}));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file());
    ASSERT_TRUE(movie.video);
    EXPECT_EQ(movie.video->profile, 100);
    EXPECT_EQ(movie.video->hasBFrames, 0);
    EXPECT_EQ(movie.video->primaries, 1);
    EXPECT_EQ(movie.video->transfer, 1);
    EXPECT_EQ(movie.video->matrix, 1);
    EXPECT_EQ(movie.video->range, 1);          // limited
    EXPECT_EQ(movie.video->chromaLocation, 2); // the centre

    std::ifstream file(folder.file(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(bytes.find(std::string("colrnclx\0\1\0\1\0\1\0", 15)), std::string::npos);
}

TEST(RecordingWriter, regularFramesHaveAKeyFrameEvery120) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    for (int i = 0; i < 300; ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, i), {i, 60}));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file());
    ASSERT_EQ(movie.video->packets.size(), 300U);
    for (std::size_t i = 0; i < 300; ++i) {
        EXPECT_EQ(movie.video->packets[i].isKey, i % 120 == 0) << i;
        EXPECT_EQ(movie.video->packets[i].pts * 60, static_cast<std::int64_t>(i) * movie.video->timescale) << i;
    }
}

TEST(RecordingWriter, sparseFramesHaveKeyFramesAtMostTwoSecondsApart) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 1'000'000});
    const std::vector<std::int64_t> times{0, 300'000, 7'500'001, 7'600'000, 9'590'000, 9'700'000};
    for (std::size_t i = 0; i < times.size(); ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, static_cast<int>(i)), {times[i], 1'000'000}));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    std::vector<std::pair<std::int64_t, bool>> found;
    for (const MoviePacket& packet : movie.video->packets)
        found.emplace_back(packet.pts, packet.isKey);
    const std::vector<std::pair<std::int64_t, bool>> expected{
        {0, true},          {300'000, false},   {2'000'000, true}, {4'000'000, true},  {6'000'000, true},
        {7'500'001, false}, {7'600'000, false}, {8'000'000, true}, {9'590'000, false}, {9'700'000, false}};
    EXPECT_EQ(found, expected);
    // What is repeated is the picture before, not the one to come.
    ASSERT_EQ(movie.pictures.size(), expected.size());
    EXPECT_NEAR(movie.pictures[4].colourAt(8, 8)[0], 30, 2);
    EXPECT_NEAR(movie.pictures[5].colourAt(8, 8)[0], 45, 2);
}

struct ColourCase {
    const char* name;
    Colour colour;
};
class SolidColour : public testing::TestWithParam<ColourCase> {};

TEST_P(SolidColour, comesBackWithinTwoSteps) {
    const TemporaryFolder folder;
    const Colour colour = GetParam().colour;
    const auto writer = makeWriter(folder.file(), 60, 130, 98);
    writer->start({0, 60});
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(appendPatiently(*writer, solidFrame(130, 98, colour), {i, 60}));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_EQ(movie.pictures.size(), 3U);
    double worst = 0;
    for (const MoviePicture& picture : movie.pictures)
        for (int y = 0; y < picture.height; ++y)
            for (int x = 0; x < picture.width; ++x) {
                const std::array<double, 3> found = picture.colourAt(x, y);
                worst = std::max({worst, std::abs(found[0] - colour.red), std::abs(found[1] - colour.green),
                                  std::abs(found[2] - colour.blue)});
            }
    EXPECT_LE(worst, 2.0);
    RecordProperty("worst", std::to_string(worst));
}

INSTANTIATE_TEST_SUITE_P(Table, SolidColour,
                         testing::Values(ColourCase{"red", {0, 0, 255}}, ColourCase{"green", {0, 255, 0}},
                                         ColourCase{"blue", {255, 0, 0}}, ColourCase{"white", {255, 255, 255}},
                                         ColourCase{"black", {0, 0, 0}}, ColourCase{"grey", {128, 128, 128}}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(RecordingWriter, saysWhetherAFrameWouldBeReadNext) {
    const TemporaryFolder folder;
    std::binary_semaphore read{0};
    std::binary_semaphore goOn{0};
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(writer->isWaitingForVideo());
    // The writer's thread stands still where it lets the frame go.
    const PixelBufferRef memory = numberedFrame(width, height, 1);
    EXPECT_TRUE(writer->appendVideo(PixelBuffer::wrap(memory->row(0), memory->strideBytes(), width, height,
                                                      [&] {
                                                          read.release();
                                                          goOn.acquire();
                                                      }),
                                    {0, 60}));
    read.acquire();
    EXPECT_TRUE(writer->isWaitingForVideo());
    EXPECT_TRUE(writer->appendVideo(numberedFrame(width, height, 2), {1, 60}));
    EXPECT_FALSE(writer->isWaitingForVideo());
    goOn.release();
    static_cast<void>(finishAndWait(*writer));
    EXPECT_EQ(readMovie(folder.file()).video->packets.size(), 2U);
}

TEST(RecordingWriter, lastFrameLastsUntilTheSoundEnds) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 2), {30, 60}));
    for (int i = 0; i < 10; ++i)
        writer->appendAudio(soundOf(i * 6000, 6000, tone));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file());
    ASSERT_TRUE(movie.audio);
    EXPECT_NEAR(movie.video->durationSeconds, 1.25, 1e-4);
    EXPECT_NEAR(movie.audio->durationSeconds, 1.25, 1e-4);
    EXPECT_NEAR(static_cast<double>(movie.video->packets.back().duration) / static_cast<double>(movie.video->timescale),
                0.75, 1e-4);
}

TEST(RecordingWriter, lastFrameLastsUntilTheLastAdvanceWithoutSound) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({100, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {100, 60}));
    writer->advance({100 + 45, 60});
    writer->advance({100 + 30, 60}); // never backwards
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file());
    ASSERT_EQ(movie.video->packets.size(), 1U);
    EXPECT_NEAR(movie.video->durationSeconds, 0.75, 1e-4);
}

TEST(RecordingWriter, aStillScreenRepeatsItsPictureEverySecondAndKeysEveryTwo) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 1'000'000});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 1'000'000}));
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 3), {400'000, 1'000'000}));
    for (std::int64_t now = 500'000; now <= 5'000'000; now += 100'000) {
        while (!writer->isReadyForMoreVideo())
            std::this_thread::yield();
        writer->advance({now, 1'000'000});
    }
    EXPECT_FALSE(writer->appendVideo(numberedFrame(width, height, 4), {4'000'000, 1'000'000}));
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 4), {5'000'500, 1'000'000}));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    std::vector<std::pair<std::int64_t, bool>> found;
    for (const MoviePacket& packet : movie.video->packets)
        found.emplace_back(packet.pts, packet.isKey);
    const std::vector<std::pair<std::int64_t, bool>> expected{{0, true},         {400'000, false},   {1'400'000, false},
                                                              {2'000'000, true}, {3'000'000, false}, {4'000'000, true},
                                                              {5'000'500, true}};
    // The last one: a key picture that was given out again stands in front of it, and nothing is built upon that.
    EXPECT_EQ(found, expected);
    for (std::size_t i = 1; i + 1 < movie.pictures.size(); ++i)
        EXPECT_NEAR(movie.pictures[i].colourAt(8, 8)[0], 60, 2) << i;
}

TEST(RecordingWriter, everySampleStandsAtItsTime) {
    const TemporaryFolder folder;
    const MediaTime start{7, 60};
    const auto writer = makeWriter(folder.file());
    writer->start(start);
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), start));
    // A click two thirds of a second in, in a first buffer that begins late and off every packet's border.
    constexpr std::int64_t click = 32'000;
    const auto sample = [](std::int64_t i) -> std::array<float, 2> {
        return i == click ? std::array<float, 2>{0.9F, 0.9F} : std::array<float, 2>{0, 0};
    };
    for (std::int64_t first = 12'345; first < 60'000; first += 480)
        writer->appendAudio(soundOf(first, 480, sample, start));
    static_cast<void>(finishAndWait(*writer));

    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_TRUE(movie.audio);
    EXPECT_NEAR(movie.soundStart, 0, 1e-9);
    const auto loudest = std::max_element(movie.sound.begin(), movie.sound.end(),
                                          [](const auto& a, const auto& b) { return std::abs(a[0]) < std::abs(b[0]); });
    EXPECT_EQ(loudest - movie.sound.begin(), click);
}

TEST(RecordingWriter, everySampleStandsAtItsTimeInAnUnfinishedFileToo) {
    const TemporaryFolder folder;
    const MediaTime start{7, 60};
    auto writer = makeWriter(folder.file());
    writer->start(start);
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), start));
    constexpr std::int64_t click = 32'000;
    const auto sample = [](std::int64_t i) -> std::array<float, 2> {
        return i == click ? std::array<float, 2>{0.9F, 0.9F} : std::array<float, 2>{0, 0};
    };
    for (std::int64_t first = 0; first < 60'000; first += 480)
        writer->appendAudio(soundOf(first, 480, sample, start));
    writer.reset();

    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    EXPECT_TRUE(movie.isFragmented);
    ASSERT_TRUE(movie.audio);
    const auto loudest = std::max_element(movie.sound.begin(), movie.sound.end(),
                                          [](const auto& a, const auto& b) { return std::abs(a[0]) < std::abs(b[0]); });
    EXPECT_NEAR(movie.soundStart + static_cast<double>(loudest - movie.sound.begin()) / 48000, click / 48000.0, 1e-6);
}

TEST(RecordingWriter, aToneKeepsItsPitchAndLoudness) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    for (std::int64_t first = 0; first < 96'000; first += 960)
        writer->appendAudio(soundOf(first, 960, tone));
    static_cast<void>(finishAndWait(*writer));
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_GE(movie.sound.size(), 96'000U);
    double sine = 0;
    double cosine = 0;
    double power = 0;
    for (std::size_t i = 9'600; i < 57'600; ++i) {
        const double angle = 2 * M_PI * 1000 * static_cast<double>(i) / 48000;
        sine += static_cast<double>(movie.sound[i][1]) * std::sin(angle);
        cosine += static_cast<double>(movie.sound[i][1]) * std::cos(angle);
        power += static_cast<double>(movie.sound[i][1]) * static_cast<double>(movie.sound[i][1]);
    }
    sine /= 24'000;
    cosine /= 24'000;
    EXPECT_NEAR(std::hypot(sine, cosine), 0.5, 0.01);
    EXPECT_NEAR(std::atan2(cosine, sine), 0, 0.01); // not a sample late
    EXPECT_NEAR(power / 48'000, 0.125, 0.005);      // and nothing else
}

TEST(RecordingWriter, brokenSamplesAreSilence) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    writer->appendAudio(soundOf(0, 9600, [](std::int64_t i) -> std::array<float, 2> {
        return {i % 2 ? std::nanf("") : HUGE_VALF, -HUGE_VALF};
    }));
    EXPECT_FALSE(finishAndWait(*writer).error);
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_GE(movie.sound.size(), 9'600U);
    for (const auto& pair : movie.sound)
        ASSERT_NEAR(std::abs(pair[0]) + std::abs(pair[1]), 0, 1e-3);
}

TEST(RecordingWriter, replacesAnExistingFile) {
    const TemporaryFolder folder;
    std::ofstream(folder.file()) << std::string(1'000'000, 'x');
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    static_cast<void>(finishAndWait(*writer));
    EXPECT_LT(std::filesystem::file_size(folder.file()), 100'000U);
    EXPECT_TRUE(readMovie(folder.file()).video);
}

TEST(RecordingWriter, neverWritesThroughALink) {
    const TemporaryFolder folder;
    std::ofstream(folder.file("precious")) << "precious";
    std::filesystem::create_symlink(folder.file("precious"), folder.file());
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    static_cast<void>(finishAndWait(*writer));
    EXPECT_FALSE(std::filesystem::is_symlink(folder.file()));
    EXPECT_EQ(std::filesystem::file_size(folder.file("precious")), 8U);
}

TEST(RecordingWriter, withoutAFolderThereIsNoWriterButAReason) {
    const TemporaryFolder folder;
    Error error;
    EXPECT_FALSE(RecordingWriter::make(folder.path() / "missing" / "a.mp4", {64, 48}, 60, ExportQuality::low, &error));
    EXPECT_EQ(error.domain, "errno");
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_NE(error.description.find("missing/a.mp4"), std::string::npos);
}

struct SizeCase {
    const char* name;
    Size size;
    bool works;
};
class Sizes : public testing::TestWithParam<SizeCase> {};

TEST_P(Sizes, recordOrRefuseWithAReason) {
    const TemporaryFolder folder;
    Error error;
    const Size size = GetParam().size;
    const auto writer = RecordingWriter::make(folder.file(), size, 60, ExportQuality::medium, &error);
    ASSERT_EQ(writer != nullptr, GetParam().works) << error.description;
    if (!writer) {
        EXPECT_FALSE(error.description.empty());
        EXPECT_FALSE(std::filesystem::exists(folder.file()));
        return;
    }
    const int w = static_cast<int>(size.width);
    const int h = static_cast<int>(size.height);
    writer->start({0, 60});
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(appendPatiently(*writer, numberedFrame(w, h, i + 3), {i, 60}));
    EXPECT_FALSE(finishAndWait(*writer).error);
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_EQ(movie.pictures.size(), 2U);
    EXPECT_EQ(movie.pictures[1].width, w);
    EXPECT_EQ(movie.pictures[1].height, h);
    EXPECT_NEAR(movie.pictures[1].colourAt(w - 1, h - 1)[2], 75, 2);
}

INSTANTIATE_TEST_SUITE_P(Table, Sizes,
                         testing::Values(SizeCase{"smallest", {2, 2}, true}, SizeCase{"thin", {2, 400}, true},
                                         SizeCase{"flat", {400, 2}, true},
                                         SizeCase{"fractionsDropped", {34.9, 18.2}, true},
                                         SizeCase{"largest", {7680, 4320}, true}, SizeCase{"odd", {33, 18}, false},
                                         SizeCase{"nothing", {0, 0}, false}, SizeCase{"tooLarge", {40000, 20}, false}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(RecordingWriter, aSizeThatIsNoNumberStopsTheProgram) {
    const TemporaryFolder folder;
    EXPECT_DEATH(static_cast<void>(RecordingWriter::make(folder.file(), {std::nan(""), 2}, 60, ExportQuality::low)),
                 "");
}

TEST(RecordingWriter, refusesWhatIsNotAfterTheLastFrame) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    EXPECT_FALSE(writer->appendVideo(numberedFrame(width, height, 1), {0, 60})); // not started
    writer->start({10, 60});
    EXPECT_FALSE(writer->appendVideo(numberedFrame(width, height, 1), {9, 60}));
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {10, 60}));
    EXPECT_FALSE(writer->appendVideo(numberedFrame(width, height, 1), {10, 60}));
    EXPECT_FALSE(writer->appendVideo(numberedFrame(width, height, 1), {1, 6}));
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {11, 60}));
    writer->start({50, 60}); // only the first counts
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {12, 60}));
    static_cast<void>(finishAndWait(*writer));
    EXPECT_EQ(readMovie(folder.file()).video->packets.size(), 3U);
}

TEST(RecordingWriter, finishedBeforeTheStartLeavesNothingAndAnswersAtOnce) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    std::thread::id answeredOn;
    writer->finish([&](const auto& url, const auto& error) {
        answeredOn = std::this_thread::get_id();
        EXPECT_FALSE(url);
        EXPECT_FALSE(error);
    });
    EXPECT_EQ(answeredOn, std::this_thread::get_id());
    EXPECT_FALSE(std::filesystem::exists(folder.file()));
}

TEST(RecordingWriter, finishedWithoutAFrameLeavesNothing) {
    const TemporaryFolder folder;
    const auto writer = makeWriter(folder.file());
    writer->start({0, 60});
    writer->appendAudio(soundOf(0, 4800, tone));
    const Outcome outcome = finishAndWait(*writer);
    EXPECT_FALSE(outcome.url);
    EXPECT_FALSE(outcome.error);
    EXPECT_FALSE(std::filesystem::exists(folder.file()));
}

TEST(RecordingWriter, letGoWithoutFinishLeavesAPlayableFileOrNone) {
    const TemporaryFolder folder;
    makeWriter(folder.file("unused.mp4"));
    EXPECT_FALSE(std::filesystem::exists(folder.file("unused.mp4")));
    makeWriter(folder.file("empty.mp4"))->start({0, 60});
    EXPECT_FALSE(std::filesystem::exists(folder.file("empty.mp4")));
    {
        const auto writer = makeWriter(folder.file());
        writer->start({0, 60});
        for (int i = 0; i < 90; ++i)
            EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, i), {i, 60}));
        writer->appendAudio(soundOf(0, 48'000, tone));
    }
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    EXPECT_TRUE(movie.isFragmented);
    EXPECT_EQ(movie.pictures.size(), 90U);
    EXPECT_EQ(movie.video->packets.back().pts, 89 * 1000);
    EXPECT_GE(movie.sound.size(), 48'000U);
}

TEST(RecordingWriter, goesOnFinishingAfterItIsLetGo) {
    const TemporaryFolder folder;
    std::promise<Outcome> outcome;
    {
        const auto writer = makeWriter(folder.file());
        writer->start({0, 60});
        for (int i = 0; i < 20; ++i)
            EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, i), {i, 60}));
        writer->finish([&](auto url, auto error) { outcome.set_value({url, error}); });
    }
    EXPECT_EQ(outcome.get_future().get().url, folder.file());
    EXPECT_EQ(readMovie(folder.file()).video->packets.size(), 20U);
}

TEST(RecordingWriter, mayBeLetGoInsideItsOwnCompletion) {
    const TemporaryFolder folder;
    std::unique_ptr<RecordingWriter> writer = makeWriter(folder.file());
    std::promise<void> done;
    writer->start({0, 60});
    EXPECT_TRUE(appendPatiently(*writer, numberedFrame(width, height, 1), {0, 60}));
    RecordingWriter& running = *writer;
    running.finish([owned = std::make_shared<std::unique_ptr<RecordingWriter>>(std::move(writer)), &done](const auto&,
                                                                                                          const auto&) {
        owned->reset();
        done.set_value();
    });
    done.get_future().wait();
    EXPECT_TRUE(readMovie(folder.file()).video);
}

TEST(RecordingWriter, aFullDiskFailsOnceAndLeavesWhatWasWritten) {
    const TemporaryFolder folder;
    struct rlimit old {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    const auto writer = makeWriter(folder.file(), 60, 320, 240);
    struct rlimit small {
        4'000'000, old.rlim_max
    };
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    writer->start({0, 60});
    std::mt19937 random(1);
    int offered = 0;
    for (; offered < 2000 && !writer->error(); ++offered) {
        const PixelBufferRef frame = PixelBuffer::make(320, 240);
        for (int y = 0; y < 240; ++y)
            for (int x = 0; x < 320 * 4; ++x)
                frame->row(y)[x] = static_cast<std::byte>(random());
        static_cast<void>(appendPatiently(*writer, frame, {offered, 60}));
    }
    EXPECT_FALSE(writer->appendVideo(numberedFrame(320, 240, 1), {5000, 60}));
    const Outcome outcome = finishAndWait(*writer);
    ::setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(outcome.url);
    ASSERT_TRUE(outcome.error);
    EXPECT_EQ(outcome.error->code, EFBIG);
    EXPECT_NE(outcome.error->description.find("recording.mp4"), std::string::npos);
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_TRUE(movie.video);
    EXPECT_GT(movie.pictures.size(), 25U);
}

} // namespace
} // namespace quillet
