// CameraStream.h: the pictures of one camera, as they come.
#pragma once

#include "media/PixelBuffer.h"
#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/CameraPictureConverter.h"
#include "platform/pipewire/NodeDirectory.h"
#include "platform/pipewire/PipeWireConnection.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>

namespace quillet {

/// Holds the newest picture that has not been taken; older ones go straight back to the camera.
///
/// Threads: make and close with the connection's Lock held; takeNewest on the consumer's queue, without it. Callbacks
/// come on the loop's thread, Lock held, and must not destroy or close the stream.
class CameraStream {
public:
    struct Options {
        PipeWireNode camera;
        std::optional<CameraFormat> wanted;         ///< none: any that we can read
        std::function<void()> onPicture;            ///< there is one to take
        std::function<void(bool has)> onNegotiated; ///< the stream has a format now, or has it no longer
        std::function<void()> onFailed;             ///< the server says that nothing will come
    };
    /// Null when the server is not there or can take no more.
    [[nodiscard]] static std::shared_ptr<CameraStream> make(std::shared_ptr<PipeWireConnection> connection,
                                                            Options options);
    ~CameraStream();
    CameraStream(const CameraStream&) = delete;
    CameraStream& operator=(const CameraStream&) = delete;

    /// Lets the camera go; no callback afterwards. Waits while a picture is being converted. Needed before the last
    /// reference goes.
    void close();

    /// The newest picture, converted in the camera's own memory while others wait in line; null when there is none, or
    /// when it cannot be read.
    [[nodiscard]] ConstPixelBufferRef takeNewest(CameraPictureConverter& converter);

private:
    CameraStream(std::shared_ptr<PipeWireConnection> line, Options wanted);
    [[nodiscard]] bool connect();
    void formatChanged(const spa_pod* format);
    void pictureCame();
    void bufferGoes(pw_buffer* buffer);

    std::shared_ptr<PipeWireConnection> connection; // shared with everyone on it
    Options options;
    // Under the connection's Lock:
    PipeWireStreamHandle stream;
    PipeWireHook hook;
    std::optional<CameraFormat> format;
    pw_buffer* newest = nullptr;
    pw_buffer* taken = nullptr; // being converted; null once it has gone meanwhile

    std::mutex
        memoryLock; // guards the mapped memory of `taken`; inside the connection's Lock, never the other way round
};

} // namespace quillet
