// CameraDirectory.h: which cameras the session offers.
#pragma once

#include "platform/pipewire/NodeDirectory.h"

#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// Threads: any.
class CameraDirectory {
public:
    explicit CameraDirectory(std::shared_ptr<NodeDirectory> nodes);

    /// The default one first: what the user has chosen, then by the session's priority, then in the order of coming.
    [[nodiscard]] std::vector<PipeWireNode> cameras() const;
    [[nodiscard]] std::optional<PipeWireNode> defaultCamera() const;

    [[nodiscard]] NodeDirectory& nodes() const { return *directory; }

private:
    std::shared_ptr<NodeDirectory> directory; // the program's one, shared with its other users
};

} // namespace quillet
