#include "selftest/FilmReader.h"
#include "tests/app/AppStage.h"
#include "tests/fakes/x11/eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace quillet {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSubsetOf;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

class RecordingControlTest : public fakes::AppStage {
protected:
    [[nodiscard]] bool isIdle() {
        return mainQueue.runUntil([&] { return !model->isBusy(); });
    }
    [[nodiscard]] bool happens(const std::string& line) {
        return mainQueue.runUntil([&] { return diary.has(line); });
    }
    void switchCameraOn() {
        model->setCameraEnabled(true);
        ASSERT_TRUE(happens("bubble: front, wired"));
    }
};

TEST_F(RecordingControlTest, tellsEveryStepAndRevealsTheFile) {
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "启动中…");
    EXPECT_FALSE(model->state().isRecording);
    ASSERT_TRUE(reaches("● 录制中"));
    EXPECT_TRUE(model->state().isRecording);
    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    model->toggleRecording();
    EXPECT_EQ(statusText(), "正在导出…");
    EXPECT_FALSE(model->state().isRecording);
    ASSERT_TRUE(reaches("已保存："));
    EXPECT_FALSE(model->isBusy());

    ASSERT_EQ(revealed.size(), 1U);
    EXPECT_TRUE(std::filesystem::exists(revealed[0]));
    EXPECT_EQ(revealed[0].parent_path(), desktop);
    const std::string name = revealed[0].filename().string();
    EXPECT_THAT(name, MatchesRegex("Quillet-[0-9]{8}-[0-9]{6}\\.mp4"));
    EXPECT_THAT(lines(), ElementsAre("选择范围，开摄像头摆头像，然后开始。", "启动中…", "● 录制中…  点击停止结束。",
                                     "正在导出…", "已保存：" + name + "（桌面）"));
}

TEST_F(RecordingControlTest, doesEverythingInItsOrder) {
    hasMicrophone = false;
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    EXPECT_THAT(diary.take(), ElementsAre("microphone: missing", "session: make at 无法访问麦克风，将只录系统声音。",
                                          "awake", "region: recording on at 无法访问麦克风，将只录系统声音。",
                                          "region: recording off at 正在导出…", "may sleep"));
    EXPECT_THAT(statusText(), StartsWith("已保存："));
}

TEST_F(RecordingControlTest, hasNoCameraSourceWhenCameraAndMicrophoneAreOff) {
    makeModel();
    model->setMicEnabled(false);
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_EQ(optionsSeen->camera, nullptr);
    EXPECT_FALSE(optionsSeen->micEnabled);
    EXPECT_FALSE(diary.has("microphone: attach"));
}

TEST_F(RecordingControlTest, recordsTheMicrophoneWithoutAnyBubble) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    ASSERT_TRUE(optionsSeen->camera);
    EXPECT_TRUE(optionsSeen->camera->micAttached());
    EXPECT_FALSE(optionsSeen->camera->cameraAttached());
    EXPECT_EQ(optionsSeen->layout.cameraGlobal, std::nullopt);
    EXPECT_TRUE(optionsSeen->micEnabled);
}

TEST_F(RecordingControlTest, givesTheSessionWhatThePanelShows) {
    makeModel();
    model->setQuality(ExportQuality::low);
    regionFrame = {700, 40, 300, 200};
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_EQ(optionsSeen->layout.displayID, 6U);
    EXPECT_EQ(optionsSeen->layout.regionGlobal, (Rect{700, 40, 300, 200}));
    EXPECT_EQ(optionsSeen->quality, ExportQuality::low);
    EXPECT_EQ(optionsSeen->fps, 60);
    EXPECT_TRUE(optionsSeen->mirrorCamera);
    EXPECT_EQ(optionsSeen->beautify, std::nullopt);
    model->toggleRecording();
    ASSERT_TRUE(isIdle());

    model->setBeautifyEnabled(true);
    model->setBackgroundIndex(3);
    model->setCornerRadius(0.15);
    model->setPadding(0.09);
    model->setShadowEnabled(false);
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_EQ(optionsSeen->beautify, (BeautifySettings{3, 0.15, 0.09, false}));
}

TEST_F(RecordingControlTest, usesTheBubblesCameraAndLeavesItStopped) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(switchCameraOn());
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_EQ(optionsSeen->camera, bubbleManager.lock());
    EXPECT_TRUE(optionsSeen->camera->cameraAttached());
    EXPECT_EQ(optionsSeen->layout.cameraGlobal, (Rect{500, 20, 100, 100}));

    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    optionsSeen.reset();
    EXPECT_NE(bubble, nullptr) << "the bubble stays";
    EXPECT_TRUE(model->state().cameraEnabled);
    EXPECT_FALSE(bubbleManager.expired());
    model->setCameraEnabled(false); // after which its queue has run
    const std::vector<std::string> happened = diary.take();
    EXPECT_EQ(std::ranges::count(happened, "camera: attach"), 1);
    EXPECT_EQ(std::ranges::count(happened, "camera: start"), 1);
    EXPECT_EQ(std::ranges::count(happened, "camera: stop"), 1) << "by the recording's end, not by the switch";
}

TEST_F(RecordingControlTest, movesTheRecordedCircleWithTheBubble) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(switchCameraOn());
    bubble->onLiveMove({0, 0, 100, 100}); // without a recording nobody cares
    ASSERT_NO_FATAL_FAILURE(record());
    bubble->onLiveMove({10, 10, 100, 100});
    bubble->onFrameCommitted({10, 10, 120, 120});
    model->toggleRecording();
    EXPECT_TRUE(reaches("已保存："));
}

TEST_F(RecordingControlTest, leavesItsOwnWindowsOut) {
    makeModel();
    model->setMicEnabled(false);
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_THAT(stage.options()->excludeWindowIDs, ElementsAre(11, 12, 13, 41, 42));
    model->toggleRecording();
    ASSERT_TRUE(isIdle());

    ASSERT_NO_FATAL_FAILURE(switchCameraOn());
    model->setTeleprompterEnabled(true);
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_THAT(stage.options()->excludeWindowIDs, ElementsAre(11, 12, 13, 21, 31, 41, 42));
}

TEST_F(RecordingControlTest, withoutAScreenThereIsNoRegion) {
    screens.screens.clear();
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "无法确定录制区域。");
    EXPECT_FALSE(model->isBusy());
    EXPECT_FALSE(model->state().isRecording);
    EXPECT_TRUE(diary.take().empty()) << "no source was attached";
}

TEST_F(RecordingControlTest, asksForTheScreensOnceForEachRecording) {
    int asked = 0;
    environment.screens = [&] {
        ++asked;
        return screens;
    };
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    EXPECT_EQ(asked, 1);
}

TEST_F(RecordingControlTest, aFolderThatCannotBeWrittenToEndsInAClearLine) {
    desktop = folder.path() / "missing";
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "无法创建录制会话。");
    EXPECT_FALSE(model->isBusy());
    ASSERT_TRUE(diary.awaits("microphone: stop")) << "the microphone does not stay open";

    desktop.clear();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "无法创建录制会话。");
    EXPECT_FALSE(diary.has("awake"));
    EXPECT_FALSE(diary.has("region: recording on at 无法创建录制会话。"));
}

TEST_F(RecordingControlTest, saysWhyCaptureDidNotStartAndLeavesNoFile) {
    stage.refusal = Error{"Quillet", 1, "No capturable display found."};
    makeModel();
    model->setMicEnabled(false);
    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(statusText(), "启动失败：No capturable display found.");
    EXPECT_FALSE(model->state().isRecording);
    EXPECT_TRUE(std::filesystem::is_empty(desktop));
    EXPECT_THAT(diary.take(),
                ElementsAre("session: make at 选择范围，开摄像头摆头像，然后开始。", "awake",
                            "region: recording on at 选择范围，开摄像头摆头像，然后开始。",
                            "region: recording off at 启动失败：No capturable display found.", "may sleep"));

    stage.refusal.reset();
    model->toggleRecording();
    EXPECT_TRUE(reaches("● 录制中")) << "the button still offers to start";
}

TEST_F(RecordingControlTest, aRecordingWithoutAFrameIsAnUnknownError) {
    makeModel();
    model->toggleRecording();
    ASSERT_TRUE(reaches("● 录制中"));
    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    EXPECT_EQ(statusText(), "导出失败：未知错误");
    EXPECT_TRUE(revealed.empty());
    EXPECT_TRUE(std::filesystem::is_empty(desktop));
}

TEST_F(RecordingControlTest, aDisplayThatGoesAwayStopsTheRecordingAndKeepsIt) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    stage.lose({"x11", 1, "The X server is gone."});
    ASSERT_TRUE(reaches("已保存："));
    EXPECT_FALSE(model->state().isRecording);
    EXPECT_EQ(revealed.size(), 1U);
}

TEST_F(RecordingControlTest, aDisplayThatGoesAwayWhileTheFileIsCompletedChangesNothing) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    stage.lose({"x11", 1, "The X server is gone."}); // waits in the main queue
    model->toggleRecording();
    ASSERT_TRUE(reaches("已保存："));
    EXPECT_EQ(revealed.size(), 1U);
    EXPECT_FALSE(model->isBusy());
}

TEST_F(RecordingControlTest, saysThatRoomIsLittleUntilThereIsMore) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    onDiskCondition(mp4::DiskCondition::low);
    ASSERT_TRUE(reaches("● 录制中…  磁盘空间不足，请尽快停止或腾出空间。"));
    onDiskCondition(mp4::DiskCondition::ample);
    ASSERT_TRUE(reaches("● 录制中…  点击停止结束。"));
    EXPECT_TRUE(model->state().isRecording);
}

TEST_F(RecordingControlTest, completesTheFileWhileThereIsRoomForIt) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    onDiskCondition(mp4::DiskCondition::exhausted);
    ASSERT_TRUE(reaches("已保存："));
    ASSERT_EQ(revealed.size(), 1U);
    EXPECT_EQ(statusText(), "已保存：" + revealed[0].filename().string() + "（桌面）磁盘空间不足，录制已自动停止。");
    EXPECT_TRUE(filmPictureAt(revealed[0], {0, 1}));

    ASSERT_NO_FATAL_FAILURE(record());
    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    EXPECT_TRUE(statusText().ends_with("（桌面）")) << "the next one was stopped by the user";
}

TEST_F(RecordingControlTest, stopsWhenTheDiskFails) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    onDiskCondition(mp4::DiskCondition::failed);
    EXPECT_TRUE(reaches("已保存：")) << "all was written before";
}

TEST_F(RecordingControlTest, theDiskOfTheLastRecordingDoesNotStopTheNext) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    const auto lastOnes = onDiskCondition;
    model->toggleRecording();
    ASSERT_TRUE(isIdle());
    ASSERT_NO_FATAL_FAILURE(record());
    lastOnes(mp4::DiskCondition::failed);
    onDiskCondition(mp4::DiskCondition::low); // comes after it
    ASSERT_TRUE(reaches("● 录制中…  磁盘空间不足"));
    EXPECT_TRUE(model->state().isRecording);
}

TEST_F(RecordingControlTest, waitsForAFolderThatAnswersLate) {
    std::function<void(std::shared_ptr<RecordingFile>)> answer;
    environment.makeFile = [&](const auto&, auto then) { answer = std::move(then); };
    makeModel();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "启动中…");
    EXPECT_TRUE(model->isBusy());
    const auto first = std::exchange(answer, nullptr);
    model->toggleRecording();
    EXPECT_FALSE(answer) << "one file is enough";
    EXPECT_FALSE(diary.has("session: make at 启动中…"));
    first(std::make_shared<RecordingFile>(makeRecordingFile(desktop, {})));
    ASSERT_TRUE(reaches("● 录制中"));
}

TEST_F(RecordingControlTest, theEndOvertakesAFolderThatAnswersLate) {
    std::function<void(std::shared_ptr<RecordingFile>)> answer;
    environment.makeFile = [&](const auto&, auto then) { answer = std::move(then); };
    makeModel();
    model->toggleRecording();
    bool isOver = false;
    model->onIdle = [&] { isOver = true; };
    model->teardownOverlays();
    EXPECT_FALSE(isOver);
    answer(std::make_shared<RecordingFile>(makeRecordingFile(desktop, {})));
    EXPECT_TRUE(isOver);
    EXPECT_FALSE(newestSession.lock());
    EXPECT_TRUE(testing::eventually([&] { return std::filesystem::is_empty(desktop); })) << "an empty file is left";
}

TEST_F(RecordingControlTest, completesTheFileWithoutAnyInterface) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    static_cast<void>(diary.take());
    model->completeWithoutInterface(std::chrono::seconds(30), [&] {
        bool isFirst = true; // what is there now, without waiting
        static_cast<void>(mainQueue.runUntil([&] { return !std::exchange(isFirst, false); }));
    });
    std::vector<std::filesystem::path> films;
    for (const auto& entry : std::filesystem::directory_iterator(desktop))
        films.push_back(entry.path());
    ASSERT_EQ(films.size(), 1U);
    EXPECT_TRUE(filmPictureAt(films[0], {0, 1}));
    EXPECT_TRUE(revealed.empty());
    EXPECT_FALSE(diary.has("region: recording off at ● 录制中…  点击停止结束。"));
}

TEST_F(RecordingControlTest, aSecondPressWhileStartingStartsNothingElse) {
    makeModel();
    model->toggleRecording();
    model->toggleRecording();
    EXPECT_EQ(statusText(), "启动中…");
    ASSERT_TRUE(reaches("● 录制中"));
    const std::vector<std::string> happened = diary.take();
    EXPECT_EQ(std::ranges::count_if(happened, [](const auto& line) { return line.starts_with("session: make"); }), 1);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(desktop), {}), 1);
}

TEST_F(RecordingControlTest, theNextRecordingMayBeginWhileTheLastIsCompleted) {
    makeModel();
    model->setMicEnabled(false);
    ASSERT_NO_FATAL_FAILURE(record());
    model->toggleRecording();
    // The stand-in for the screen holds one source at a time.
    ASSERT_TRUE(::quillet::testing::eventually([&] { return !stage.isRunning(); }));
    model->toggleRecording(); // the first one's completion still waits in the main queue
    EXPECT_EQ(statusText(), "启动中…");
    ASSERT_TRUE(mainQueue.runUntil([&] { return model->state().isRecording && revealed.size() == 1; }));
    EXPECT_TRUE(model->isBusy());
    EXPECT_FALSE(diary.has("may sleep"));
    EXPECT_FALSE(diary.has("region: recording off at 正在导出…")) << "the outline stays red for the second";
    stage.show(fakes::solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    model->toggleRecording();
    ASSERT_TRUE(isIdle());

    ASSERT_EQ(revealed.size(), 2U);
    EXPECT_NE(revealed[0], revealed[1]) << "of two within one second neither replaces the other";
    for (const std::filesystem::path& file : revealed)
        EXPECT_GT(std::filesystem::file_size(file), 0U) << file;
    EXPECT_TRUE(diary.has("may sleep"));
}

TEST_F(RecordingControlTest, teardownHidesEverythingAndCompletesTheFile) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(switchCameraOn());
    model->setTeleprompterEnabled(true);
    ASSERT_NO_FATAL_FAILURE(record());
    static_cast<void>(diary.take());
    bool idle = false;
    model->onIdle = [&] { idle = true; };
    model->teardownOverlays();
    EXPECT_EQ(statusText(), "正在导出…");
    EXPECT_FALSE(model->state().isRecording);
    EXPECT_FALSE(model->state().cameraEnabled);
    EXPECT_FALSE(model->state().teleprompterEnabled);
    EXPECT_EQ(bubble, nullptr);
    std::vector<std::string> happened = diary.take();
    std::erase_if(happened, [](const auto& line) { return line.ends_with(": stop"); });
    EXPECT_THAT(happened, ElementsAre("region: out", "bubble: out", "teleprompter: out"));

    EXPECT_TRUE(model->isBusy());
    ASSERT_TRUE(mainQueue.runUntil([&] { return idle; }));
    EXPECT_THAT(statusText(), StartsWith("已保存："));
    EXPECT_TRUE(revealed.empty()) << "whoever closes the program does not want a file manager";
}

TEST_F(RecordingControlTest, teardownEndsARecordingThatIsOnlyStarting) {
    makeModel();
    model->toggleRecording();
    bool idle = false;
    model->onIdle = [&] { idle = true; };
    model->teardownOverlays();
    ASSERT_TRUE(mainQueue.runUntil([&] { return idle; }));
    EXPECT_FALSE(model->state().isRecording);
    EXPECT_FALSE(stage.isRunning());
    EXPECT_THAT(statusText(), StartsWith("导出失败：")) << "no picture has come";
    EXPECT_TRUE(std::filesystem::is_empty(desktop));
}

TEST_F(RecordingControlTest, teardownWithoutARecordingIsIdleAtOnce) {
    makeModel();
    model->teardownOverlays();
    EXPECT_FALSE(model->isBusy());
}

TEST_F(RecordingControlTest, completesTheFileAlsoWhenTheModelIsGone) {
    makeModel();
    ASSERT_NO_FATAL_FAILURE(record());
    model->toggleRecording();
    model.reset();
    // The file's completion and the session's end are both tasks of the main queue.
    ASSERT_TRUE(mainQueue.runUntil([&] { return newestSession.expired(); }));
    ASSERT_FALSE(std::filesystem::is_empty(desktop));
    EXPECT_TRUE(filmPictureAt(std::filesystem::directory_iterator(desktop)->path(), {0, 1}));
}

} // namespace
} // namespace quillet
