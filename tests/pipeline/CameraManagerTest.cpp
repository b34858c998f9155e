#include "pipeline/CameraManager.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

namespace quillet {
namespace {

/// A camera that shows what the test gives it.
struct Stage {
    struct Camera : CaptureDevice {
        explicit Camera(Stage& owner) : stage(owner) {}
        ~Camera() override { ++stage.destroyed; }
        void start() override { ++stage.starts; }
        void stop() override { ++stage.stops; }
        Stage& stage;
    };
    [[nodiscard]] CaptureDeviceFactories factories() {
        return {.camera = [this](SerialQueue& ownQueue, auto onFrame) -> std::unique_ptr<CaptureDevice> {
                    ++asked;
                    if (!isThere) return nullptr;
                    queue = &ownQueue;
                    receive = std::move(onFrame);
                    return std::make_unique<Camera>(*this);
                },
                .microphone = {}};
    }
    void show(const ConstPixelBufferRef& frame) {
        queue->sync([&] { receive(frame); });
    }

    bool isThere = true;
    int asked = 0;
    std::atomic<int> starts = 0, stops = 0, destroyed = 0;
    SerialQueue* queue = nullptr;
    std::function<void(ConstPixelBufferRef)> receive;
};

PixelBufferRef picture() { return PixelBuffer::make(4, 4); }

TEST(CameraManager, attachesACameraOnce) {
    Stage stage;
    CameraManager manager(stage.factories());
    EXPECT_FALSE(manager.cameraAttached());
    EXPECT_TRUE(manager.attachCamera());
    EXPECT_TRUE(manager.attachCamera());
    EXPECT_TRUE(manager.cameraAttached());
    EXPECT_EQ(stage.asked, 1);
}

TEST(CameraManager, saysThatThereIsNoCameraAndAsksAgain) {
    Stage stage;
    stage.isThere = false;
    CameraManager manager(stage.factories());
    EXPECT_FALSE(manager.attachCamera());
    EXPECT_FALSE(manager.cameraAttached());
    stage.isThere = true;
    EXPECT_TRUE(manager.attachCamera());
    EXPECT_FALSE(CameraManager({}).attachCamera());
}

TEST(CameraManager, startsAndStopsOncePerTurnAndOnlyWhatIsAttached) {
    Stage stage;
    {
        CameraManager manager(stage.factories());
        manager.start();
        ASSERT_TRUE(manager.attachCamera());
        stage.queue->sync([] {});
        EXPECT_EQ(stage.starts, 0) << "nothing was attached then";
        manager.stop();
        manager.start();
        manager.start();
        manager.stop();
        manager.stop();
        manager.start();
        stage.queue->sync([] {});
        EXPECT_EQ(stage.starts, 2);
        EXPECT_EQ(stage.stops, 1);
    }
    EXPECT_EQ(stage.destroyed, 1);
}

TEST(CameraManager, keepsOnlyTheNewestPicture) {
    Stage stage;
    CameraManager manager(stage.factories());
    ASSERT_TRUE(manager.attachCamera());
    EXPECT_FALSE(manager.latestFrame());
    std::vector<std::weak_ptr<const PixelBuffer>> shown;
    for (int i = 0; i < 5; ++i) {
        const PixelBufferRef frame = picture();
        stage.show(frame);
        EXPECT_EQ(manager.latestFrame(), frame);
        shown.push_back(frame);
    }
    stage.show(nullptr);
    EXPECT_EQ(manager.latestFrame(), shown.back().lock()) << "nothing is no picture";
    shown.pop_back();
    for (const auto& older : shown)
        EXPECT_TRUE(older.expired());
}

TEST(CameraManager, tellsEachPictureOnItsQueueOnceItIsTheLatest) {
    Stage stage;
    CameraManager manager(stage.factories());
    ASSERT_TRUE(manager.attachCamera());
    std::vector<ConstPixelBufferRef> told;
    manager.setOnCameraFrame([&](const ConstPixelBufferRef& frame) {
        EXPECT_TRUE(stage.queue->isCurrent());
        EXPECT_EQ(manager.latestFrame(), frame);
        told.push_back(frame);
    });
    const ConstPixelBufferRef first = picture();
    const ConstPixelBufferRef second = picture();
    stage.show(first);
    stage.show(nullptr);
    stage.show(second);
    EXPECT_EQ(told, (std::vector{first, second}));
    manager.setOnCameraFrame({});
    stage.show(picture());
    EXPECT_EQ(told.size(), 2U);
}

} // namespace
} // namespace quillet
