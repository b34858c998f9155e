// CameraFormatQuery.h: asks one camera what it can send.
#pragma once

#include "platform/pipewire/CameraFormat.h"
#include "platform/pipewire/PipeWireConnection.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

struct pw_node;
struct pw_registry;

namespace quillet {

/// One question. Threads: the connection's loop, or with its Lock held; must go before the server is lost.
class CameraFormatQuery {
public:
    /// `onAnswer` once, on the loop's thread, with the best of all formats offered (bestCameraFormat), or nothing when
    /// we can read none; it must not destroy the query. Never, when the camera goes away meanwhile. Null when the
    /// server can take no more.
    [[nodiscard]] static std::unique_ptr<CameraFormatQuery>
    make(pw_core* core, std::uint32_t camera, std::function<void(std::optional<CameraFormat>)> onAnswer);

private:
    CameraFormatQuery() = default;
    void answered(int sequence);

    std::function<void(std::optional<CameraFormat>)> onAnswer;
    std::optional<CameraFormat> best; ///< so far
    int awaitedAnswer = -1;
    PipeWireHook coreHook;
    PipeWireProxy<pw_registry> registry;
    PipeWireProxy<pw_node> node;
    PipeWireHook nodeHook;
};

} // namespace quillet
