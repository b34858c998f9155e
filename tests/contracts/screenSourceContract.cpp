// What every screen source owes its receiver, whichever window system it serves.
#include "platform/synthetic/SyntheticScreenSource.h"
#include "platform/x11/XScreenSource.h"
#include "tests/fakes/FrameReceiver.h"
#include "tests/fakes/x11/VirtualXServer.h"
#include "tests/fakes/x11/XPainter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string_view>
#include <thread>

namespace quillet::testing {
namespace {

using ::testing::IsEmpty;

constexpr Size size{320, 240};

/// A place where one backend runs and whose picture the test can change.
class Stage {
public:
    virtual ~Stage() = default;
    [[nodiscard]] virtual ScreenSourceFactory factory() const = 0;
    [[nodiscard]] virtual std::uint32_t displayID() const = 0;
    /// Changes the picture, so that a frame follows sooner or later. `source` may be null: then it has been destroyed.
    virtual void change(FrameReceiver& receiver) = 0;
};

class SyntheticStage final : public Stage {
public:
    explicit SyntheticStage(SyntheticDrive wanted) : drive(wanted) {}
    ScreenSourceFactory factory() const override { return syntheticScreenSourceFactory(drive); }
    std::uint32_t displayID() const override { return 1; }
    void change(FrameReceiver& receiver) override {
        if (drive == SyntheticDrive::timer) return; // changes by itself
        receiver.queue.sync([&] {
            if (receiver.source) dynamic_cast<SyntheticScreenSource&>(*receiver.source).step();
        });
    }

private:
    SyntheticDrive drive;
};

class XStage final : public Stage {
public:
    explicit XStage(std::vector<std::string> serverArguments)
        : server(VirtualXServer::start(
              {static_cast<int>(size.width), static_cast<int>(size.height), 24, std::move(serverArguments)})),
          painter(server->displayName()), window(painter.addWindow({40, 30, 100, 80}, 1)) {}
    ScreenSourceFactory factory() const override {
        return xScreenSourceFactory({.displayName = server->displayName()});
    }
    std::uint32_t displayID() const override { return painter.monitors().front().id; }
    void change(FrameReceiver&) override {
        ++seed;
        painter.repaint(window, seed);
        painter.move(window, static_cast<int>(seed * 7 % 200), static_cast<int>(seed * 5 % 150));
    }

private:
    std::unique_ptr<VirtualXServer> server;
    XPainter painter;
    std::size_t window;
    std::uint32_t seed = 1;
};

struct Backend {
    const char* name;
    std::unique_ptr<Stage> (*make)();
};

class ScreenSourceContract : public ::testing::TestWithParam<Backend> {
protected:
    std::unique_ptr<Stage> stage = GetParam().make();
};

TEST_P(ScreenSourceContract, deliversTheFirstFrameAtOnceAndWhole) {
    FrameReceiver receiver;
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size)) << receiver.error().description;
    ASSERT_TRUE(receiver.waitForCount(1));
    EXPECT_FALSE(receiver.damageOf(1).has_value());
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST_P(ScreenSourceContract, numbersItsFramesWithoutGapsAndCoversEveryChangeByDamage) {
    FrameReceiver receiver;
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size));
    for (std::uint64_t n = 1; n <= 25; ++n) {
        ASSERT_TRUE(receiver.waitForCount(n));
        stage->change(receiver);
    }
    receiver.stop();
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST_P(ScreenSourceContract, keepsToTheFrameRate) {
    if (std::string_view(GetParam().name) == "stepped") GTEST_SKIP() << "the test itself is its clock";
    constexpr int fps = 25;
    constexpr std::int64_t interval = liveTimescale / fps;
    FrameReceiver receiver;
    std::atomic<bool> enough = false;
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size, fps));
    std::thread busy([&] {
        while (!enough) {
            stage->change(receiver);
            std::this_thread::yield();
        }
    });
    const bool arrived = receiver.waitForCount(20);
    enough = true;
    busy.join();
    receiver.stop();
    ASSERT_TRUE(arrived);
    const std::vector<std::int64_t> times = receiver.times();
    // Frames stand on a grid, and a timer may be late by up to a quarter of a step before the grid moves.
    for (std::size_t first = 0; first < times.size(); ++first)
        for (std::size_t last = first + 1; last < times.size(); ++last)
            EXPECT_GE(times[last] - times[first], static_cast<std::int64_t>(last - first) * interval - interval / 4 - 1)
                << "from frame " << first + 1 << " to frame " << last + 1;
}

TEST_P(ScreenSourceContract, callsNothingAfterItsDestruction) {
    FrameReceiver receiver;
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size));
    ASSERT_TRUE(receiver.waitForCount(1));
    stage->change(receiver);
    receiver.stop();
    const std::uint64_t count = receiver.count();
    stage->change(receiver);
    receiver.queue.sync([] {});
    stage->change(receiver);
    receiver.queue.sync([] {});
    EXPECT_EQ(receiver.count(), count);
    EXPECT_EQ(receiver.losses(), 0);
}

TEST_P(ScreenSourceContract, mayBeDestroyedByItsReceiver) {
    std::atomic<bool> destroyed = false;
    FrameReceiver* self = nullptr;
    FrameReceiver receiver({[&](const ConstPixelBufferRef& frame) {
        if (frame->sequence != 3) return;
        self->source.reset();
        destroyed = true;
    }});
    self = &receiver;
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size));
    for (std::uint64_t n = 1; n <= 3; ++n) {
        ASSERT_TRUE(receiver.waitForCount(n));
        stage->change(receiver);
    }
    receiver.queue.sync([] {});
    EXPECT_TRUE(destroyed);
    EXPECT_EQ(receiver.count(), 3U);
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST_P(ScreenSourceContract, neverOverwritesALentFrame) {
    std::vector<std::pair<ConstPixelBufferRef, Picture>> kept; // the queue's until stop()
    std::uint64_t letGo = 0;
    FrameReceiver receiver({[&](const ConstPixelBufferRef& frame) {
        // Keeps three frames at a time, as an encoder's queue does, and lets the oldest go.
        kept.emplace_back(frame, Picture::of(*frame));
        if (kept.size() < 4) return;
        EXPECT_EQ(Picture::of(*kept.front().first), kept.front().second);
        kept.erase(kept.begin());
        ++letGo;
    }});
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size));
    for (std::uint64_t n = 1; n <= 20; ++n) {
        ASSERT_TRUE(receiver.waitForCount(n));
        stage->change(receiver);
    }
    receiver.stop();
    for (const auto& [frame, picture] : kept)
        EXPECT_EQ(Picture::of(*frame), picture);
    EXPECT_GE(letGo, 16U);
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST_P(ScreenSourceContract, goesOnOnceAReceiverThatHeldEverythingLetsGo) {
    std::vector<ConstPixelBufferRef> kept;
    FrameReceiver receiver({[&](const ConstPixelBufferRef& frame) {
        if (frame->sequence <= FrameCycle::capacity) kept.push_back(frame);
    }});
    ASSERT_TRUE(receiver.start(stage->factory(), stage->displayID(), size));
    for (std::uint64_t n = 1; n <= FrameCycle::capacity; ++n) {
        ASSERT_TRUE(receiver.waitForCount(n));
        stage->change(receiver);
    }
    for (int change = 0; change < 5; ++change) // none of these can be delivered
        stage->change(receiver);
    receiver.queue.sync([] {});
    EXPECT_EQ(receiver.count(), FrameCycle::capacity);
    receiver.queue.sync([&] { kept.clear(); });
    stage->change(receiver);
    EXPECT_TRUE(receiver.waitForCount(FrameCycle::capacity + 1));
    receiver.stop();
    EXPECT_THAT(receiver.problems(), IsEmpty());
}

TEST_P(ScreenSourceContract, knowsNoDisplayWithoutANumber) {
    FrameReceiver receiver;
    EXPECT_FALSE(receiver.start(stage->factory(), 0, size));
    EXPECT_EQ(receiver.error(), (Error{"Quillet", 1, "No capturable display found."}));
}

TEST_P(ScreenSourceContract, refusesAFrameWithoutPixels) {
    FrameReceiver receiver;
    EXPECT_FALSE(receiver.start(stage->factory(), stage->displayID(), {0.5, 240}));
    EXPECT_EQ(receiver.error().code, 5);
}

template <SyntheticDrive drive>
std::unique_ptr<Stage> synthetic() {
    return std::make_unique<SyntheticStage>(drive);
}
std::unique_ptr<Stage> x11() { return std::make_unique<XStage>(std::vector<std::string>{}); }
template <const auto& extension>
std::unique_ptr<Stage> x11Without() {
    return std::make_unique<XStage>(std::vector<std::string>{"-extension", extension});
}
constexpr char shm[] = "MIT-SHM";
constexpr char damage[] = "DAMAGE";
constexpr char fixes[] = "XFIXES";

INSTANTIATE_TEST_SUITE_P(Backends, ScreenSourceContract,
                         ::testing::Values(Backend{"synthetic", synthetic<SyntheticDrive::timer>},
                                           Backend{"stepped", synthetic<SyntheticDrive::stepped>}, Backend{"x11", x11},
                                           Backend{"x11WithoutSharedMemory", x11Without<shm>},
                                           Backend{"x11WithoutDamage", x11Without<damage>},
                                           Backend{"x11WithoutFixes", x11Without<fixes>}),
                         [](const auto& each) { return std::string(each.param.name); });

} // namespace
} // namespace quillet::testing
