// What every source of system sound promises, whichever backend it is.

#include "pipeline/PacedAudioSource.h"
#include "platform/synthetic/SyntheticSound.h"
#include "tests/fakes/SoundDevice.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace quillet {
namespace {

struct Backend {
    const char* name;
    SystemAudioSourceFactory factory;
};

SystemAudioSourceFactory silence() {
    return [](SerialQueue& queue, std::function<void(AudioSampleBuffer)> onBuffer) {
        return std::make_unique<PacedAudioSource>(queue, PacedAudioSource::Options{.onBuffer = std::move(onBuffer)});
    };
}

class SystemAudioContract : public ::testing::TestWithParam<Backend> {
protected:
    ~SystemAudioContract() override { end(); }

    void begin() {
        before = mediaTimeNow();
        queue.sync([this] {
            source = GetParam().factory(queue, [this](const AudioSampleBuffer& buffer) {
                const std::lock_guard guard(mutex);
                isOnQueue = isOnQueue && queue.isCurrent();
                isCommon = isCommon && buffer.format == commonAudioFormat && buffer.frames > 0;
                isFromTheFuture = isFromTheFuture || buffer.presentationTime + MediaTime{buffer.frames, 48000} >
                                                         mediaTimeNow() + MediaTime{1, 1000};
                heard.add(buffer);
            });
        });
    }
    void end() {
        queue.sync([this] { source.reset(); });
    }
    [[nodiscard]] std::int64_t frames() {
        const std::lock_guard guard(mutex);
        return heard.frames();
    }
    [[nodiscard]] double heardUntil() {
        const std::lock_guard guard(mutex);
        return heard.startSeconds() + static_cast<double>(heard.frames()) / 48000;
    }

    MediaTime before;
    std::mutex mutex; // guards what follows
    fakes::HeardSound heard;
    bool isOnQueue = true;
    bool isCommon = true;
    bool isFromTheFuture = false;
    SerialQueue queue{"test.sound"};
    std::unique_ptr<SystemAudioSource> source;
};

TEST_P(SystemAudioContract, joinsItsBuffersInTheCommonFormat) {
    begin();
    ASSERT_TRUE(source);
    EXPECT_TRUE(testing::eventually([&] { return frames() > 48'000; }));
    end();
    EXPECT_TRUE(heard.isContiguous && isOnQueue && isCommon);
    EXPECT_FALSE(isFromTheFuture);
    EXPECT_GE(heard.startSeconds(), before.seconds() - 0.001);
}

TEST_P(SystemAudioContract, isDrainedUpToTheMoment) {
    begin();
    EXPECT_TRUE(testing::eventually([&] { return mediaTimeNow() > before + MediaTime{1, 4}; }));
    const MediaTime moment = mediaTimeNow();
    queue.sync([this] { source->drain(); });
    EXPECT_GE(heardUntil(), moment.seconds() - 0.001);
    EXPECT_TRUE(heard.isContiguous);
}

TEST_P(SystemAudioContract, saysNothingAfterItsEnd) {
    begin();
    EXPECT_TRUE(testing::eventually([&] { return frames() > 0; }));
    end();
    const std::int64_t then = frames();
    const auto later = SerialQueue::Clock::now() + 2 * PacedAudioSource::interval;
    EXPECT_TRUE(testing::eventually([&] { return SerialQueue::Clock::now() > later; }));
    queue.sync([] {});
    EXPECT_EQ(frames(), then);
}

INSTANTIATE_TEST_SUITE_P(Backends, SystemAudioContract,
                         ::testing::Values(Backend{"silence", silence()},
                                           Backend{"synthetic", syntheticSystemAudioFactory()}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace quillet
