// ScreenCaptureManager.h: one display's pictures and the system's sound, on one serial queue.
#pragma once

#include "media/AudioSampleBuffer.h"
#include "media/PixelBuffer.h"
#include "media/SerialQueue.h"
#include "pipeline/ScreenSource.h"
#include "pipeline/SystemAudioSource.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace quillet {

/// Where the pictures and the system's sound come from.
struct ScreenCaptureSources {
    ScreenSourceFactory screen;
    SystemAudioSourceFactory systemAudio = {};     ///< not set, or answering null: silence in its place
    std::function<MediaTime()> now = mediaTimeNow; ///< the clock that both stamp with
};

/// Used for one recording. Threads: start and stop from any, one after the other; the fields before start.
class ScreenCaptureManager {
public:
    explicit ScreenCaptureManager(ScreenCaptureSources sources);
    ~ScreenCaptureManager();

    /// Each complete frame with its time; on sampleQueue, no lock held, never after stop's completion.
    std::function<void(ConstPixelBufferRef, MediaTime)> onScreenFrame;
    /// Each buffer of system sound, from the start of capture to stop, without a gap; on sampleQueue, never at the same
    /// time as onScreenFrame, never after stop's completion.
    std::function<void(AudioSampleBuffer)> onSystemAudio;
    /// The display went away in mid-recording; once, on sampleQueue.
    std::function<void(Error)> onLost;

    /// Starts in the background; `completion` gets nothing or the error, on sampleQueue.
    void start(std::uint32_t displayID, Size pixelSize, int fps, std::set<std::uint32_t> excludeWindowIDs,
               std::function<void(std::optional<Error>)> completion);
    /// Ends capture, with all the sound that was heard up to here; `completion` runs on sampleQueue, or at once here
    /// when nothing runs.
    void stop(std::function<void()> completion);

    /// Asks the running source for one more frame. On sampleQueue.
    void makeAnotherFrame();

    [[nodiscard]] SerialQueue& queue() { return sampleQueue; }

private:
    struct Stream;
    std::unique_ptr<SystemAudioSource> startSystemAudio();
    ScreenCaptureSources sources;
    // Shared with tasks on the queue.
    std::shared_ptr<Stream> stream;
    SerialQueue sampleQueue;
};

} // namespace quillet
