#include "platform/pipewire/CameraStream.h"

#include "geometry/fatal.h"
#include "platform/pipewire/cameraFormats.h"
#include "platform/pipewire/spaParameters.h"
#include "platform/pipewire/streamBuffers.h"

#include <spa/buffer/meta.h>
#include <spa/param/buffers.h>
#include <spa/param/param.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace quillet {

namespace {

/// Room for the picture that is being converted, the newest one, and those that the camera fills meanwhile.
constexpr int wantedBuffers = 4;

} // namespace

CameraStream::CameraStream(std::shared_ptr<PipeWireConnection> line, Options wanted)
    : connection(std::move(line)), options(std::move(wanted)) {}

CameraStream::~CameraStream() {
    if (stream) fatal("a camera stream is let go open");
}

std::shared_ptr<CameraStream> CameraStream::make(std::shared_ptr<PipeWireConnection> connection, Options options) {
    std::shared_ptr<CameraStream> made(new CameraStream(std::move(connection), std::move(options)));
    if (made->connect()) return made;
    made->close();
    return nullptr;
}

bool CameraStream::connect() {
    static constexpr pw_stream_events events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
            if (state == PW_STREAM_STATE_ERROR) static_cast<CameraStream*>(self)->options.onFailed();
        };
        result.param_changed = [](void* self, std::uint32_t kind, const spa_pod* parameter) {
            if (kind == SPA_PARAM_Format) static_cast<CameraStream*>(self)->formatChanged(parameter);
        };
        result.remove_buffer = [](void* self, pw_buffer* buffer) {
            static_cast<CameraStream*>(self)->bufferGoes(buffer);
        };
        result.process = [](void* self) { static_cast<CameraStream*>(self)->pictureCame(); };
        return result;
    }();
    if (!connection->core()) return false;
    pw_properties* properties = pw_properties_new(nullptr, nullptr);
    const auto set = [properties](const char* key, const char* value) { pw_properties_set(properties, key, value); };
    set(PW_KEY_MEDIA_TYPE, "Video");
    set(PW_KEY_MEDIA_CATEGORY, "Capture");
    set(PW_KEY_MEDIA_ROLE, "Camera");
    set(PW_KEY_NODE_NAME, "quillet-camera");
    set(PW_KEY_TARGET_OBJECT, options.camera.serial.c_str());
    stream.reset(pw_stream_new(connection->core(), "quillet-camera", properties)); // takes the properties
    if (!stream) return false;
    pw_stream_add_listener(stream.get(), hook.fresh(), &events, this);

    std::vector<SpaPod> formats = everyFormat();
    if (options.wanted) formats.insert(formats.begin(), exactFormat(*options.wanted, RateMatch::withinAHundredth));
    std::vector<const spa_pod*> parameters;
    parameters.reserve(formats.size());
    for (const SpaPod& each : formats)
        parameters.push_back(each.get());
    // Which camera comes after this one is our own decision, hence no reconnecting.
    constexpr auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                        PW_STREAM_FLAG_DONT_RECONNECT);
    return pw_stream_connect(stream.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, parameters.data(),
                             static_cast<std::uint32_t>(parameters.size())) >= 0;
}

void CameraStream::close() {
    {
        const std::lock_guard guard(memoryLock);
        newest = nullptr;
        taken = nullptr;
        format.reset();
    }
    hook.remove();
    stream.reset();
}

void CameraStream::formatChanged(const spa_pod* parameter) {
    format = parameter ? readFormat(parameter) : std::nullopt;
    options.onNegotiated(format.has_value());
    if (!format) return;
    ParameterBuilder buffers(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    buffers.range(SPA_PARAM_BUFFERS_buffers, wantedBuffers, 2, 16);
    buffers.flags(SPA_PARAM_BUFFERS_dataType, 1 << SPA_DATA_MemPtr | 1 << SPA_DATA_MemFd);
    const SpaPod wanted[] = {buffers.finish(), metaParameter(SPA_META_Header, sizeof(spa_meta_header)),
                             metaParameter(SPA_META_VideoTransform, sizeof(spa_meta_videotransform))};
    std::array<const spa_pod*, std::size(wanted)> parameters{};
    std::transform(std::begin(wanted), std::end(wanted), parameters.begin(),
                   [](const SpaPod& pod) { return pod.get(); });
    pw_stream_update_params(stream.get(), parameters.data(), parameters.size());
}

void CameraStream::pictureCame() {
    bool isNew = false;
    while (pw_buffer* buffer = pw_stream_dequeue_buffer(stream.get())) {
        if (!format || isEmptyOrDamaged(*buffer->buffer)) {
            pw_stream_queue_buffer(stream.get(), buffer);
            continue;
        }
        if (newest) pw_stream_queue_buffer(stream.get(), newest);
        newest = buffer;
        isNew = true;
    }
    if (isNew) options.onPicture();
}

void CameraStream::bufferGoes(pw_buffer* buffer) {
    const std::lock_guard guard(memoryLock); // its memory is unmapped next
    if (newest == buffer) newest = nullptr;
    if (taken == buffer) taken = nullptr;
}

ConstPixelBufferRef CameraStream::takeNewest(CameraPictureConverter& converter) {
    std::unique_lock memory(memoryLock, std::defer_lock);
    CameraPicture picture;
    CameraFormat sent;
    {
        const PipeWireConnection::Lock lock(*connection);
        if (!stream || !newest || !format) return nullptr;
        taken = std::exchange(newest, nullptr);
        picture = pictureOf(*taken->buffer);
        sent = *format;
        memory.lock();
    }
    ConstPixelBufferRef frame = converter.convert(sent, picture);
    memory.unlock();
    const PipeWireConnection::Lock lock(*connection);
    if (taken) pw_stream_queue_buffer(stream.get(), std::exchange(taken, nullptr));
    return frame;
}

} // namespace quillet
