#include "platform/chooseCamera.h"

#include "platform/pipewire/PipeWireCamera.h"
#include "platform/synthetic/SyntheticCamera.h"

#include <cstdlib>
#include <string_view>
#include <utility>

namespace quillet {

decltype(CaptureDeviceFactories::camera) chooseCamera() {
    const char* choice = std::getenv("QUILLET_SOURCES");
    if (choice && std::string_view(choice) == "synthetic")
        return [](SerialQueue& queue, auto onFrame) { return SyntheticCamera::make(queue, std::move(onFrame)); };
    return [nodes = NodeDirectory::ofProgram()](SerialQueue& queue, auto onFrame) {
        return PipeWireCamera::make(nodes, queue, std::move(onFrame));
    };
}

} // namespace quillet
