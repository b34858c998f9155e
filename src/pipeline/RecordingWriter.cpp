// The calling side decides what is taken and where it stands (times, key frames, damage); the writer's thread does the
// work (WriterEngine). Between them stand one short queue of pictures and one queue of sounds.

#include "pipeline/RecordingWriter.h"

#include "geometry/fatal.h"
#include "pipeline/WriterEngine.h"
#include "pipeline/encode/DamageLedger.h"
#include "pipeline/encode/X264Encoder.h"
#include "pipeline/mp4/FileSink.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <deque>
#include <limits>
#include <mutex>
#include <thread>
#include <utility>

#include <pthread.h>

namespace quillet {

namespace {

// Frames waiting for the writer's thread. Together with the one that is being converted and the one that is being drawn
// they leave some of the pool's frames to spare.
constexpr std::size_t pictureCapacity = 4;
// Sound waiting for it: far more than any stall that a recording survives.
constexpr std::int64_t soundCapacitySamples = 10 * AacEncoder::sampleRate;
// With more of it waiting, pictures have to: on a machine that is too slow a lost picture is less than lost sound, and
// what waits is lost when the process is killed. Sound takes a hundredth of the time that pictures do, so they wait for
// moments.
constexpr std::int64_t soundRushSamples = AacEncoder::sampleRate / 4;

/// One picture to be encoded: a new frame, or without one the last picture again.
struct QueuedPicture {
    ConstPixelBufferRef frame;
    FrameDamage damage;
    VideoTimeline::Frame place;
};

} // namespace

struct RecordingWriter::Implementation {
    enum class Ending { none, finish, abandon };

    void run();
    void close();
    void encode(QueuedPicture& picture, std::size_t waiting);
    /// Under the mutex, with room in the queue.
    QueuedPicture& pushPicture();
    /// False if the end was ordered before.
    bool end(Ending how, Completion then);

    // Set by make().
    int fps = 60;
    int width = 0;
    int height = 0;
    WriterParts parts; // until start()

    // The calling side's, under the caller's lock.
    std::optional<VideoTimeline> timeline; // present: started
    DamageLedger ledger;
    std::thread thread;

    // The writer's thread's, once it runs.
    std::unique_ptr<WriterEngine> engine;

    // Guards everything below.
    mutable std::mutex mutex;
    std::condition_variable wake;
    std::array<QueuedPicture, pictureCapacity> pictures; // a ring, so that its regions' memory serves again
    std::size_t firstPicture = 0;
    std::size_t pictureCount = 0;
    std::deque<AudioSampleBuffer> sounds;
    std::int64_t soundSamples = 0; // in `sounds`
    std::int64_t nowTicks = 0;     // how far the recording is known to have come
    bool hasAdvanced = false;      // since the thread looked last
    Ending ending = Ending::none;
    Completion completion;
    std::optional<Error> failure;
};

std::unique_ptr<RecordingWriter> RecordingWriter::make(const std::filesystem::path& url, Size size, int fps,
                                                       ExportQuality quality, Error* error, const mp4::OpenFile& open) {
    const auto side = [](double value, const char* what) {
        constexpr std::int64_t most = std::numeric_limits<int>::max();
        return static_cast<int>(std::clamp<std::int64_t>(truncated(value, what), 0, most));
    };
    const int width = side(size.width, "a recording's width");
    const int height = side(size.height, "a recording's height");

    Error reason;
    auto made = std::make_shared<Implementation>();
    made->fps = fps;
    made->width = width;
    made->height = height;
    WriterParts& parts = made->parts;
    parts.width = width;
    parts.height = height;
    parts.fps = fps;
    // The encoders come first: what cannot be recorded shall not cost the user an older file.
    parts.video = makeX264Encoder({width, height, fps, bitrate(quality, width, height, fps)}, reason);
    if (parts.video) parts.audio = AacEncoder::make(reason);
    if (parts.audio) {
        parts.picture = EncoderPicture::make(width, height);
        if (!parts.picture) reason = {"Quillet", 2, "not enough memory for a picture"};
    }
    if (parts.picture) parts.sink = open ? open(url, reason) : mp4::FileSink::make(url, reason);
    if (!parts.sink) {
        if (error) *error = reason;
        return nullptr;
    }
    return std::unique_ptr<RecordingWriter>(new RecordingWriter(std::move(made)));
}

RecordingWriter::RecordingWriter(std::shared_ptr<Implementation> made) : implementation(std::move(made)) {}

RecordingWriter::~RecordingWriter() {
    if (!started()) {
        if (implementation->parts.sink) implementation->parts.sink->discard();
        return;
    }
    if (implementation->end(Implementation::Ending::abandon, nullptr))
        implementation->thread.join();
    else
        implementation->thread.detach(); // it is finishing, and the caller has been promised the completion
}

void RecordingWriter::start(MediaTime time) {
    if (started() || !implementation->parts.sink) return;
    implementation->timeline.emplace(time, implementation->fps);
    implementation->engine =
        std::make_unique<WriterEngine>(std::move(implementation->parts), *implementation->timeline, time);
    implementation->thread = std::thread([shared = implementation] {
        pthread_setname_np(pthread_self(), "quillet.writer");
        shared->run();
    });
}

bool RecordingWriter::started() const { return implementation->timeline.has_value(); }

bool RecordingWriter::isReadyForMoreVideo() const {
    const std::scoped_lock lock(implementation->mutex);
    return implementation->pictureCount < pictureCapacity;
}

bool RecordingWriter::isWaitingForVideo() const {
    const std::scoped_lock lock(implementation->mutex);
    return implementation->pictureCount == 0;
}

bool RecordingWriter::appendVideo(ConstPixelBufferRef frame, MediaTime time) {
    Implementation& shared = *implementation;
    if (frame->width() != shared.width || frame->height() != shared.height)
        fatal("a frame is not of the size of its recording");
    shared.ledger.note(*frame);
    if (!started()) return false;

    const std::scoped_lock lock(shared.mutex);
    if (shared.failure || shared.ending != Implementation::Ending::none || shared.pictureCount == pictureCapacity)
        return false;
    const std::optional<VideoTimeline::Frame> place = shared.timeline->addFrame(time);
    if (!place) return false;
    QueuedPicture& picture = shared.pushPicture();
    picture.frame = std::move(frame);
    picture.place = *place;
    shared.ledger.take(picture.damage);
    shared.wake.notify_one();
    return true;
}

void RecordingWriter::appendAudio(AudioSampleBuffer buffer) {
    Implementation& shared = *implementation;
    if (!started() || buffer.frames <= 0) return;
    const std::scoped_lock lock(shared.mutex);
    if (shared.failure || shared.ending != Implementation::Ending::none ||
        shared.soundSamples + buffer.frames > soundCapacitySamples)
        return;
    shared.soundSamples += buffer.frames;
    shared.sounds.push_back(std::move(buffer));
    shared.wake.notify_one();
}

void RecordingWriter::advance(MediaTime now) {
    Implementation& shared = *implementation;
    if (!started()) return;
    const std::scoped_lock lock(shared.mutex);
    if (shared.failure || shared.ending != Implementation::Ending::none) return;
    shared.nowTicks = std::max(shared.nowTicks, shared.timeline->ticksAt(now));
    shared.hasAdvanced = true;
    // What finds no room is repeated the next time.
    while (shared.pictureCount < pictureCapacity) {
        const std::optional<VideoTimeline::Repeat> repeat = shared.timeline->addRepeat(now);
        if (!repeat) break;
        QueuedPicture& picture = shared.pushPicture();
        picture.frame = nullptr;
        picture.place = {repeat->ticks, repeat->isKey, 0, 0};
    }
    shared.wake.notify_one();
}

void RecordingWriter::finish(Completion completion) {
    if (!started()) {
        // The file must not come back to life, so a start after this does nothing.
        if (implementation->parts.sink) std::exchange(implementation->parts.sink, nullptr)->discard();
        completion(std::nullopt, error());
        return;
    }
    if (!implementation->end(Implementation::Ending::finish, std::move(completion)))
        fatal("a recording is finished twice");
}

std::optional<Error> RecordingWriter::error() const {
    const std::scoped_lock lock(implementation->mutex);
    return implementation->failure;
}

QueuedPicture& RecordingWriter::Implementation::pushPicture() {
    return pictures.at((firstPicture + pictureCount++) % pictureCapacity);
}

bool RecordingWriter::Implementation::end(Ending how, Completion then) {
    const std::scoped_lock lock(mutex);
    if (ending != Ending::none) return false;
    ending = how;
    completion = std::move(then);
    wake.notify_one();
    return true;
}

void RecordingWriter::Implementation::encode(QueuedPicture& picture, std::size_t waiting) {
    const VideoTimeline::Frame& place = picture.place;
    for (std::int64_t i = 0; i < place.keyRepeats; ++i)
        engine->encode(place.firstKeyRepeat + i * timeline->keyDistance(), PictureKind::key);
    if (picture.frame) {
        engine->update(*picture.frame, picture.damage);
        picture.frame.reset(); // back to its pool while the encoder works
    }
    engine->encode(place.ticks, place.isKey ? PictureKind::key : PictureKind::any, waiting);
}

void RecordingWriter::Implementation::run() {
    QueuedPicture picture;
    for (;;) {
        bool hasPicture = false;
        std::size_t waiting = 0;
        std::optional<AudioSampleBuffer> sound;
        std::optional<std::int64_t> reached;
        {
            std::unique_lock lock(mutex);
            wake.wait(lock, [this] {
                return pictureCount > 0 || !sounds.empty() || engine->isSoundPending() || hasAdvanced ||
                       ending != Ending::none;
            });
            hasPicture = pictureCount > 0 && soundSamples < soundRushSamples;
            if (hasPicture) {
                std::swap(picture, pictures.at(firstPicture));
                firstPicture = (firstPicture + 1) % pictureCapacity;
                waiting = --pictureCount;
            }
            if (!sounds.empty() && !engine->isSoundPending()) {
                sound = std::move(sounds.front());
                sounds.pop_front();
                soundSamples -= sound->frames;
            }
            if (std::exchange(hasAdvanced, false)) reached = nowTicks;
            if (ending != Ending::none && !hasPicture && !sound && !engine->isSoundPending()) break;
        }
        if (hasPicture) encode(picture, waiting);
        if (sound) engine->addSound(std::move(*sound));
        engine->encodeSound();
        if (reached) engine->flushUntil(*reached);
        if (engine->error()) {
            const std::scoped_lock lock(mutex);
            if (!failure) failure = engine->error();
        }
    }
    close();
}

// Only the writer's thread is left to touch anything but the mutex's own.
void RecordingWriter::Implementation::close() {
    if (ending == Ending::abandon) {
        engine->abandon();
        return;
    }
    const bool hasFile = engine->finish(nowTicks);
    std::optional<Error> problem = engine->error();
    {
        const std::scoped_lock lock(mutex);
        failure = problem;
    }
    const Completion report = std::exchange(completion, nullptr);
    report(hasFile && !problem ? std::optional(engine->place()) : std::nullopt, problem);
}

} // namespace quillet
