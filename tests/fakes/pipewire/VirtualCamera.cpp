#include "tests/fakes/pipewire/VirtualCamera.h"

#include "platform/pipewire/cameraFormats.h"
#include "platform/pipewire/spaParameters.h"

#include <spa/buffer/meta.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace quillet::testing {

namespace {

std::chrono::nanoseconds now() { return std::chrono::steady_clock::now().time_since_epoch(); }

std::vector<const spa_pod*> pointersTo(const std::vector<SpaPod>& pods) {
    std::vector<const spa_pod*> result;
    for (const SpaPod& pod : pods)
        result.push_back(pod.get());
    return result;
}

std::vector<SpaPod> podsOf(const std::vector<CameraFormat>& offers) {
    std::vector<SpaPod> pods;
    for (const CameraFormat& each : offers)
        pods.push_back(exactFormat(each, RateMatch::exact));
    return pods;
}

} // namespace

VirtualCamera::VirtualCamera(std::shared_ptr<PipeWireConnection> line, Options wanted)
    : connection(std::move(line)), options(std::move(wanted)), number(options.firstNumber - 1) {}

std::unique_ptr<VirtualCamera> VirtualCamera::make(std::shared_ptr<PipeWireConnection> connection, Options options) {
    if (!connection->waitFor([&] { return connection->core() != nullptr; }, std::chrono::seconds(20))) return nullptr;
    std::unique_ptr<VirtualCamera> camera(new VirtualCamera(std::move(connection), std::move(options)));
    const PipeWireConnection::Lock lock(*camera->connection);
    return camera->connect() ? std::move(camera) : nullptr;
}

VirtualCamera::~VirtualCamera() {
    subscription = {};
    const PipeWireConnection::Lock lock(*connection);
    unplug();
}

void VirtualCamera::unplug() {
    isStreaming = false;
    timer.reset();
    hook.remove();
    stream.reset();
}

bool VirtualCamera::connect() {
    static constexpr pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
            auto& camera = *static_cast<VirtualCamera*>(self);
            camera.isStreaming = state == PW_STREAM_STATE_STREAMING;
            if (camera.isStreaming && !camera.options.isStuck) {
                camera.due = std::chrono::steady_clock::now();
                camera.schedule();
            } else {
                camera.timer->stop();
            }
        };
        result.param_changed = [](void* self, std::uint32_t kind, const spa_pod* parameter) {
            if (kind == SPA_PARAM_Format) static_cast<VirtualCamera*>(self)->formatChanged(parameter);
        };
        result.process = [](void* self) { static_cast<VirtualCamera*>(self)->send(); };
        return result;
    }();
    if (!connection->core()) return false;
    // The library takes a dead server's streams down with it.
    subscription = connection->listen({.onLost = [this] { unplug(); }});
    timer.emplace(connection->loop(), [this] {
        schedule();
        if (!options.isSilent) pw_stream_trigger_process(stream.get());
    });
    pw_properties* properties = pw_properties_new(nullptr, nullptr);
    const auto set = [properties](const char* key, const char* value) { pw_properties_set(properties, key, value); };
    set(PW_KEY_MEDIA_CLASS, "Video/Source");
    set(PW_KEY_MEDIA_ROLE, "Camera");
    set(PW_KEY_NODE_NAME, options.name.c_str());
    set(PW_KEY_NODE_DESCRIPTION, options.name.c_str());
    set(PW_KEY_PRIORITY_SESSION, std::to_string(options.priority).c_str());
    stream.reset(pw_stream_new(connection->core(), options.name.c_str(), properties));
    if (!stream) return false;
    pw_stream_add_listener(stream.get(), hook.fresh(), &events, this);
    const std::vector<SpaPod> pods = podsOf(options.offers);
    std::vector<const spa_pod*> parameters = pointersTo(pods);
    constexpr auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS);
    return pw_stream_connect(stream.get(), PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters.data(),
                             static_cast<std::uint32_t>(parameters.size())) >= 0;
}

void VirtualCamera::formatChanged(const spa_pod* parameter) {
    format = parameter ? readFormat(parameter) : std::nullopt;
    painter.reset();
    if (!format) return;
    if (options.isBusy) {
        ++refusalCount;
        format.reset();
        pw_stream_set_error(stream.get(), -EBUSY, "busy");
        return;
    }
    painter.emplace(
        CameraPainter::Options{.format = *format, .turn = options.turn, .paddingBytes = options.paddingBytes});
    ParameterBuilder buffers(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    buffers.range(SPA_PARAM_BUFFERS_buffers, 4, 2, 16);
    buffers.number(SPA_PARAM_BUFFERS_blocks, 1);
    buffers.number(SPA_PARAM_BUFFERS_size, painter->sizeBytes());
    buffers.number(SPA_PARAM_BUFFERS_stride, painter->strideBytes());
    std::vector<SpaPod> pods;
    pods.push_back(buffers.finish());
    pods.push_back(metaParameter(SPA_META_Header, sizeof(spa_meta_header)));
    pods.push_back(metaParameter(SPA_META_VideoTransform, sizeof(spa_meta_videotransform)));
    std::vector<const spa_pod*> parameters = pointersTo(pods);
    pw_stream_update_params(stream.get(), parameters.data(), static_cast<std::uint32_t>(parameters.size()));
}

void VirtualCamera::schedule() {
    const double rate = format && format->framesPerSecond > 0 ? format->framesPerSecond : 30;
    due += std::chrono::nanoseconds(static_cast<std::int64_t>(1e9 / rate));
    const auto time = std::chrono::steady_clock::now();
    due = std::max(due, time);
    timer->start(std::max(due - time, std::chrono::steady_clock::duration(1)));
}

void VirtualCamera::send() {
    pw_buffer* const buffer = pw_stream_dequeue_buffer(stream.get());
    if (!buffer) return;
    spa_data& data = buffer->buffer->datas[0];
    if (!painter || !data.data) {
        pw_stream_queue_buffer(stream.get(), buffer);
        return;
    }
    ++number;
    const std::size_t used = painter->paint(number, {static_cast<std::byte*>(data.data), data.maxsize});
    *data.chunk = {};
    data.chunk->size = static_cast<std::uint32_t>(options.isDamaged ? used / 2 : used);
    data.chunk->stride = static_cast<std::int32_t>(painter->strideBytes());
    if (auto* turn = static_cast<spa_meta_videotransform*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_VideoTransform, sizeof(spa_meta_videotransform))))
        turn->transform = static_cast<std::uint32_t>(options.turn.quarters + (options.turn.isFlipped ? 4 : 0));
    times.push_back(now());
    if (auto* header = static_cast<spa_meta_header*>(
            spa_buffer_find_meta_data(buffer->buffer, SPA_META_Header, sizeof(spa_meta_header)))) {
        *header = {};
        header->pts = times.back().count();
        header->seq = number;
    }
    pw_stream_queue_buffer(stream.get(), buffer);
}

void VirtualCamera::change(std::vector<CameraFormat> offers, CameraTurn turn) {
    const PipeWireConnection::Lock lock(*connection);
    options.offers = std::move(offers);
    options.turn = turn;
    if (!stream) return;
    const std::vector<SpaPod> pods = podsOf(options.offers);
    std::vector<const spa_pod*> parameters = pointersTo(pods);
    pw_stream_update_params(stream.get(), parameters.data(), static_cast<std::uint32_t>(parameters.size()));
}

void VirtualCamera::setSilent(bool isSilent) {
    const PipeWireConnection::Lock lock(*connection);
    options.isSilent = isSilent;
}

void VirtualCamera::setDamaged(bool isDamaged) {
    const PipeWireConnection::Lock lock(*connection);
    options.isDamaged = isDamaged;
}

void VirtualCamera::setStuck(bool isStuck) {
    const PipeWireConnection::Lock lock(*connection);
    options.isStuck = isStuck;
}

int VirtualCamera::refusals() const {
    const PipeWireConnection::Lock lock(*connection);
    return refusalCount;
}

bool VirtualCamera::isOn() const {
    const PipeWireConnection::Lock lock(*connection);
    return isStreaming;
}

std::optional<CameraFormat> VirtualCamera::sends() const {
    const PipeWireConnection::Lock lock(*connection);
    return format;
}

std::uint64_t VirtualCamera::latestNumber() const {
    const PipeWireConnection::Lock lock(*connection);
    return number;
}

std::optional<std::chrono::nanoseconds> VirtualCamera::timeOf(std::uint64_t wanted) const {
    const PipeWireConnection::Lock lock(*connection);
    if (wanted < options.firstNumber || wanted - options.firstNumber >= times.size()) return std::nullopt;
    return times[wanted - options.firstNumber];
}

} // namespace quillet::testing
