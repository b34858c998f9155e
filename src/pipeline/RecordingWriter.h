// RecordingWriter.h: composed frames and mixed sound become one MP4 file.
#pragma once

#include "geometry/Size.h"
#include "media/AudioSampleBuffer.h"
#include "media/Error.h"
#include "media/MediaTime.h"
#include "media/PixelBuffer.h"
#include "pipeline/ExportQuality.h"
#include "pipeline/mp4/ByteSink.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace quillet {

/// Writes one recording: H.264 and AAC in one MP4 file that can be played at any moment up to its last second or so,
/// and that finish() turns into an ordinary MP4 in place.
///
/// Encoding and file work happen on the writer's own thread ("quillet.writer"), fed through short bounded queues; being
/// ready means that there is room in them. Appends never wait and never raise an error; what cannot be taken is
/// dropped.
///
/// Threads: start, append…, advance and finish are serialised by the caller's lock; isReadyForMoreVideo,
/// isWaitingForVideo and error from any.
class RecordingWriter {
public:
    using Completion = std::function<void(std::optional<std::filesystem::path>, std::optional<Error>)>;

    /// Replaces any file at `url` and opens it; never follows a symbolic link there. `size` in pixels, even, fractions
    /// dropped. Null when the file cannot be made or an encoder refuses; the reason goes to `error` if given. A size
    /// that is not finite stops the program.
    /// `open` makes the file; not set: a plain one, used by the writer's thread itself.
    [[nodiscard]] static std::unique_ptr<RecordingWriter> make(const std::filesystem::path& url, Size size, int fps,
                                                               ExportQuality quality, Error* error = nullptr,
                                                               const mp4::OpenFile& open = {});
    /// Without finish() the file stays as playable as it was; a file without a single frame is removed.
    ~RecordingWriter();

    /// The file's timeline begins at `time`. Only the first call counts.
    void start(MediaTime time);
    [[nodiscard]] bool started() const;

    [[nodiscard]] bool isReadyForMoreVideo() const;
    /// Whether a frame that is appended now is read before any other: within the time of one picture.
    [[nodiscard]] bool isWaitingForVideo() const;
    /// Takes the frame by reference until it is encoded; false (and nothing kept but its damage) when not started,
    /// failed, full, or `time` is not after the last frame's.
    bool appendVideo(ConstPixelBufferRef frame, MediaTime time);
    /// Sound in the common format; gaps are filled with silence and overlaps cut, so that every sample stands at its
    /// time.
    void appendAudio(AudioSampleBuffer buffer);
    /// Says that the recording has reached `now`, new picture or not: the last frame lasts until then, key frames keep
    /// their distance, and a killed process loses no more than usual although the screen stands still.
    void advance(MediaTime now);

    /// Writes what is queued and completes the file; `completion` runs once, on the writer's thread (on the caller's
    /// when nothing was started), with the file or the error, or with neither when no frame ever came.
    void finish(Completion completion);

    [[nodiscard]] std::optional<Error> error() const;

private:
    struct Implementation;
    explicit RecordingWriter(std::shared_ptr<Implementation> implementation);
    // Shared with the writer's thread, which may finish after the writer itself has been let go.
    std::shared_ptr<Implementation> implementation;
};

} // namespace quillet
