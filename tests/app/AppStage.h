// AppStage.h: a model among tools, devices and a display that write down what is asked of them.
#pragma once

#include "app/AppModel.h"
#include "tests/fakes/FakeScreenSource.h"
#include "tests/fakes/ManualMainQueue.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/paintedFrames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillet::fakes {

/// What happened, in order. Threads: any.
class Diary {
public:
    void note(std::string line) {
        const std::lock_guard guard(mutex);
        lines.push_back(std::move(line));
        noted.notify_all();
    }
    /// Everything since the last call.
    [[nodiscard]] std::vector<std::string> take() {
        const std::lock_guard guard(mutex);
        return std::exchange(lines, {});
    }
    [[nodiscard]] bool has(const std::string& line) {
        const std::lock_guard guard(mutex);
        return std::ranges::find(lines, line) != lines.end();
    }
    /// Waits for what another thread does; false when it does not within a time that only a failure needs.
    [[nodiscard]] bool awaits(const std::string& line) {
        std::unique_lock guard(mutex);
        return noted.wait_for(guard, std::chrono::seconds(30),
                              [&] { return std::ranges::find(lines, line) != lines.end(); });
    }

private:
    std::mutex mutex; // guards lines
    std::condition_variable noted;
    std::vector<std::string> lines;
};

/// A model on two fake displays of 640 by 360 pixels, side by side, that writes real files into a folder of its own.
class AppStage : public testing::Test {
protected:
    struct Region : RegionTool {
        explicit Region(AppStage& owner) : stage(owner) {}
        void apply(RangeMode mode, const Screen& screen) override {
            stage.diary.note("region: apply " + std::string(rawValue(mode)) + " on " + screen.name);
        }
        void orderFront() override { stage.diary.note("region: front"); }
        void updateHandles() override { stage.diary.note("region: handles"); }
        void setRecording(bool isRecording) override {
            stage.diary.note(std::string("region: recording ") + (isRecording ? "on" : "off") + " at " +
                             stage.statusText());
        }
        void orderOut() override { stage.diary.note("region: out"); }
        [[nodiscard]] Rect frame() const override { return stage.regionFrame; }
        [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return {11, 12, 13}; }
        AppStage& stage;
    };
    struct Bubble : CameraTool {
        explicit Bubble(AppStage& owner) : stage(owner) { stage.bubble = this; }
        ~Bubble() override {
            stage.diary.note("bubble: out");
            if (stage.bubble == this) stage.bubble = nullptr;
        }
        void placeDefault(const Screen& screen) override { stage.diary.note("bubble: place on " + screen.name); }
        void orderFront() override {
            stage.diary.note(std::string("bubble: front, ") + (onLiveMove && onFrameCommitted ? "wired" : "not wired"));
        }
        [[nodiscard]] Rect frame() const override { return {500, 20, 100, 100}; }
        [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return {21}; }
        AppStage& stage;
    };
    struct Script : TeleprompterTool {
        explicit Script(AppStage& owner) : stage(owner) {}
        ~Script() override { stage.diary.note("teleprompter: out"); }
        void showOn(const Screen& screen) override { stage.diary.note("teleprompter: show on " + screen.name); }
        [[nodiscard]] std::vector<std::uint32_t> windowIDs() const override { return {31}; }
        AppStage& stage;
    };
    struct Device : CaptureDevice {
        Device(Diary& book, std::string label) : diary(book), name(std::move(label)) {}
        void start() override { diary.note(name + ": start"); }
        void stop() override { diary.note(name + ": stop"); }
        Diary& diary;
        const std::string name;
    };

    AppStage() {
        for (const int number : {0, 1})
            screens.screens.push_back({.name = "screen" + std::to_string(number),
                                       .frame = {640.0 * number, 0, 640, 360},
                                       .visibleFrame = {640.0 * number, 0, 640, 360},
                                       .displayID = 5 + static_cast<std::uint32_t>(number),
                                       .pixelSize = {640, 360}});
        screens.mainIndex = 0;
        environment.recording = {.screenSource = stage.factory(), .desktopFolder = {}, .mainQueue = mainQueue.queue()};
        environment.makeSession = [this](const RecordingOptions& options, RecordingEnvironment surroundings,
                                         Error* error) {
            diary.note("session: make at " + statusText());
            optionsSeen = options;
            auto made = refuseSession ? nullptr : RecordingSession::make(options, std::move(surroundings), error);
            newestSession = made;
            return made;
        };
        environment.devices = {
            .camera = [this](SerialQueue&, auto) { return attach(hasCamera, "camera"); },
            .microphone = [this](SerialQueue&, auto) { return attach(hasMicrophone, "microphone"); }};
        environment.settings = std::make_shared<SettingsStore>(settingsFile);
        environment.screens = [this] { return screens; };
        environment.makeFile = [this](auto onCondition, const auto& then) {
            onDiskCondition = onCondition;
            then(std::make_shared<RecordingFile>(makeRecordingFile(
                desktop, [onCondition = std::move(onCondition)](mp4::DiskCondition now) { onCondition(now); })));
        };
        environment.reveal = [this](const std::filesystem::path& file) { revealed.push_back(file); };
        environment.keepAwake = [this]() -> std::shared_ptr<void> {
            diary.note("awake");
            return {static_cast<void*>(this), [this](void*) { diary.note("may sleep"); }};
        };
        environment.makeRegion = [this] { return std::make_unique<Region>(*this); };
        environment.makeCamera = [this](const std::shared_ptr<CameraManager>& manager) {
            bubbleManager = manager;
            diary.note("bubble: make");
            return std::make_unique<Bubble>(*this);
        };
        environment.makeTeleprompter = [this] { return std::make_unique<Script>(*this); };
        environment.controlWindowIDs = [] { return std::vector<std::uint32_t>{41, 42}; };
        environment.drawBackground = [this] { return draw; };
    }

    void makeModel() {
        model = AppModel::make(environment);
        model->onWillChange = [this] { noteStatus(); };
    }
    [[nodiscard]] std::string statusText() const { return model ? model->state().statusText : ""; }
    /// Every status line since the model was made, in order.
    [[nodiscard]] std::vector<std::string> lines() {
        noteStatus();
        return statusLines;
    }
    [[nodiscard]] bool reaches(const std::string& beginning) {
        return mainQueue.runUntil([&] { return statusText().starts_with(beginning); });
    }
    /// Records without the microphone and shows one frame.
    void record() {
        model->toggleRecording();
        ASSERT_TRUE(reaches("● 录制中")) << statusText();
        stage.show(solidFrame(640, 360, {10, 20, 30}), mediaTimeNow());
    }

    TemporaryFolder folder;
    std::filesystem::path desktop = folder.path() / "Desktop";
    const std::filesystem::path settingsFile = folder.path() / "config" / "settings";
    ScreenStage stage;
    ManualMainQueue mainQueue;
    Diary diary;
    ScreenList screens;
    Rect regionFrame{0, 0, 640, 360};
    bool hasCamera = true;
    bool hasMicrophone = true;
    bool refuseSession = false;
    std::weak_ptr<RecordingSession> newestSession;
    int draw = 0;
    std::function<void(mp4::DiskCondition)> onDiskCondition; // of the newest recording's file
    AppEnvironment environment;
    std::shared_ptr<AppModel> model;
    Bubble* bubble = nullptr;
    std::weak_ptr<CameraManager> bubbleManager;
    std::optional<RecordingOptions> optionsSeen;
    std::vector<std::filesystem::path> revealed;

private:
    std::unique_ptr<CaptureDevice> attach(bool isThere, const std::string& name) {
        diary.note(name + (isThere ? ": attach" : ": missing"));
        return isThere ? std::make_unique<Device>(diary, name) : nullptr;
    }
    void noteStatus() {
        if (statusLines.empty() || statusLines.back() != statusText()) statusLines.push_back(statusText());
    }
    std::vector<std::string> statusLines;
    const bool hasDesktop = std::filesystem::create_directory(desktop);
};

} // namespace quillet::fakes
