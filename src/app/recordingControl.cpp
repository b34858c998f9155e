// recordingControl.cpp: how AppModel starts and stops a recording.
#include "app/AppModel.h"

#include <chrono>
#include <thread>
#include <utility>

namespace quillet {

namespace {

constexpr int recordingFps = 60;

constexpr auto recordingLine = "● 录制中…  点击停止结束。";
constexpr auto littleRoomLine = "● 录制中…  磁盘空间不足，请尽快停止或腾出空间。";
constexpr auto stoppedForRoomLine = "磁盘空间不足，录制已自动停止。";

} // namespace

void AppModel::toggleRecording() {
    if (fields.isRecording)
        stopRecording();
    else if (!isPreparing && (!session || isStopping))
        prepareRecording();
}

/// The file comes first: its folder may be on a disk that answers slowly or never, which must not be waited for here.
void AppModel::prepareRecording() {
    isPreparing = true;
    ++busySessions;
    const int number = ++filesMade;
    diskCondition = mp4::DiskCondition::ample;
    const std::weak_ptr<AppModel> weak = weak_from_this();
    const auto onCondition = [weak, number, mainQueue = environment.recording.mainQueue](mp4::DiskCondition condition) {
        mainQueue([weak, number, condition] {
            const auto self = weak.lock();
            if (!self || self->filesMade != number) return;
            self->diskCondition = condition;
            self->showDiskCondition();
        });
    };
    environment.makeFile(onCondition, [weak, number](const std::shared_ptr<RecordingFile>& file) {
        const auto self = weak.lock();
        if (!self) return;
        self->isPreparing = false;
        // What was overtaken by an order to end lets go of its file, which is removed.
        if (self->filesMade == number)
            self->startRecording(file);
        else
            self->setStatus("无法创建录制会话。");
        self->leaveBusy();
    });
    if (isPreparing) setStatus("启动中…");
}

void AppModel::startRecording(const std::shared_ptr<RecordingFile>& file) {
    std::optional<Rect> camera;
    if (fields.cameraEnabled && cameraController) camera = cameraController->frame();
    const std::optional<CaptureLayout> layout =
        CaptureLayout::make(regionController->frame(), camera, environment.screens());
    if (!layout) return setStatus("无法确定录制区域。");

    RecordingOptions options{.layout = *layout,
                             .camera = attachSources(),
                             .micEnabled = fields.micEnabled,
                             .quality = fields.quality,
                             .fps = recordingFps,
                             .mirrorCamera = true};
    if (fields.beautifyEnabled) options.beautify = beautifySettings(fields);
    RecordingEnvironment surroundings = environment.recording;
    surroundings.desktopFolder = file->folder;
    surroundings.localTime = [time = file->localTime] { return time; };
    surroundings.openFile = [file](const std::filesystem::path&, Error&) { return std::move(file->sink); };
    const auto made = file->sink ? environment.makeSession(options, std::move(surroundings), nullptr) : nullptr;
    if (!made) {
        restSources();
        return setStatus("无法创建录制会话。");
    }
    session = made;
    isStopping = false;
    ++busySessions;
    if (environment.keepAwake && !awake) awake = environment.keepAwake();

    const std::set<std::uint32_t> excluded = windowsToExclude();
    regionController->setRecording(true);
    setStatus("启动中…");
    const std::weak_ptr<AppModel> weak = weak_from_this();
    const SessionReference started = session;
    session->onLost = [weak, started](const Error&) {
        const auto self = weak.lock();
        if (self && self->session == started.lock() && self->fields.isRecording) self->stopRecording();
    };
    session->start(excluded, [weak, started, mainQueue = environment.recording.mainQueue](auto error) {
        mainQueue([weak, started, error = std::move(error)] {
            if (const auto self = weak.lock()) self->captureStarted(started, error);
        });
    });
}

/// The camera manager that the session records from, with what is wanted attached and running; null when nothing is.
std::shared_ptr<CameraManager> AppModel::attachSources() {
    if (!fields.cameraEnabled && !fields.micEnabled) return nullptr;
    if (!cameraManager) cameraManager = std::make_shared<CameraManager>(environment.devices);
    // Without its camera the recording goes on; the bubble's own attempt has told the user.
    if (fields.cameraEnabled) static_cast<void>(cameraManager->attachCamera());
    if (fields.micEnabled && !cameraManager->attachMicrophone()) setStatus("无法访问麦克风，将只录系统声音。");
    cameraManager->start();
    return cameraManager;
}

/// A recording that did not come about leaves no open microphone behind. The bubble's camera goes on.
void AppModel::restSources() {
    if (cameraManager && !fields.cameraEnabled) cameraManager->stop();
}

std::set<std::uint32_t> AppModel::windowsToExclude() const {
    std::set<std::uint32_t> windows;
    const auto add = [&](const std::vector<std::uint32_t>& more) { windows.insert(more.begin(), more.end()); };
    add(regionController->windowIDs());
    if (cameraController) add(cameraController->windowIDs());
    if (teleprompterController) add(teleprompterController->windowIDs());
    add(environment.controlWindowIDs());
    return windows;
}

void AppModel::captureStarted(const SessionReference& started, const std::optional<Error>& error) {
    // One that has been asked to stop meanwhile tells how that went instead.
    if (!session || session != started.lock() || isStopping) return;
    if (error) {
        setStatus("启动失败：" + error->description);
        regionController->setRecording(false);
        session.reset();
        restSources();
        return leaveBusy();
    }
    assign(&AppState::isRecording, true);
    setStatus(recordingLine);
    if (diskCondition != mp4::DiskCondition::ample) showDiskCondition();
}

/// What the newest file's disk means for the recording that runs.
void AppModel::showDiskCondition() {
    if (!fields.isRecording) return;
    switch (diskCondition) {
        case mp4::DiskCondition::ample:
            return setStatus(recordingLine);
        case mp4::DiskCondition::low:
            return setStatus(littleRoomLine);
        case mp4::DiskCondition::exhausted:
            stoppedForRoom = session;
            return stopRecording();
        case mp4::DiskCondition::failed:
            return stopRecording(); // the completion has the reason
    }
}

void AppModel::stopRecording() {
    if (!session) return;
    setStatus("正在导出…");
    assign(&AppState::isRecording, false);
    isStopping = true;
    // The completion keeps the session: one that has been let go would not complete its file, and the next recording
    // may take its place here before that.
    session->stop([weak = weak_from_this(), keep = session](const auto& url, const auto& error) {
        if (const auto self = weak.lock()) self->sessionEnded(keep, url, error);
    });
}

void AppModel::completeWithoutInterface(std::chrono::milliseconds patience, const std::function<void()>& runMainQueue) {
    isWithoutInterface = true;
    if (!session) return;
    const auto giveUp = std::chrono::steady_clock::now() + patience;
    bool isComplete = false;
    if (!isStopping) session->stop([&](const auto&, const auto&) { isComplete = true; });
    while (!isComplete && (!isStopping || isBusy()) && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        runMainQueue();
    }
}

void AppModel::endRecording() {
    if (isPreparing) ++filesMade;
    if (session && !isStopping) stopRecording();
}

void AppModel::sessionEnded(const SessionReference& ended, const std::optional<std::filesystem::path>& url,
                            const std::optional<Error>& error) {
    if (isWithoutInterface) return leaveBusy();
    // Not when the next recording is under way.
    if (session == ended.lock()) {
        session.reset();
        regionController->setRecording(false);
    }
    if (url) {
        const bool isForRoom = ended.lock() && ended.lock() == stoppedForRoom.lock();
        setStatus("已保存：" + url->filename().string() + "（桌面）" + (isForRoom ? stoppedForRoomLine : ""));
        if (!isTornDown) environment.reveal(*url);
    } else {
        setStatus("导出失败：" + (error ? error->description : std::string("未知错误")));
    }
    leaveBusy();
}

void AppModel::leaveBusy() {
    if (--busySessions > 0) return;
    awake.reset();
    if (onIdle) onIdle();
}

} // namespace quillet
