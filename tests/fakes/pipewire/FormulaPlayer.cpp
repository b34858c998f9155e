#include "tests/fakes/pipewire/FormulaPlayer.h"

#include <spa/param/audio/format-utils.h>
#include <spa/pod/builder.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace quillet::testing {

FormulaPlayer::FormulaPlayer(std::shared_ptr<PipeWireConnection> connection, Role role, const std::string& name,
                             fakes::Sound formula)
    : line(std::move(connection)), sound(std::move(formula)) {
    const auto open = [this, role, name](pw_core* core) {
        static constexpr pw_stream_events events = [] {
            pw_stream_events result{};
            result.version = PW_VERSION_STREAM_EVENTS;
            result.process = [](void* self) { static_cast<FormulaPlayer*>(self)->process(); };
            return result;
        }();
        pw_properties* properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Playback",
                                                      PW_KEY_NODE_NAME, name.c_str(), nullptr);
        int flags = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
        if (role == Role::microphone) {
            pw_properties_set(properties, PW_KEY_MEDIA_CLASS, "Audio/Source");
            pw_properties_set(properties, PW_KEY_PRIORITY_SESSION, "3000");
        } else {
            flags |= PW_STREAM_FLAG_AUTOCONNECT;
        }
        stream.reset(pw_stream_new(core, "formula", properties));
        processed = stream.get();
        if (!stream) return;
        pw_stream_add_listener(stream.get(), hook.fresh(), &events, this);
        std::array<std::uint8_t, 1024> memory{};
        spa_pod_builder builder{};
        spa_pod_builder_init(&builder, memory.data(), static_cast<std::uint32_t>(memory.size()));
        spa_audio_info_raw format{};
        format.format = SPA_AUDIO_FORMAT_F32;
        format.rate = 48000;
        format.channels = 2;
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
        std::array<const spa_pod*, 1> parameters{spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
        pw_stream_connect(stream.get(), PW_DIRECTION_OUTPUT, PW_ID_ANY, static_cast<pw_stream_flags>(flags),
                          parameters.data(), 1);
    };
    subscription = line->listen({.onConnected = open, .onLost = [this] {
                                     hook.remove();
                                     stream.reset();
                                 }});
}

FormulaPlayer::~FormulaPlayer() {
    const PipeWireConnection::Lock lock(*line);
    subscription = {};
    hook.remove();
    stream.reset();
}

void FormulaPlayer::process() {
    pw_stream* const own = processed;
    pw_time cycle{};
    pw_stream_get_time_n(own, &cycle, sizeof cycle);
    pw_buffer* buffer = pw_stream_dequeue_buffer(own);
    if (!buffer) return;
    spa_data& data = buffer->buffer->datas[0];
    const std::uint32_t room = data.maxsize / (2 * sizeof(float));
    const std::uint32_t frames =
        buffer->requested ? std::min(room, static_cast<std::uint32_t>(buffer->requested)) : std::min(room, 1024U);
    const double start = static_cast<double>(cycle.now) / 1e9;
    if (expected > 0 && start > expected + 0.005) note({expected, start});
    expected = start + frames / 48000.0;
    auto* samples = static_cast<float*>(data.data);
    for (std::uint32_t frame = 0; frame < frames; ++frame) {
        const fakes::StereoLevel level = sound(start + frame / 48000.0);
        samples[2 * frame] = static_cast<float>(level.left);
        samples[2 * frame + 1] = static_cast<float>(level.right);
    }
    data.chunk->offset = 0;
    data.chunk->stride = 2 * sizeof(float);
    data.chunk->size = frames * 2 * sizeof(float);
    pw_stream_queue_buffer(own, buffer);
}

void FormulaPlayer::note(Omission omission) {
    const std::size_t count = noted.load(std::memory_order_relaxed);
    if (count - taken.load(std::memory_order_acquire) == omissions.size()) return;
    omissions[count % omissions.size()] = omission;
    noted.store(count + 1, std::memory_order_release);
}

std::optional<FormulaPlayer::Omission> FormulaPlayer::takeOmission() {
    const std::size_t count = taken.load(std::memory_order_relaxed);
    if (count == noted.load(std::memory_order_acquire)) return std::nullopt;
    const Omission omission = omissions[count % omissions.size()];
    taken.store(count + 1, std::memory_order_release);
    return omission;
}

} // namespace quillet::testing
