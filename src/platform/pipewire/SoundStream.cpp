#include "platform/pipewire/SoundStream.h"

#include "pipeline/queueLabels.h"
#include "platform/pipewire/streamBuffers.h"

#include <spa/param/audio/format-utils.h>
#include <spa/pod/builder.h>
#include <span>

#include <algorithm>
#include <array>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace quillet {

namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

constexpr std::uint32_t sampleRate = 48000;
constexpr std::uint32_t channels = 2;

/// How long a stream may be without the device that it should have before it is made anew. The session manager needs
/// a tenth of it after a change. Doubled each time that it was in vain.
constexpr nanoseconds leastPatience = 500ms;
constexpr nanoseconds mostPatience = 8s;

/// A cycle's time may lie this far before the moment at which its sound arrives, which is when the machine is very
/// busy.
constexpr auto longestWay = 500ms;
/// Bluetooth microphones tell of 150 ms; more than this is no delay but a mistake.
constexpr auto longestDelay = 500ms;

/// In this time after a change of devices the clock of the server's cycles may start anew; sound from around such a
/// jump has wrong times for about a cycle or two.
constexpr auto mistrustfulTime = 1s;
constexpr auto settlingTime = 45ms;
constexpr auto smallestJump = 2ms;

nanoseconds durationOf(std::int64_t frames) { return nanoseconds(frames * 1'000'000'000 / sampleRate); }

nanoseconds monotonicNow() { return std::chrono::steady_clock::now().time_since_epoch(); }

spa_audio_info_raw wantedFormat() {
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = sampleRate;
    format.channels = channels;
    format.position[0] = SPA_AUDIO_CHANNEL_FL;
    format.position[1] = SPA_AUDIO_CHANNEL_FR;
    return format;
}

pw_properties* propertiesFor(SoundStream::Source source) {
    pw_properties* properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_APP_NAME, "Quillet",
                          PW_KEY_APP_ID, applicationId, PW_KEY_APP_ICON_NAME, applicationId,
                          // What most devices have anyway: nobody gets shorter periods, and more work, because of us.
                          PW_KEY_NODE_LATENCY, "1024/48000", nullptr);
    if (source == SoundStream::Source::output) {
        pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
        pw_properties_set(properties, PW_KEY_NODE_NAME, "quillet.system-sound");
        pw_properties_set(properties, PW_KEY_MEDIA_NAME, "System sound");
        // So the stream keeps running, in silence, when the last output is unplugged.
        pw_properties_set(properties, PW_KEY_NODE_ALWAYS_PROCESS, "true");
    } else {
        pw_properties_set(properties, PW_KEY_NODE_NAME, "quillet.microphone");
        pw_properties_set(properties, PW_KEY_MEDIA_NAME, "Microphone");
    }
    return properties;
}

/// What must come before a stream is destroyed. As its links go, the server would give one that always processes to
/// another driver, and send that driver's event descriptor; the library (0.3.65) never closes a descriptor that comes
/// for a stream which is gone. Both messages go to the server in this order, so nothing has to be waited for.
void letRest(pw_stream& stream) {
    const std::array<spa_dict_item, 1> properties{{{PW_KEY_NODE_ALWAYS_PROCESS, "false"}}};
    const spa_dict changed{0, properties.size(), properties.data()};
    pw_stream_update_properties(&stream, &changed);
}

} // namespace

SoundStream::SoundStream(std::shared_ptr<NodeDirectory> directory, Options options)
    : nodes(std::move(directory)), wanted(std::move(options)) {
    PipeWireConnection& connection = nodes->connection();
    const PipeWireConnection::Lock lock(connection);
    healing.emplace(connection.loop(), [this] { heal(); });
    changes = nodes->subscribe([this] { lookAtLinks(); });
    server = connection.listen({.onConnected =
                                    [this](pw_core* core) {
                                        patience = leastPatience;
                                        open(core);
                                    },
                                .onLost = [this] { close(); }});
}

SoundStream::~SoundStream() {
    const PipeWireConnection::Lock lock(nodes->connection());
    server = {};
    changes = {};
    close();
    healing.reset();
}

void SoundStream::open(pw_core* core) {
    static constexpr pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        // Whatever the state, an error too, the stream may yet be linked: only its links count.
        result.state_changed = [](void* self, pw_stream_state, pw_stream_state, const char*) {
            static_cast<SoundStream*>(self)->lookAtLinks();
        };
        result.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
            if (id != SPA_PARAM_Format) return;
            spa_audio_info_raw format{};
            static_cast<SoundStream*>(self)->hasFormat =
                parameter && spa_format_audio_raw_parse(parameter, &format) >= 0 &&
                format.format == SPA_AUDIO_FORMAT_F32 && format.rate == sampleRate && format.channels == channels;
        };
        result.process = [](void* self) { static_cast<SoundStream*>(self)->process(); };
        return result;
    }();
    close();
    stream.reset(pw_stream_new(core, "quillet", propertiesFor(wanted.source)));
    processed = stream.get();
    if (!stream) return;
    pw_stream_add_listener(stream.get(), hook.fresh(), &events, this);

    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
    spa_audio_info_raw format = wantedFormat();
    std::array<const spa_pod*, 1> parameters{spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    const int flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    pw_stream_connect(stream.get(), PW_DIRECTION_INPUT, PW_ID_ANY, static_cast<pw_stream_flags>(flags),
                      parameters.data(), static_cast<std::uint32_t>(parameters.size()));
}

void SoundStream::close() {
    healing->stop();
    isHealing = false;
    hook.remove();
    if (stream) letRest(*stream);
    stream.reset();
    hasFormat = false;
    isLinked = false;
    linkedSerials.clear();
}

// On the server's data thread.
void SoundStream::process() {
    pw_stream* const own = processed;
    pw_time cycle{};
    const bool isTimed = pw_stream_get_time_n(own, &cycle, sizeof cycle) == 0;
    const nanoseconds arrival = monotonicNow();
    nanoseconds time{cycle.now};
    if (!isTimed || time > arrival + 5ms || time < arrival - longestWay) time = arrival;
    if (wanted.source == Source::microphone && cycle.rate.denom > 0) {
        const nanoseconds delay{cycle.delay * 1'000'000'000 * cycle.rate.num / cycle.rate.denom};
        if (delay > 0ns && delay < longestDelay) time -= delay;
    }
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(own)) {
        const std::span<const float> samples = soundOf(*buffer->buffer, channels);
        if (samples.data() && hasFormat && (isLinked || wanted.source == Source::output)) {
            const auto frames = static_cast<std::int64_t>(samples.size() / channels);
            // An output drives the server's cycles: it takes its sound at a cycle's end, and its monitor passes that on
            // in the next one.
            if (wanted.source == Source::output) time -= durationOf(frames);
            const bool isPushed = !isSettling(time, frames) && ring.push(samples, time, device);
            if (isPushed && wanted.onArrival) wanted.onArrival();
            if (wanted.source == Source::microphone) time += durationOf(frames);
        }
        pw_stream_queue_buffer(own, buffer);
    }
}

// Better some milliseconds of silence where devices change than seconds in which the pitch is bent until the sound lies
// right.
bool SoundStream::isSettling(nanoseconds time, std::int64_t frames) {
    const nanoseconds jump = time - std::exchange(expectedTime, time + durationOf(frames));
    const std::uint32_t current = device;
    if (settledDevice != current) {
        settledDevice = current;
        mistrustUntil = time + mistrustfulTime;
        settlingUntil = time + settlingTime;
    } else if (time < mistrustUntil && (jump > smallestJump || jump < -smallestJump)) {
        settlingUntil = std::min(time + settlingTime, mistrustUntil);
    }
    return time < settlingUntil;
}

bool SoundStream::shouldBeLinked() const {
    if (!nodes->hasSessionManager()) return false;
    if (wanted.source == Source::output) return nodes->defaultNode(NodeDirectory::Default::audioSink).has_value();
    const auto source = nodes->defaultNode(NodeDirectory::Default::audioSource);
    return source && source->isSoundSource();
}

void SoundStream::lookAtLinks() {
    if (!stream) return;
    const std::uint32_t id = pw_stream_get_node_id(stream.get());
    const std::vector<PipeWireNode> sources = id == SPA_ID_INVALID ? std::vector<PipeWireNode>{} : nodes->sourcesOf(id);
    std::string serials;
    for (const PipeWireNode& each : sources)
        serials += each.serial + " ";
    const bool isRight = std::all_of(sources.begin(), sources.end(), [this](const PipeWireNode& each) {
        return wanted.source == Source::microphone ? each.isSoundSource()
                                                   : !each.mediaClass.starts_with("Audio/Source");
    });
    isLinked = isRight && !sources.empty();
    if (serials != std::exchange(linkedSerials, serials)) ++device;
    expectLink();
}

bool SoundStream::isGone() const {
    return !stream || pw_stream_get_state(stream.get(), nullptr) == PW_STREAM_STATE_UNCONNECTED;
}

void SoundStream::expectLink() {
    if (isLinked) patience = leastPatience;
    const bool isWrong = !isLinked && (isGone() || shouldBeLinked());
    if (isWrong == isHealing) return;
    isHealing = isWrong;
    if (isHealing)
        healing->start(patience);
    else
        healing->stop();
}

// A session manager that was started anew leaves streams of the time before as they are; so does one that was cross
// with the stream's node. A new stream is linked like any other.
void SoundStream::heal() {
    isHealing = false;
    if (!nodes->connection().core()) return;
    patience = std::min(2 * patience, mostPatience);
    open(nodes->connection().core());
    expectLink();
}

} // namespace quillet
