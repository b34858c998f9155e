#include "app/AppModel.h"

#include <utility>

namespace quillet {

namespace {

constexpr int recordingFps = 60;

} // namespace

std::shared_ptr<AppModel> AppModel::make(AppEnvironment environment) {
    return std::shared_ptr<AppModel>(new AppModel(std::move(environment)));
}

AppModel::AppModel(AppEnvironment surroundings) : environment(std::move(surroundings)) {}

void AppModel::setStatus(std::string text) {
    status = std::move(text);
    if (onChange) onChange();
}

void AppModel::setRecording(bool isRecording) {
    recording = isRecording;
    if (onChange) onChange();
}

void AppModel::toggleRecording() {
    if (recording)
        stopRecording();
    else
        startRecording();
}

void AppModel::startRecording() {
    const std::optional<CaptureLayout> layout =
        CaptureLayout::make(environment.region(), std::nullopt, environment.screens());
    if (!layout) return setStatus("无法确定录制区域。");

    RecordingEnvironment surroundings{.screenSource = environment.screenSource,
                                      .desktopFolder = environment.desktopFolder(),
                                      .mainQueue = environment.mainQueue};
    if (surroundings.desktopFolder.empty()) return setStatus("无法创建录制会话。");
    session =
        RecordingSession::make({.layout = *layout, .quality = ExportQuality::high, .fps = recordingFps}, surroundings);
    if (!session) return setStatus("无法创建录制会话。");

    const std::weak_ptr<AppModel> weak = weak_from_this();
    session->onLost = [weak](const Error&) {
        const auto self = weak.lock();
        if (self && self->recording) self->stopRecording();
    };
    setStatus("启动中…");
    session->start({}, [weak, mainQueue = environment.mainQueue](const std::optional<Error>& error) {
        mainQueue([weak, error] {
            if (const auto self = weak.lock()) self->captureStarted(error);
        });
    });
}

void AppModel::captureStarted(const std::optional<Error>& error) {
    if (error) {
        session.reset();
        setStatus("启动失败：" + error->description);
        return;
    }
    setRecording(true);
    setStatus("● 录制中…  点击停止结束。");
}

void AppModel::stopRecording() {
    if (!session) return;
    setStatus("正在导出…");
    setRecording(false);
    session->stop(
        [weak = weak_from_this()](const std::optional<std::filesystem::path>& url, const std::optional<Error>& error) {
            if (const auto self = weak.lock()) self->sessionEnded(url, error);
        });
}

void AppModel::sessionEnded(const std::optional<std::filesystem::path>& url, const std::optional<Error>& error) {
    session.reset();
    if (url) {
        setStatus("已保存：" + url->filename().string() + "（桌面）");
        environment.reveal(*url);
    } else {
        setStatus("导出失败：" + (error ? error->description : std::string("未知错误")));
    }
    if (onSessionEnded) onSessionEnded();
}

void AppModel::teardown() {
    if (recording && session) stopRecording();
}

} // namespace quillet
