#include "tests/app/AppStage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// The settings and the tools.
class AppModelTest : public fakes::AppStage {
protected:
    [[nodiscard]] bool camera(const std::string& awaited) {
        return mainQueue.runUntil([&] { return diary.has(awaited); });
    }
};

TEST_F(AppModelTest, beginsWithTheDefaultsAndWritesNothing) {
    makeModel();
    const AppState& state = model->state();
    EXPECT_EQ(state.rangeMode, RangeMode::ratio16x9);
    EXPECT_FALSE(state.cameraEnabled);
    EXPECT_TRUE(state.micEnabled);
    EXPECT_EQ(state.quality, ExportQuality::high);
    EXPECT_FALSE(state.teleprompterEnabled);
    EXPECT_FALSE(state.beautifyEnabled);
    EXPECT_EQ(state.backgroundIndex, 0);
    EXPECT_EQ(state.cornerRadius, 0.045);
    EXPECT_EQ(state.padding, 0.06);
    EXPECT_TRUE(state.shadowEnabled);
    EXPECT_FALSE(state.isRecording);
    EXPECT_EQ(state.statusText, "选择范围，开摄像头摆头像，然后开始。");
    model->onLaunch();
    environment.settings->flush();
    EXPECT_FALSE(std::filesystem::exists(settingsFile)) << "a first launch leaves no settings";
}

TEST_F(AppModelTest, atLaunchShowsTheRangeWhereTheRegionIs) {
    regionFrame = {700, 10, 100, 100};
    makeModel();
    EXPECT_THAT(diary.take(), IsEmpty());
    model->onLaunch();
    EXPECT_THAT(diary.take(), ElementsAre("region: apply 16:9 横 on screen1", "region: front", "region: handles",
                                          "region: front", "region: handles"));
}

TEST_F(AppModelTest, placesTheChosenRangeAndKeepsIt) {
    makeModel();
    model->selectRange(RangeMode::fullscreen);
    EXPECT_EQ(model->state().rangeMode, RangeMode::fullscreen);
    EXPECT_THAT(diary.take(), ElementsAre("region: apply 全屏 on screen0", "region: front", "region: handles"));
    environment.settings->flush();
    EXPECT_EQ(SettingsStore(settingsFile).text("Quillet.rangeMode"), "全屏");
}

TEST_F(AppModelTest, takesTheMainScreenWhenTheRegionIsOnNone) {
    regionFrame = {-900, -900, 100, 100};
    screens.mainIndex = 1;
    makeModel();
    model->selectRange(RangeMode::free);
    EXPECT_EQ(diary.take().front(), "region: apply 自由框选 on screen1");

    screens.mainIndex.reset();
    model->selectRange(RangeMode::free);
    EXPECT_EQ(diary.take().front(), "region: apply 自由框选 on screen0") << "without a main screen the first";
}

TEST_F(AppModelTest, announcesAChangeWhileTheOldValueStands) {
    makeModel();
    std::vector<double> seen;
    model->onWillChange = [&] { seen.push_back(model->state().padding); };
    model->setPadding(0.1);
    model->setPadding(0.02);
    EXPECT_THAT(seen, ElementsAre(0.06, 0.1));
    EXPECT_EQ(model->state().padding, 0.02);
}

TEST_F(AppModelTest, writesAllEightKeysWithEveryChangeOfOne) {
    makeModel();
    model->setPadding(0.1);
    environment.settings->flush();
    const SettingsStore store(settingsFile);
    EXPECT_EQ(store.text("Quillet.rangeMode"), "16:9 横");
    EXPECT_EQ(store.text("Quillet.quality"), "高");
    EXPECT_EQ(store.real("Quillet.padding"), 0.1);
    EXPECT_EQ(store.real("Quillet.cornerRadius"), 0.045);
    for (const char* key : {"Quillet.micEnabled", "Quillet.shadowEnabled"})
        EXPECT_TRUE(store.boolean(key)) << key;
    for (const char* key : {"Quillet.beautifyEnabled", "Quillet.backgroundIndex"}) {
        EXPECT_TRUE(store.contains(key)) << key;
        EXPECT_EQ(store.integer(key), 0) << key;
    }
    EXPECT_FALSE(store.contains("Quillet.cameraEnabled"));
}

TEST_F(AppModelTest, remembersEachKeptFieldAndNothingElse) {
    makeModel();
    model->selectRange(RangeMode::ratio3x4);
    model->setMicEnabled(false);
    model->setQuality(ExportQuality::ultra);
    model->setBeautifyEnabled(true);
    model->setBackgroundIndex(7);
    model->setCornerRadius(0.2);
    model->setPadding(0);
    model->setShadowEnabled(false);
    model->setCameraEnabled(true);
    model->setTeleprompterEnabled(true);
    AppState expected = model->state();
    expected.cameraEnabled = expected.teleprompterEnabled = false;

    environment.settings->flush();
    environment.settings = std::make_shared<SettingsStore>(settingsFile);
    EXPECT_EQ(AppModel::make(environment)->state(), expected);
}

TEST_F(AppModelTest, ignoresRangeAndQualityThatDoNotExist) {
    environment.settings->write({{"Quillet.rangeMode", "fullscreen"}, {"Quillet.quality", "ultra"}});
    makeModel();
    EXPECT_EQ(model->state().rangeMode, RangeMode::ratio16x9);
    EXPECT_EQ(model->state().quality, ExportQuality::high);
}

TEST_F(AppModelTest, takesFractionsAndIndicesAsTheyAreAndStillRecords) {
    using Value = SettingsStore::Value;
    const std::vector<Value> junk{
        std::string("no number"), std::string(), std::int64_t{-5}, std::int64_t{1} << 62, -1e308, 1e308, true,
        std::string("nan")};
    for (const Value& value : junk) {
        environment.settings->write({{"Quillet.beautifyEnabled", true},
                                     {"Quillet.micEnabled", false},
                                     {"Quillet.backgroundIndex", value},
                                     {"Quillet.cornerRadius", value},
                                     {"Quillet.padding", value},
                                     {"Quillet.shadowEnabled", value}});
        makeModel();
        EXPECT_EQ(model->state().padding, environment.settings->real("Quillet.padding"));
        EXPECT_EQ(model->state().backgroundIndex, environment.settings->integer("Quillet.backgroundIndex"));
        ASSERT_NO_FATAL_FAILURE(record());
        model->toggleRecording();
        EXPECT_TRUE(reaches("已保存：")) << statusText();
    }
}

TEST_F(AppModelTest, picksAnotherBackgroundEachTime) {
    makeModel();
    draw = 4;
    model->randomBackground();
    EXPECT_EQ(model->state().backgroundIndex, 4);
    model->randomBackground();
    EXPECT_EQ(model->state().backgroundIndex, 5);
    model->setBackgroundIndex(8);
    draw = 8;
    model->randomBackground();
    EXPECT_EQ(model->state().backgroundIndex, 0);
    environment.settings->flush();
    EXPECT_EQ(SettingsStore(settingsFile).integer("Quillet.backgroundIndex"), 0);
}

TEST_F(AppModelTest, opensTheBubbleWithARunningCamera) {
    makeModel();
    model->setCameraEnabled(true);
    EXPECT_TRUE(model->state().cameraEnabled);
    EXPECT_EQ(bubble, nullptr) << "the answer comes through the main queue";
    ASSERT_TRUE(camera("bubble: front, wired"));
    ASSERT_TRUE(camera("camera: attach"));
    std::vector<std::string> happened = diary.take();
    std::erase(happened, "camera: start"); // on a thread of its own
    EXPECT_THAT(happened,
                ElementsAre("camera: attach", "bubble: make", "bubble: place on screen0", "bubble: front, wired"));

    model->setCameraEnabled(false);
    EXPECT_FALSE(model->state().cameraEnabled);
    EXPECT_EQ(bubble, nullptr);
    EXPECT_TRUE(diary.has("bubble: out"));
    EXPECT_TRUE(bubbleManager.expired());
    EXPECT_TRUE(diary.has("camera: stop"));
}

TEST_F(AppModelTest, switchesTheCameraOffAgainWhenThereIsNone) {
    hasCamera = false;
    makeModel();
    model->setCameraEnabled(true);
    ASSERT_TRUE(reaches("无法访问摄像头"));
    EXPECT_EQ(model->state().statusText, "无法访问摄像头（检查系统设置里的相机权限）。");
    EXPECT_FALSE(model->state().cameraEnabled);
    EXPECT_EQ(bubble, nullptr);
}

TEST_F(AppModelTest, asksForTheCameraWhereItMust) {
    std::function<void()> answer;
    environment.cameraAccess = [&](std::function<void()> handler) { answer = std::move(handler); };
    makeModel();
    model->setCameraEnabled(true);
    EXPECT_TRUE(diary.take().empty());
    ASSERT_TRUE(answer);
    answer();
    EXPECT_TRUE(camera("bubble: front, wired"));
}

TEST_F(AppModelTest, forgetsAnAnswerThatComesTooLate) {
    std::vector<std::function<void()>> answers;
    environment.cameraAccess = [&](std::function<void()> handler) { answers.push_back(std::move(handler)); };
    makeModel();
    model->setCameraEnabled(true);
    model->setCameraEnabled(false);
    model->setCameraEnabled(true);
    ASSERT_EQ(answers.size(), 2U);
    answers[0]();
    answers[1]();
    ASSERT_TRUE(camera("bubble: front, wired"));
    const std::vector<std::string> happened = diary.take();
    EXPECT_EQ(std::ranges::count(happened, "bubble: make"), 1);

    model->setCameraEnabled(false);
    model->setCameraEnabled(true);
    model->teardownOverlays();
    answers[2]();
    bool cameThrough = false;
    environment.recording.mainQueue([&] { cameThrough = true; });
    ASSERT_TRUE(mainQueue.runUntil([&] { return cameThrough; }));
    EXPECT_EQ(bubble, nullptr);
}

TEST_F(AppModelTest, showsAndHidesTheTeleprompter) {
    makeModel();
    model->setTeleprompterEnabled(true);
    EXPECT_TRUE(model->state().teleprompterEnabled);
    EXPECT_THAT(diary.take(), ElementsAre("teleprompter: show on screen0"));
    model->setTeleprompterEnabled(false);
    EXPECT_FALSE(model->state().teleprompterEnabled);
    EXPECT_THAT(diary.take(), ElementsAre("teleprompter: out"));
}

using AppModelDeathTest = AppModelTest;

TEST_F(AppModelDeathTest, withoutAnyScreenNothingCanBePlaced) {
    screens.screens.clear();
    makeModel();
    EXPECT_DEATH(model->onLaunch(), "no screen at all");
}

} // namespace
} // namespace quillet
