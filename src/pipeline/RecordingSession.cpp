#include "pipeline/RecordingSession.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace quillet {

namespace {

/// How often the writer learns that time goes on. A killed recording misses at most this much more of a still screen.
constexpr std::chrono::milliseconds timekeepingInterval{500};

constexpr MediaTime mostAhead{10, 1};

std::tm systemLocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    return local;
}

} // namespace

std::string recordingFileName(const std::tm& localTime) {
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "Quillet-%Y%m%d-%H%M%S.mp4", &localTime);
    return text.data();
}

RecordingSession::RecordingSession(const RecordingOptions& options, RecordingEnvironment surroundings)
    : environment(std::move(surroundings)), layout(options.layout), camera(options.camera), fps(options.fps),
      screen({environment.screenSource, environment.systemAudio, environment.now}) {}

RecordingSession::~RecordingSession() = default;

std::shared_ptr<RecordingSession> RecordingSession::make(const RecordingOptions& options,
                                                         RecordingEnvironment environment, Error* error) {
    // A callback may hold the last reference, on a queue that the session's own parts are running on at that moment;
    // they must not be taken down beneath it.
    const auto deleteOnMain = [owner = std::this_thread::get_id(), mainQueue = environment.mainQueue](auto* session) {
        const auto destroy = [](RecordingSession* doomed) { delete doomed; };
        // Owned by the task, so that one which is never run any more takes it along.
        std::shared_ptr<RecordingSession> last(session, destroy);
        if (std::this_thread::get_id() != owner) mainQueue([last = std::move(last)] {});
    };
    std::shared_ptr<RecordingSession> session(new RecordingSession(options, std::move(environment)), deleteOnMain);
    const Rect cropRect = session->layout.displayPixels(session->layout.regionGlobal);
    if (session->camera && session->layout.cameraGlobal)
        session->liveCameraRect = session->layout.displayPixels(*session->layout.cameraGlobal);

    session->pool = PixelBufferPool::make(cropRect.size());
    if (!session->pool) {
        if (error) *error = systemError("frames of the recording's size", ENOMEM);
        return nullptr;
    }
    session->compositor = std::make_unique<Compositor>(cropRect, options.mirrorCamera, options.beautify,
                                                       session->camera ? session->camera->circles() : nullptr);

    const RecordingEnvironment& surroundings = session->environment;
    const std::tm local = surroundings.localTime ? surroundings.localTime() : systemLocalTime();
    session->output = surroundings.desktopFolder / recordingFileName(local);
    session->writer = RecordingWriter::make(session->output, cropRect.size(), options.fps, options.quality, error,
                                            surroundings.openFile);
    if (!session->writer) return nullptr;

    session->mixer = AudioMixer::make();
    if (session->mixer) {
        session->mixer->micEnabled = options.micEnabled && session->camera && session->camera->micAttached();
        session->sound = std::make_unique<AlignedAudioMixer>(*session->mixer);
    }
    return session;
}

void RecordingSession::start(std::set<std::uint32_t> excludeWindowIDs,
                             std::function<void(std::optional<Error>)> completion) {
    const std::weak_ptr<RecordingSession> weak = weak_from_this();
    if (mixer)
        mixer->onMixed = [weak](AudioSampleBuffer buffer) {
            if (const auto self = weak.lock()) self->appendAudio(std::move(buffer));
        };
    if (camera)
        camera->setOnMicrophoneSample([weak](AudioSampleBuffer buffer) {
            const auto self = weak.lock();
            if (self && self->sound) self->sound->pushMicrophone(std::move(buffer));
        });
    screen.onScreenFrame = [weak](const ConstPixelBufferRef& frame, MediaTime time) {
        if (const auto self = weak.lock()) self->handleScreenFrame(frame, time);
    };
    screen.onSystemAudio = [weak](AudioSampleBuffer buffer) {
        const auto self = weak.lock();
        // A time far ahead of the clock is none; the file would be filled with silence up to there.
        if (!self || !self->sound || buffer.presentationTime > self->environment.now() + mostAhead) return;
        self->sound->pushSystem(std::move(buffer));
    };
    screen.onLost = [weak](const Error& error) {
        const auto self = weak.lock();
        if (!self) return;
        self->environment.mainQueue([weak, error] {
            const auto onMain = weak.lock();
            if (onMain && onMain->onLost) onMain->onLost(error);
        });
    };
    if (camera) camera->start();
    screen.start(layout.displayID, layout.displayPixelSize, fps, std::move(excludeWindowIDs), std::move(completion));
}

void RecordingSession::handleScreenFrame(const ConstPixelBufferRef& frame, MediaTime presentationTime) {
    const std::lock_guard guard(appendLock);
    if (finished) return;
    if (!videoStartTime) {
        writer->start(presentationTime);
        videoStartTime = presentationTime;
        keepTime();
    }
    // A picture that would find no room is not even drawn: it would take time from those that wait.
    if (!writer->isReadyForMoreVideo()) {
        compositor->skip(*frame);
        return noteDrop();
    }
    std::optional<Rect> cameraRect;
    {
        const std::lock_guard rectGuard(cameraRectLock);
        cameraRect = liveCameraRect;
    }
    const ConstPixelBufferRef cameraFrame = camera ? camera->latestFrame() : nullptr;
    const ConstPixelBufferRef picture =
        compositor->show(frame, cameraFrame.get(), cameraRect,
                         {.acquire = [this] { return pool->acquire(); }, .isPrompt = writer->isWaitingForVideo()});
    if (!picture || !writer->appendVideo(picture, presentationTime)) return noteDrop();
    ++counts.written;
    lacksNewest = false;
}

void RecordingSession::noteDrop() {
    ++counts.dropped;
    lacksNewest = true;
}

void RecordingSession::appendAudio(AudioSampleBuffer buffer) {
    const std::lock_guard guard(appendLock);
    // After stop too: the last sound comes when capture has ended.
    if (!videoStartTime || buffer.presentationTime < *videoStartTime) return;
    writer->appendAudio(std::move(buffer));
}

/// Tells the writer the time now and then, for as long as the session lives and is not stopped.
void RecordingSession::keepTime() {
    const auto next = SerialQueue::Clock::now() + timekeepingInterval;
    screen.queue().after(next, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        const std::lock_guard guard(self->appendLock);
        if (self->finished) return;
        self->writer->advance(self->environment.now());
        // On a screen that stands still now, nothing else would ever bring it.
        if (self->lacksNewest) self->screen.makeAnotherFrame();
        self->keepTime();
    });
}

void RecordingSession::updateCameraRect(const Rect& globalFrame) {
    const Rect mapped = layout.displayPixels(globalFrame);
    const Rect display{0, 0, layout.displayPixelSize.width, layout.displayPixelSize.height};
    const bool visible = mapped.intersects(display);
    const std::lock_guard guard(cameraRectLock);
    liveCameraRect = visible ? std::optional(mapped) : std::nullopt;
}

void RecordingSession::stop(RecordingWriter::Completion completion) {
    {
        const std::lock_guard guard(appendLock);
        if (finished) return;
        finished = true;
    }
    const MediaTime end = environment.now();
    if (camera) camera->stop();
    screen.stop([weak = weak_from_this(), completion = std::move(completion), end] {
        const auto self = weak.lock();
        if (!self) {
            completion(std::nullopt, std::nullopt);
            return;
        }
        if (self->sound) self->sound->drain();
        const std::lock_guard guard(self->appendLock);
        self->writer->advance(end);
        self->writer->finish([mainQueue = self->environment.mainQueue, completion](auto url, auto error) {
            mainQueue([completion, url = std::move(url), error = std::move(error)] { completion(url, error); });
        });
    });
}

RecordingSession::FrameCounts RecordingSession::frameCounts() const {
    const std::lock_guard guard(appendLock);
    return counts;
}

} // namespace quillet
