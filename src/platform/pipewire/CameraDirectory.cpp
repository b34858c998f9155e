#include "platform/pipewire/CameraDirectory.h"

#include <algorithm>
#include <utility>

namespace quillet {

CameraDirectory::CameraDirectory(std::shared_ptr<NodeDirectory> nodes) : directory(std::move(nodes)) {}

std::vector<PipeWireNode> CameraDirectory::cameras() const {
    std::vector<PipeWireNode> result = directory->nodes();
    // Other video sources are shared screens and the like.
    std::erase_if(result, [](const PipeWireNode& node) {
        return node.mediaClass != "Video/Source" || node.mediaRole != "Camera";
    });
    const std::optional<PipeWireNode> chosen = directory->defaultNode(NodeDirectory::Default::videoSource);
    const auto isChosen = [&](const PipeWireNode& node) { return chosen && chosen->id == node.id; };
    std::stable_sort(result.begin(), result.end(), [&](const PipeWireNode& a, const PipeWireNode& b) {
        if (isChosen(a) != isChosen(b)) return isChosen(a);
        return a.sessionPriority > b.sessionPriority;
    });
    return result;
}

std::optional<PipeWireNode> CameraDirectory::defaultCamera() const {
    const std::vector<PipeWireNode> all = cameras();
    return all.empty() ? std::nullopt : std::optional(all.front());
}

} // namespace quillet
