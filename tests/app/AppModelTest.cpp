#include "app/AppModel.h"

#include "tests/fakes/FakeScreenSource.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace quillet {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;

/// A model on a fake display of 640 by 360 pixels, writing real files into a folder of its own.
class AppModelTest : public testing::Test {
protected:
    AppModelTest() {
        screens.screens.push_back({.name = "fake",
                                   .frame = {0, 0, 640, 360},
                                   .visibleFrame = {0, 0, 640, 360},
                                   .displayID = 5,
                                   .pixelSize = {640, 360}});
        environment = {.screenSource = stage.factory(),
                       .mainQueue = mainQueue.queue(),
                       .screens = [this] { return screens; },
                       .region =
                           [] {
                               return Rect{0, 0, 640, 360};
                           },
                       .desktopFolder = [this] { return desktop; },
                       .reveal = [this](const std::filesystem::path& file) { revealed.push_back(file); }};
    }

    void makeModel() {
        model = AppModel::make(environment);
        model->onChange = [this] {
            if (lines.empty() || lines.back() != model->statusText()) lines.push_back(model->statusText());
        };
    }
    [[nodiscard]] bool reaches(const std::string& beginning) {
        return mainQueue.runUntil([&] { return model->statusText().starts_with(beginning); });
    }

    fakes::TemporaryFolder folder;
    std::filesystem::path desktop = folder.path();
    fakes::ScreenStage stage;
    fakes::ManualMainQueue mainQueue;
    ScreenList screens;
    AppEnvironment environment;
    std::shared_ptr<AppModel> model;
    std::vector<std::string> lines;
    std::vector<std::filesystem::path> revealed;
};

TEST_F(AppModelTest, tellsEveryStepOfARecordingAndRevealsItsFile) {
    makeModel();
    EXPECT_EQ(model->statusText(), "选择范围，开摄像头摆头像，然后开始。");
    EXPECT_FALSE(model->isRecording());

    model->toggleRecording();
    EXPECT_EQ(model->statusText(), "启动中…");
    EXPECT_FALSE(model->isRecording());
    ASSERT_TRUE(reaches("● 录制中"));
    EXPECT_TRUE(model->isRecording());

    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    model->toggleRecording();
    EXPECT_FALSE(model->isRecording());
    ASSERT_TRUE(reaches("已保存："));
    EXPECT_FALSE(model->hasSession());

    ASSERT_EQ(revealed.size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(revealed[0]));
    EXPECT_EQ(revealed[0].parent_path(), desktop);
    EXPECT_THAT(revealed[0].filename().string(), MatchesRegex("Quillet-[0-9]{8}-[0-9]{6}\\.mp4"));
    EXPECT_THAT(lines, ElementsAre("启动中…", "● 录制中…  点击停止结束。", "正在导出…",
                                   "已保存：" + revealed[0].filename().string() + "（桌面）"));
}

TEST_F(AppModelTest, withoutScreensThereIsNoRegion) {
    screens.screens.clear();
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(model->statusText(), "无法确定录制区域。");
    EXPECT_FALSE(model->hasSession());
}

TEST_F(AppModelTest, aFolderThatCannotBeWrittenToEndsInAClearLine) {
    desktop = folder.path() / "missing";
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(model->statusText(), "无法创建录制会话。");
    EXPECT_FALSE(model->hasSession());

    desktop.clear();
    model->toggleRecording();
    EXPECT_EQ(model->statusText(), "无法创建录制会话。");
}

TEST_F(AppModelTest, saysWhyCaptureDidNotStartAndLeavesNoFile) {
    stage.refusal = Error{"Quillet", 1, "No capturable display found."};
    makeModel();
    model->toggleRecording();
    ASSERT_TRUE(reaches("启动失败："));
    EXPECT_EQ(model->statusText(), "启动失败：No capturable display found.");
    EXPECT_FALSE(model->isRecording());
    EXPECT_FALSE(model->hasSession());
    EXPECT_TRUE(std::filesystem::is_empty(desktop));

    stage.refusal.reset();
    model->toggleRecording();
    EXPECT_TRUE(reaches("● 录制中")) << "the button still offers to start";
}

TEST_F(AppModelTest, aRecordingWithoutAFrameIsAnUnknownError) {
    makeModel();
    model->toggleRecording();
    ASSERT_TRUE(reaches("● 录制中"));
    model->toggleRecording();
    ASSERT_TRUE(reaches("导出失败："));
    EXPECT_EQ(model->statusText(), "导出失败：未知错误");
    EXPECT_TRUE(revealed.empty());
    EXPECT_TRUE(std::filesystem::is_empty(desktop));
}

TEST_F(AppModelTest, aDisplayThatGoesAwayStopsTheRecordingAndKeepsIt) {
    makeModel();
    model->toggleRecording();
    ASSERT_TRUE(reaches("● 录制中"));
    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    stage.lose({"x11", 1, "The X server is gone."});
    ASSERT_TRUE(reaches("已保存："));
    EXPECT_FALSE(model->isRecording());
    EXPECT_EQ(revealed.size(), 1u);
}

TEST_F(AppModelTest, teardownStopsARunningRecordingOnly) {
    makeModel();
    model->teardown();
    EXPECT_FALSE(model->hasSession());
    model->toggleRecording();
    ASSERT_TRUE(reaches("● 录制中"));
    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    bool ended = false;
    model->onSessionEnded = [&] { ended = true; };
    model->teardown();
    EXPECT_TRUE(model->hasSession());
    ASSERT_TRUE(mainQueue.runUntil([&] { return ended; }));
    EXPECT_THAT(model->statusText(), StartsWith("已保存："));
}

TEST_F(AppModelTest, mayBeGoneWhenItsRecordingEnds) {
    makeModel();
    model->toggleRecording();
    ASSERT_TRUE(reaches("● 录制中"));
    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    model->toggleRecording();
    model.reset();
    // The session goes with the model; what was recorded stays.
    EXPECT_FALSE(std::filesystem::is_empty(desktop));
}

} // namespace
} // namespace quillet
