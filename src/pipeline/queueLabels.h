// queueLabels.h: the application's identifier and the queues named after it.
#pragma once

namespace quillet {

inline constexpr const char* applicationId = "org.quillet.Quillet";
inline constexpr const char* screenQueueLabel = "org.quillet.Quillet.screen";
inline constexpr const char* cameraQueueLabel = "org.quillet.Quillet.camera";

} // namespace quillet
