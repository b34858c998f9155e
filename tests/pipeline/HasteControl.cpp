#include "pipeline/encode/HasteControl.h"

#include "pipeline/WriterEngine.h"
#include "pipeline/encode/X264Encoder.h"
#include "pipeline/mp4/FileSink.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/pipeline/support/Recording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <deque>
#include <utility>
#include <vector>

namespace quillet {
namespace {

using namespace fakes;
using namespace test;
using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr int fps = 60;
constexpr nanoseconds period = std::chrono::nanoseconds(1s) / fps;
constexpr std::size_t queueCapacity = 4; // as the recording's own

/// What a picture takes at each pace, as a share of what it takes without haste.
constexpr std::array<double, 4> paces{1, 0.9, 0.8, 0.6};

/// Takes made-up time.
class SlowEncoder final : public VideoEncoder {
public:
    explicit SlowEncoder(nanoseconds& clock) : now(clock) {}
    [[nodiscard]] const std::vector<std::byte>& avcConfiguration() const override { return configuration; }
    std::optional<Error> encode(const VideoEncoderPicture&, std::int64_t, PictureKind kind,
                                const Output& output) override {
        const double share = obeys ? paces.at(static_cast<std::size_t>(haste)) : 1;
        now += std::chrono::duration_cast<nanoseconds>(period * cost * share * (kind == PictureKind::key ? 2.5 : 1) *
                                                       std::exchange(firstTimes, 1));
        output({bytes, kind == PictureKind::key});
        return std::nullopt;
    }
    void setHaste(Haste wanted) override {
        haste = wanted;
        ++changes;
    }
    std::optional<Error> drain(const Output&) override { return std::nullopt; }

    double cost = 0.5;     ///< frame periods a picture takes
    double firstTimes = 1; ///< the first one so many times as long
    bool obeys = true;
    Haste haste = Haste::none;
    int changes = 0;

private:
    nanoseconds& now;
    std::vector<std::byte> configuration = std::vector<std::byte>(30);
    std::vector<std::byte> bytes = std::vector<std::byte>(100);
};

/// A recording by a made-up clock: pictures come at their times into a short queue, whatever the encoder does.
struct SlowMachine {
    TemporaryFolder folder;
    nanoseconds now{0};
    SlowEncoder* encoder = nullptr;
    VideoTimeline timeline{{0, fps}, fps};
    std::unique_ptr<WriterEngine> engine;
    std::int64_t next = 0; // picture
    int lost = 0;
    Haste worst = Haste::none;

    SlowMachine() {
        Error error;
        WriterParts parts;
        parts.width = 16;
        parts.height = 16;
        parts.fps = fps;
        parts.sink = mp4::FileSink::make(folder.file(), error);
        auto video = std::make_unique<SlowEncoder>(now);
        encoder = video.get();
        parts.video = std::move(video);
        parts.audio = AacEncoder::make(error);
        parts.picture = EncoderPicture::make(16, 16);
        parts.clock = [this] { return now; };
        engine = std::make_unique<WriterEngine>(std::move(parts), timeline, MediaTime{0, fps});
    }

    void play(int seconds, std::int64_t everyNth = 1) {
        std::deque<std::int64_t> queue;
        const auto arrive = [&] {
            for (; period * next <= now; next += everyNth)
                if (queue.size() < queueCapacity)
                    queue.push_back(next);
                else
                    ++lost;
        };
        const nanoseconds end = now + std::chrono::seconds(seconds);
        while (now < end) {
            now = std::max(now, queue.empty() ? period * next : now);
            arrive();
            const std::int64_t picture = queue.front();
            queue.pop_front();
            const auto place = timeline.addFrame({static_cast<std::int64_t>(picture), fps});
            engine->encode(place->ticks, place->isKey ? PictureKind::key : PictureKind::any, queue.size());
            worst = std::max(worst, encoder->haste);
            arrive();
        }
        next = std::max(next, static_cast<std::int64_t>(now / period) + 1);
    }
};

struct Burden {
    const char* name;
    double cost;
};

class TooSlow : public ::testing::TestWithParam<Burden> {};

TEST_P(TooSlow, givesUpSharpnessBeforePicturesAndComesBack) {
    SlowMachine deaf;
    deaf.encoder->cost = GetParam().cost;
    deaf.encoder->obeys = false;
    deaf.play(10);
    EXPECT_GT(deaf.lost, 0) << "without haste nothing is lost: this test proves nothing";

    SlowMachine machine;
    machine.play(5);
    ASSERT_EQ(machine.encoder->haste, Haste::none);
    machine.encoder->cost = GetParam().cost;
    machine.play(20);
    EXPECT_EQ(machine.lost, 0);
    EXPECT_GT(machine.worst, Haste::none);
    machine.encoder->cost = 0.4;
    machine.play(60);
    EXPECT_EQ(machine.encoder->haste, Haste::none);
    EXPECT_EQ(machine.lost, 0);
}

INSTANTIATE_TEST_SUITE_P(Table, TooSlow,
                         ::testing::Values(Burden{"aLittle", 1.1}, Burden{"byAFifth", 1.2}, Burden{"byAThird", 1.3}),
                         [](const auto& tested) { return std::string(tested.param.name); });

TEST(HasteControl, staysCalmWhereThePaceIsKept) {
    for (const double cost : {0.2, 0.5, 0.7}) {
        SlowMachine machine;
        machine.encoder->cost = cost;
        machine.play(20);
        EXPECT_EQ(machine.encoder->changes, 0) << cost;
        EXPECT_EQ(machine.lost, 0) << cost;
    }
}

TEST(HasteControl, doesNotHurryForTheFirstPicture) {
    SlowMachine machine;
    machine.encoder->cost = 0.7;
    machine.encoder->firstTimes = 2; // 3.5 periods: three pictures wait when it is done
    machine.play(5);
    EXPECT_EQ(machine.encoder->changes, 0);
    EXPECT_EQ(machine.lost, 0);
}

TEST(HasteControl, takesTheLastStepBackWhereThePaceIsJustKept) {
    SlowMachine machine;
    machine.encoder->cost = 1.6;
    machine.play(5);
    ASSERT_GT(machine.encoder->haste, Haste::none);
    machine.encoder->cost = 0.75; // 0.68 with the least haste, and 0.6 with more
    machine.play(60);
    EXPECT_EQ(machine.encoder->haste, Haste::none);
}

TEST(HasteControl, hurriesNoMoreThanItMust) {
    SlowMachine machine;
    machine.encoder->cost = 0.95; // 0.76 at the second step
    machine.play(20);
    EXPECT_EQ(machine.worst, Haste::much);
}

TEST(HasteControl, doesNotGoToAndFro) {
    SlowMachine machine;
    machine.encoder->cost = 1.2;
    machine.play(120);
    EXPECT_LT(machine.encoder->changes, 20);
    EXPECT_EQ(machine.lost, 0);
}

TEST(HasteControl, returnsWhenPicturesComeMoreRarely) {
    SlowMachine machine;
    machine.encoder->cost = 1.6;
    machine.play(10);
    ASSERT_GT(machine.encoder->haste, Haste::none);
    machine.play(60, 4);
    EXPECT_EQ(machine.encoder->haste, Haste::none);
}

// The paces themselves: a film that changes between all of them is one film in the High profile, every picture of which
// decodes to its source.
TEST(X264Encoder, changesItsPaceInTheMiddleOfAFilm) {
    constexpr int width = 320;
    constexpr int height = 192;
    const TemporaryFolder folder;
    Error error;
    WriterParts parts;
    parts.width = width;
    parts.height = height;
    parts.sink = mp4::FileSink::make(folder.file(), error);
    auto encoder = makeX264Encoder({width, height, fps, 2'000'000}, error);
    VideoEncoder& video = *encoder;
    parts.video = std::move(encoder);
    parts.audio = AacEncoder::make(error);
    parts.picture = EncoderPicture::make(width, height);
    VideoTimeline timeline({0, fps}, fps);
    WriterEngine engine(std::move(parts), timeline, {0, fps});
    constexpr std::array<Haste, 6> order{Haste::none, Haste::some, Haste::most, Haste::none, Haste::much, Haste::none};
    constexpr int each = 25;
    for (int i = 0; i < each * static_cast<int>(order.size()); ++i) {
        if (i % each == 0) video.setHaste(order.at(static_cast<std::size_t>(i / each)));
        const auto place = timeline.addFrame({i, fps});
        engine.update(*numberedFrame(width, height, i), {});
        engine.encode(place->ticks, place->isKey ? PictureKind::key : PictureKind::any);
    }
    ASSERT_TRUE(engine.finish(0));
    ASSERT_FALSE(engine.error());
    const Movie movie = readMovie(folder.file(), ReadDepth::pictures);
    ASSERT_EQ(movie.pictures.size(), each * order.size());
    for (std::size_t i = 0; i < movie.pictures.size(); ++i)
        EXPECT_NEAR(movie.pictures[i].colourAt(200, 100)[0], 15 + static_cast<double>(i % 16) * 15, 4) << i;
}

} // namespace
} // namespace quillet
