// RecordingSession.h: one recording, from the first captured frame to the finished file.
#pragma once

#include "geometry/CaptureLayout.h"
#include "media/Error.h"
#include "media/MediaTime.h"
#include "media/PixelBuffer.h"
#include "pipeline/AlignedAudioMixer.h"
#include "pipeline/AudioMixer.h"
#include "pipeline/BeautifySettings.h"
#include "pipeline/CameraManager.h"
#include "pipeline/Compositor.h"
#include "pipeline/ExportQuality.h"
#include "pipeline/MainQueue.h"
#include "pipeline/PixelBufferPool.h"
#include "pipeline/RecordingWriter.h"
#include "pipeline/ScreenCaptureManager.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace quillet {

/// What a session takes from the platform and the application.
struct RecordingEnvironment {
    ScreenSourceFactory screenSource;
    std::filesystem::path desktopFolder; ///< where the file goes
    MainQueue mainQueue;
    SystemAudioSourceFactory systemAudio = {};     ///< not set, or answering null: the recording hears silence there
    std::function<MediaTime()> now = mediaTimeNow; ///< the clock that the sources stamp with
    std::function<std::tm()> localTime = {};       ///< for the file's name; not set: the system's
    mp4::OpenFile openFile = {};                   ///< as RecordingWriter::make takes it
};

struct RecordingOptions {
    CaptureLayout layout;
    std::shared_ptr<CameraManager> camera = {}; ///< shared with the application, whose bubble shows the same camera
    bool micEnabled = true;
    ExportQuality quality = ExportQuality::high;
    int fps = 60;
    bool mirrorCamera = true;
    std::optional<BeautifySettings> beautify = {};
};

/// "Quillet-yyyyMMdd-HHmmss.mp4" of that local time.
[[nodiscard]] std::string recordingFileName(const std::tm& localTime);

/// Ties the pipeline together: where the file's timeline starts, which frames and sounds are written, where the camera
/// circle goes, and the order of shutdown. Used for one recording.
///
/// Threads: make, start, updateCameraRect and stop on the main thread; frames and sound on the screen queue. Two locks,
/// never nested in the other order: the append lock, and inside it the camera rectangle's, for a copy. Whoever lets go
/// last, the session is taken down on the thread that made it.
class RecordingSession : public std::enable_shared_from_this<RecordingSession> {
public:
    /// Null, with the reason in `error` if given, when the pool or the writer cannot be made.
    [[nodiscard]] static std::shared_ptr<RecordingSession>
    make(const RecordingOptions& options, RecordingEnvironment environment, Error* error = nullptr);
    RecordingSession(const RecordingSession&) = delete;
    RecordingSession& operator=(const RecordingSession&) = delete;

    /// Windows of others to leave out; the program's own always are. `completion` gets nothing or why capture did not
    /// start, on the screen queue.
    void start(std::set<std::uint32_t> excludeWindowIDs, std::function<void(std::optional<Error>)> completion);

    /// The bubble's frame in global screen points; the next frame uses it. A bubble wholly off the captured display
    /// leaves the picture.
    void updateCameraRect(const Rect& globalFrame);

    /// Ends capture and completes the file. `completion` runs once on the main queue with the file or the error, or
    /// with neither when no frame ever came; a second stop is ignored, its completion too.
    void stop(RecordingWriter::Completion completion);

    /// The captured display went away in mid-recording. On the main queue, at most once; set before start.
    std::function<void(Error)> onLost;

    [[nodiscard]] const std::filesystem::path& outputURL() const { return output; }
    /// Frames handed to the writer and taken, and frames dropped for want of a buffer or of room, so far.
    struct FrameCounts {
        std::uint64_t written = 0;
        std::uint64_t dropped = 0;
    };
    [[nodiscard]] FrameCounts frameCounts() const;

private:
    RecordingSession(const RecordingOptions& options, RecordingEnvironment environment);
    ~RecordingSession();

    void handleScreenFrame(const ConstPixelBufferRef& frame, MediaTime presentationTime);
    void appendAudio(AudioSampleBuffer buffer);
    void keepTime();
    void noteDrop();

    const RecordingEnvironment environment;
    const CaptureLayout layout;
    const std::shared_ptr<CameraManager> camera;
    const int fps;
    std::filesystem::path output;

    std::unique_ptr<Compositor> compositor; // the screen queue only, once started
    std::unique_ptr<PixelBufferPool> pool;
    std::unique_ptr<RecordingWriter> writer;  // under appendLock
    std::unique_ptr<AudioMixer> mixer;        // null: no sound is recorded
    std::unique_ptr<AlignedAudioMixer> sound; // in front of the mixer, if there is one

    mutable std::mutex appendLock; // guards videoStartTime, finished, lacksNewest, counts and every call to the writer
    std::optional<MediaTime> videoStartTime;
    bool finished = false;
    bool lacksNewest = false; ///< the newest frame was dropped
    FrameCounts counts;

    std::mutex cameraRectLock; // guards liveCameraRect
    std::optional<Rect> liveCameraRect;

    // Last, so that no callback runs while the rest is taken down.
    ScreenCaptureManager screen;
};

} // namespace quillet
