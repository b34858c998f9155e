// The session's camera against a real server with cameras made of software, which come, change and go.
#include "platform/pipewire/PipeWireCamera.h"

#include "platform/pipewire/cameraFormats.h"
#include "platform/synthetic/SyntheticCamera.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/pipewire/VirtualCamera.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <mutex>
#include <string>
#include <vector>

namespace quillet {
namespace {

using quillet::testing::eventually;
using quillet::testing::SoundServer;
using quillet::testing::VirtualCamera;
using namespace std::chrono_literals;

CameraFormat format(CameraLayout layout, int width = 320, int height = 240, double rate = 30) {
    return {.layout = layout, .width = width, .height = height, .framesPerSecond = rate};
}

double lumaOf(const PixelBuffer& frame, double right, double down) {
    const int shorter = std::min(frame.width(), frame.height());
    const int x = static_cast<int>(frame.width() / 2.0 + right * shorter);
    const int y = static_cast<int>(frame.height() / 2.0 + down * shorter);
    const std::byte* pixel = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
    const auto level = [pixel](int channel) { return std::to_integer<int>(pixel[channel]); };
    return 0.114 * level(0) + 0.587 * level(1) + 0.299 * level(2);
}

std::optional<std::uint32_t> numberIn(const PixelBuffer& frame) {
    return SyntheticCameraPicture::readNumber([&](double right, double down) { return lumaOf(frame, right, down); });
}

/// The largest difference from the painted picture, leaving out pixels within two of an edge between patches.
int errorOf(const PixelBuffer& frame, std::uint64_t number) {
    int worst = 0;
    const auto patches = SyntheticCameraPicture{frame.width(), frame.height()}.patches(number);
    for (std::size_t i = 0; i < patches.size(); ++i)
        for (int y = patches[i].rect.y + 2; y < patches[i].rect.bottom() - 2; ++y)
            for (int x = patches[i].rect.x + 2; x < patches[i].rect.right() - 2; ++x) {
                // The ground is seen where no cell is.
                const int margin = frame.height() * 2 / 5;
                const bool isMiddle =
                    std::abs(x - frame.width() / 2) < margin && std::abs(y - frame.height() / 2) < margin;
                if (i == 0 && isMiddle) continue;
                const std::byte* pixel = frame.row(y) + static_cast<std::ptrdiff_t>(x) * 4;
                for (int channel = 0; channel < 3; ++channel) {
                    const int expected = static_cast<int>(patches[i].colour >> (8 * channel) & 255);
                    worst = std::max(worst, std::abs(std::to_integer<int>(pixel[channel]) - expected));
                }
            }
    return worst;
}

/// Owns a camera on a queue of its own, as the manager does, and keeps the newest picture.
class Watcher {
public:
    explicit Watcher(const SoundServer& server)
        : nodes(NodeDirectory::make(PipeWireConnection::make(server.connectionOptions()))) {}
    ~Watcher() {
        queue.sync([this] { camera.reset(); });
    }
    [[nodiscard]] bool attach() {
        camera = PipeWireCamera::make(nodes, queue, [this](const ConstPixelBufferRef& frame) {
            EXPECT_TRUE(queue.isCurrent());
            const std::lock_guard guard(mutex);
            EXPECT_GT(frame->sequence, newest ? newest->sequence : 0);
            newest = frame;
            numbers.push_back(numberIn(*frame).value_or(0));
        });
        return camera != nullptr;
    }
    void start() {
        queue.sync([this] { camera->start(); });
    }
    void stop() {
        queue.sync([this] { camera->stop(); });
    }
    [[nodiscard]] ConstPixelBufferRef frame() {
        const std::lock_guard guard(mutex);
        return newest;
    }
    [[nodiscard]] int frameCount() {
        const std::lock_guard guard(mutex);
        return static_cast<int>(numbers.size());
    }
    /// The number in the picture that came as the `index`th, from 0.
    [[nodiscard]] std::uint32_t numberOf(int index) {
        const std::lock_guard guard(mutex);
        return numbers[static_cast<std::size_t>(index)];
    }
    /// Waits for a picture with a number that satisfies the condition.
    [[nodiscard]] bool sees(const std::function<bool(std::uint32_t number, const PixelBuffer& frame)>& condition) {
        return eventually([&] {
            const ConstPixelBufferRef seen = frame();
            const auto number = seen ? numberIn(*seen) : std::nullopt;
            return number && condition(*number, *seen);
        });
    }
    [[nodiscard]] bool seesNumberFrom(std::uint32_t first) {
        return sees([=](std::uint32_t number, const PixelBuffer&) { return number >= first; });
    }

    std::shared_ptr<NodeDirectory> nodes;
    SerialQueue queue{"org.quillet.Quillet.camera"};
    std::unique_ptr<PipeWireCamera> camera;

private:
    std::mutex mutex; // guards what follows
    ConstPixelBufferRef newest;
    std::vector<std::uint32_t> numbers;
};

class PipeWireCameraTest : public ::testing::Test {
protected:
    void SetUp() override {
        server = SoundServer::start(SoundServer::Devices::none);
        ASSERT_TRUE(server);
        connection = PipeWireConnection::make(server->connectionOptions());
        watcher.emplace(*server);
    }
    void TearDown() override { watcher.reset(); }

    [[nodiscard]] std::unique_ptr<VirtualCamera> plugIn(const VirtualCamera::Options& options) {
        auto camera = VirtualCamera::make(connection, options);
        if (!camera || !eventually([&] { return isKnown(options.name); })) return nullptr;
        return camera;
    }
    [[nodiscard]] bool isKnown(const std::string& name) const {
        const std::vector<PipeWireNode> cameras = CameraDirectory(watcher->nodes).cameras();
        return std::any_of(cameras.begin(), cameras.end(), [&](const auto& each) { return each.name == name; });
    }

    std::unique_ptr<SoundServer> server;
    std::shared_ptr<PipeWireConnection> connection;
    std::optional<Watcher> watcher;
};

struct SentCase {
    const char* name;
    CameraFormat format;
    std::size_t paddingBytes;
    CameraTurn turn;
    int tolerance; ///< levels: our rounding and the sender's
};

class PipeWireCameraFormats : public PipeWireCameraTest, public ::testing::WithParamInterface<SentCase> {};

TEST_P(PipeWireCameraFormats, showsTheCamerasPicture) {
    const SentCase& sent = GetParam();
    const auto camera = plugIn({.offers = {sent.format}, .turn = sent.turn, .paddingBytes = sent.paddingBytes});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(3));
    EXPECT_EQ(camera->sends(), sent.format);
    const ConstPixelBufferRef frame = watcher->frame();
    const bool isTurned = sent.turn.quarters % 2 != 0;
    EXPECT_EQ(frame->width(), isTurned ? sent.format.height : sent.format.width);
    EXPECT_EQ(frame->height(), isTurned ? sent.format.width : sent.format.height);
    EXPECT_LE(errorOf(*frame, *numberIn(*frame)), sent.tolerance);
}

CameraFormat coloured(CameraLayout layout, YuvStandard standard, YuvRange range) {
    CameraFormat result = format(layout);
    result.standard = standard;
    result.range = range;
    return result;
}

INSTANTIATE_TEST_SUITE_P(
    Table, PipeWireCameraFormats,
    ::testing::Values(
        SentCase{"bgrx", format(CameraLayout::bgrx), 0, {}, 0}, SentCase{"rgbx", format(CameraLayout::rgbx), 64, {}, 0},
        SentCase{"xrgb", format(CameraLayout::xrgb), 0, {}, 0}, SentCase{"xbgr", format(CameraLayout::xbgr), 0, {}, 0},
        SentCase{"rgb", format(CameraLayout::rgb), 0, {}, 0},
        SentCase{"bgrPadded", format(CameraLayout::bgr), 10, {}, 0},
        SentCase{"yuy2", format(CameraLayout::yuy2), 0, {}, 3},
        SentCase{"yuy2Padded", format(CameraLayout::yuy2, 322, 182), 36, {}, 3},
        SentCase{"uyvy", format(CameraLayout::uyvy), 0, {}, 3}, SentCase{"nv12", format(CameraLayout::nv12), 0, {}, 3},
        SentCase{"nv12Padded", format(CameraLayout::nv12, 322, 182), 30, {}, 3},
        SentCase{"i420", format(CameraLayout::i420), 0, {}, 3}, SentCase{"yv12", format(CameraLayout::yv12), 16, {}, 3},
        SentCase{"oddSize", format(CameraLayout::nv12, 321, 241), 0, {}, 3},
        SentCase{"jpeg", format(CameraLayout::jpeg), 0, {}, 8},
        SentCase{"yuy2Of709", coloured(CameraLayout::yuy2, YuvStandard::bt709, YuvRange::limited), 0, {}, 3},
        SentCase{"nv12OfFullRange", coloured(CameraLayout::nv12, YuvStandard::bt601, YuvRange::full), 0, {}, 3},
        SentCase{"turnedByAQuarter", format(CameraLayout::yuy2), 0, {false, 1}, 3},
        SentCase{"flippedAndTurned", format(CameraLayout::bgrx), 0, {true, 3}, 0}),
    [](const auto& each) { return each.param.name; });

TEST_F(PipeWireCameraTest, isNotThereWithoutACamera) {
    ASSERT_TRUE(eventually([&] { return watcher->nodes->knowledge() == NodeDirectory::Knowledge::known; }));
    EXPECT_FALSE(watcher->attach());
    const auto camera = plugIn({});
    EXPECT_TRUE(watcher->attach());
}

TEST(PipeWireCamera, isNotThereWithoutAServerAndSaysSoSoon) {
    const auto server = SoundServer::prepare(SoundServer::Devices::none);
    ASSERT_TRUE(server);
    Watcher watcher(*server);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_FALSE(watcher.attach());
    // The promise is 0.3 s; the rest is for a machine that does much else.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 2s);
}

TEST_F(PipeWireCameraTest, takesTheOneOfTheHighestPriority) {
    const auto plain = plugIn({.name = "plain", .priority = 900, .firstNumber = 1});
    const auto better = plugIn({.name = "better", .priority = 1100, .firstNumber = 20001});
    ASSERT_TRUE(plain && better);
    // The session manager takes its time to name the better one.
    ASSERT_TRUE(eventually([&] { return CameraDirectory(watcher->nodes).defaultCamera()->name == "better"; }));
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    EXPECT_TRUE(watcher->seesNumberFrom(20001));
    EXPECT_FALSE(plain->isOn());
}

TEST_F(PipeWireCameraTest, asksForTheSizeAndPaceThatTheBubbleCanUse) {
    const auto camera =
        plugIn({.offers = {format(CameraLayout::yuy2, 1920, 1080, 5), format(CameraLayout::yuy2, 640, 480),
                           format(CameraLayout::jpeg, 1920, 1080), format(CameraLayout::jpeg, 1280, 720),
                           format(CameraLayout::yuy2, 1280, 720, 10)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(1));
    EXPECT_EQ(camera->sends(), format(CameraLayout::jpeg, 1280, 720));
}

TEST_F(PipeWireCameraTest, isSilentBeforeItsStartAndAfterItsStopAndStartsAgain) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    EXPECT_FALSE(camera->isOn());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(2));
    EXPECT_TRUE(camera->isOn());
    watcher->stop();
    const int count = watcher->frameCount();
    EXPECT_TRUE(eventually([&] { return !camera->isOn(); }));
    EXPECT_EQ(watcher->frameCount(), count);
    const auto last = static_cast<std::uint32_t>(camera->latestNumber());
    watcher->start();
    EXPECT_TRUE(watcher->seesNumberFrom(last + 1));
}

TEST_F(PipeWireCameraTest, keepsItsPictureWhenUnpluggedAndGoesOnWhenReplugged) {
    auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(3));
    camera.reset();
    ASSERT_TRUE(eventually([&] { return !isKnown("test-camera"); }));
    EXPECT_TRUE(numberIn(*watcher->frame()));
    camera = plugIn({.offers = {format(CameraLayout::nv12, 640, 360)}, .firstNumber = 5000});
    ASSERT_TRUE(camera);
    EXPECT_TRUE(watcher->seesNumberFrom(5000));
    EXPECT_EQ(watcher->frame()->width(), 640);
}

TEST_F(PipeWireCameraTest, goesOnWithAnotherOneWhenItsOwnGoes) {
    auto first = plugIn({.name = "first", .offers = {format(CameraLayout::yuy2)}, .priority = 2000});
    const auto second =
        plugIn({.name = "second", .offers = {format(CameraLayout::jpeg)}, .priority = 1000, .firstNumber = 7000});
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(1));
    first.reset();
    EXPECT_TRUE(watcher->seesNumberFrom(7000));
    // The better one's return is no reason to change horses.
    first = plugIn({.name = "first", .offers = {format(CameraLayout::yuy2)}, .priority = 2000, .firstNumber = 30000});
    ASSERT_TRUE(first);
    const int count = watcher->frameCount();
    EXPECT_TRUE(eventually([&] { return watcher->frameCount() > count + 5; }));
    EXPECT_LT(*numberIn(*watcher->frame()), 30000U);
}

TEST_F(PipeWireCameraTest, followsANewSizeAndTurnInMidStream) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2, 640, 360)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(2));
    camera->change({format(CameraLayout::yuy2, 360, 640)});
    EXPECT_TRUE(watcher->sees([](std::uint32_t, const PixelBuffer& frame) { return frame.width() == 360; }));
    camera->change({format(CameraLayout::nv12, 640, 480)}, {false, 1});
    EXPECT_TRUE(watcher->sees([](std::uint32_t, const PixelBuffer& frame) { return frame.width() == 480; }));
    EXPECT_EQ(watcher->frame()->height(), 640);
}

TEST_F(PipeWireCameraTest, comesBackWithACrashedServer) {
    auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(2));
    camera.reset();
    server->crashDaemon();
    ASSERT_TRUE(server->startDaemon());
    ASSERT_TRUE(server->startSessionManager());
    camera = plugIn({.offers = {format(CameraLayout::yuy2)}, .firstNumber = 9000});
    ASSERT_TRUE(camera);
    EXPECT_TRUE(watcher->seesNumberFrom(9000));
}

TEST_F(PipeWireCameraTest, waitsForACameraThatSendsNothing) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}, .isSilent = true});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(eventually([&] { return camera->sends().has_value(); }));
    watcher->stop();
    EXPECT_EQ(watcher->frameCount(), 0);
    watcher->start();
    camera->setSilent(false);
    EXPECT_TRUE(watcher->seesNumberFrom(1));
}

TEST_F(PipeWireCameraTest, takesAnotherOneWhenItsOwnShowsNothing) {
    const auto silent =
        plugIn({.name = "silent", .offers = {format(CameraLayout::yuy2)}, .priority = 3000, .isSilent = true});
    const auto other = plugIn({.name = "other", .offers = {format(CameraLayout::yuy2)}, .priority = 10});
    ASSERT_TRUE(silent && other);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(eventually([&] { return silent->sends().has_value(); })) << "it has agreed on a format";
    EXPECT_TRUE(watcher->seesNumberFrom(1));
    EXPECT_TRUE(other->isOn());
}

TEST_F(PipeWireCameraTest, dropsDamagedPicturesAndGoesOn) {
    const auto camera = plugIn({.offers = {format(CameraLayout::jpeg)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(2));
    camera->setDamaged(true);
    const std::uint64_t damagedFrom = camera->latestNumber() + 1;
    ASSERT_TRUE(eventually([&] { return camera->latestNumber() > damagedFrom + 5; }));
    EXPECT_LE(*numberIn(*watcher->frame()), damagedFrom);
    camera->setDamaged(false);
    EXPECT_TRUE(watcher->seesNumberFrom(static_cast<std::uint32_t>(damagedFrom) + 6));
}

TEST_F(PipeWireCameraTest, passesOverACameraThatAgreesOnNothing) {
    // A size beyond all bounds is the one thing that we refuse.
    const auto stubborn =
        plugIn({.name = "stubborn", .offers = {format(CameraLayout::yuy2, 20000, 2)}, .priority = 3000});
    const auto other = plugIn({.name = "other", .offers = {format(CameraLayout::yuy2)}, .priority = 10});
    ASSERT_TRUE(stubborn && other);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    EXPECT_TRUE(watcher->seesNumberFrom(1));
    EXPECT_TRUE(other->sends());
}

TEST_F(PipeWireCameraTest, takesAnotherOneWhileItsOwnIsBusy) {
    const auto busy = plugIn({.name = "busy",
                              .offers = {format(CameraLayout::yuy2)},
                              .priority = 3000,
                              .firstNumber = 20000,
                              .isBusy = true});
    const auto other = plugIn({.name = "other", .offers = {format(CameraLayout::yuy2)}, .priority = 10});
    ASSERT_TRUE(busy && other);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(1));
    EXPECT_GE(busy->refusals(), 1);
    EXPECT_LT(*numberIn(*watcher->frame()), 20000U);
}

TEST_F(PipeWireCameraTest, triesTheOnlyOneAgainUntilItStarts) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}, .isStuck = true});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach()) << "there is one";
    watcher->start();
    ASSERT_TRUE(eventually([&] { return camera->isOn(); }));
    EXPECT_EQ(watcher->frameCount(), 0);
    camera->setStuck(false); // which helps only those who come anew
    EXPECT_TRUE(watcher->seesNumberFrom(1));
}

TEST_F(PipeWireCameraTest, takesOneThatItMayNotUseAnyMoreForUnplugged) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(3));
    // What a session's access control does: the server itself refuses.
    const std::string node = std::to_string(CameraDirectory(watcher->nodes).defaultCamera()->id);
    std::string client;
    {
        PipeWireConnection& line = watcher->nodes->connection();
        const PipeWireConnection::Lock lock(line);
        client = std::to_string(pw_proxy_get_bound_id(reinterpret_cast<pw_proxy*>(pw_core_get_client(line.core()))));
    }
    const auto permit = [&](const char* permissions) {
        const auto command = server->run({"pw-cli", "permissions", client, node, permissions});
        return command && command->wait() == 0;
    };
    ASSERT_TRUE(permit("0"));
    ASSERT_TRUE(eventually([&] { return !isKnown("test-camera"); }));
    EXPECT_TRUE(numberIn(*watcher->frame())) << "the last picture stays";
    EXPECT_TRUE(eventually([&] { return !camera->isOn(); }));
    EXPECT_FALSE(PipeWireCamera::make(watcher->nodes, watcher->queue, {})) << "for whoever comes new there is none";
    const auto last = static_cast<std::uint32_t>(camera->latestNumber());
    ASSERT_TRUE(permit("456")); // reading, writing, calling and metadata: 0710
    EXPECT_TRUE(watcher->seesNumberFrom(last + 1));
}

TEST_F(PipeWireCameraTest, keepsOnlyTheNewestWhenItsReaderIsSlow) {
    const auto camera = plugIn({.offers = {format(CameraLayout::yuy2, 320, 240, 60)}});
    ASSERT_TRUE(camera);
    ASSERT_TRUE(watcher->attach());
    watcher->start();
    ASSERT_TRUE(watcher->seesNumberFrom(2));
    int before = 0;
    std::uint64_t number = 0;
    watcher->queue.sync([&] {
        before = watcher->frameCount();
        // Meanwhile a dozen pictures come.
        const std::uint64_t first = camera->latestNumber();
        EXPECT_TRUE(eventually([&] { return camera->latestNumber() > first + 12; }));
        number = camera->latestNumber();
    });
    ASSERT_TRUE(eventually([&] { return watcher->frameCount() > before; }));
    // What was missed does not come one after the other: the very next one is new. Two may be on their way.
    EXPECT_GE(watcher->numberOf(before) + 2, number);
}

} // namespace
} // namespace quillet
