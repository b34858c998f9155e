#include "platform/pipewire/CameraFormatQuery.h"

#include "platform/pipewire/cameraFormats.h"
#include "platform/pipewire/pipewireCalls.h"

#include <spa/param/param.h>

#include <utility>
#include <vector>

namespace quillet {

std::unique_ptr<CameraFormatQuery> CameraFormatQuery::make(pw_core* core, std::uint32_t camera,
                                                           std::function<void(std::optional<CameraFormat>)> onAnswer) {
    static constexpr pw_core_events coreEvents = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = [](void* self, std::uint32_t id, int sequence) {
            if (id == PW_ID_CORE) static_cast<CameraFormatQuery*>(self)->answered(sequence);
        };
        return events;
    }();
    static constexpr pw_node_events nodeEvents = [] {
        pw_node_events events{};
        events.version = PW_VERSION_NODE_EVENTS;
        events.param = [](void* self, int, std::uint32_t kind, std::uint32_t, std::uint32_t, const spa_pod* parameter) {
            if (kind != SPA_PARAM_EnumFormat) return;
            auto& asked = *static_cast<CameraFormatQuery*>(self);
            std::vector<CameraFormat> candidates = readOffer(parameter);
            // A camera may make any number of offers. Of equals the first is the best.
            if (asked.best) candidates.insert(candidates.begin(), *asked.best);
            asked.best = bestCameraFormat(candidates);
        };
        return events;
    }();

    std::unique_ptr<CameraFormatQuery> query(new CameraFormatQuery);
    query->onAnswer = std::move(onAnswer);
    query->registry.reset(registryOf(core));
    if (!query->registry) return nullptr;
    query->node.reset(bindNode(query->registry.get(), camera));
    if (!query->node) return nullptr;
    listenTo(core, query->coreHook.fresh(), coreEvents, query.get());
    listenTo(query->node.get(), query->nodeHook.fresh(), nodeEvents, query.get());
    askForParameters(query->node.get(), SPA_PARAM_EnumFormat);
    query->awaitedAnswer = askForAnswer(core);
    return query;
}

void CameraFormatQuery::answered(int sequence) {
    if (sequence != awaitedAnswer) return;
    awaitedAnswer = -1;
    onAnswer(best);
}

} // namespace quillet
