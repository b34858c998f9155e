#include "platform/pipewire/NodeDirectory.h"

#include "platform/pipewire/nameInObject.h"
#include "platform/pipewire/pipewireCalls.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <utility>

namespace quillet {

namespace {

std::string text(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value ? value : "";
}

std::uint32_t number(const spa_dict& properties, const char* key) {
    const char* value = spa_dict_lookup(&properties, key);
    return value ? static_cast<std::uint32_t>(std::strtoul(value, nullptr, 10)) : PW_ID_ANY;
}

const char* keyOf(NodeDirectory::Default which) {
    switch (which) {
        case NodeDirectory::Default::audioSink:
            return "default.audio.sink";
        case NodeDirectory::Default::audioSource:
            return "default.audio.source";
        case NodeDirectory::Default::videoSource:
            return "default.video.source";
    }
    return "";
}

} // namespace

bool PipeWireNode::isSoundSource() const {
    return mediaClass.starts_with("Audio/Source") || mediaClass.starts_with("Audio/Duplex");
}

std::shared_ptr<NodeDirectory> NodeDirectory::make(std::shared_ptr<PipeWireConnection> connection) {
    if (!connection) return nullptr;
    std::shared_ptr<NodeDirectory> directory(new NodeDirectory(std::move(connection)));
    NodeDirectory* const self = directory.get();
    directory->subscription = directory->line->listen({
        .onConnected = [self](pw_core* core) { self->connected(core); },
        .onLost = [self] { self->lost(); },
        .onAbsent =
            [self] {
                self->present = Knowledge::absent;
                self->tellChange();
            },
    });
    return directory;
}

std::shared_ptr<NodeDirectory> NodeDirectory::ofProgram() {
    static std::mutex mutex; // guards `program`
    static std::weak_ptr<NodeDirectory> program;
    const std::lock_guard guard(mutex);
    std::shared_ptr<NodeDirectory> directory = program.lock();
    if (!directory) program = directory = make(PipeWireConnection::make({}));
    return directory;
}

NodeDirectory::NodeDirectory(std::shared_ptr<PipeWireConnection> connection) : line(std::move(connection)) {}

NodeDirectory::~NodeDirectory() {
    const PipeWireConnection::Lock lock(*line);
    subscription = {};
    lost();
}

void NodeDirectory::connected(pw_core* core) {
    static constexpr pw_core_events coreEvents = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = [](void* self, std::uint32_t id, int sequence) {
            if (id == PW_ID_CORE) static_cast<NodeDirectory*>(self)->answered(sequence);
        };
        return events;
    }();
    static constexpr pw_registry_events registryEvents = [] {
        pw_registry_events events{};
        events.version = PW_VERSION_REGISTRY_EVENTS;
        events.global = [](void* self, std::uint32_t id, std::uint32_t, const char* type, std::uint32_t,
                           const spa_dict* properties) {
            if (properties) static_cast<NodeDirectory*>(self)->added(id, type, *properties);
        };
        events.global_remove = [](void* self, std::uint32_t id) { static_cast<NodeDirectory*>(self)->removed(id); };
        return events;
    }();
    present = Knowledge::pending;
    listenTo(core, coreHook.fresh(), coreEvents, this);
    registry.reset(registryOf(core));
    if (!registry) return;
    listenTo(registry.get(), registryHook.fresh(), registryEvents, this);
    // The first answer ends the list of objects, the second the defaults, which are asked for in between.
    answersLeft = 2;
    awaitedAnswer = askForAnswer(core);
}

void NodeDirectory::answered(int sequence) {
    if (sequence != awaitedAnswer || answersLeft == 0) return;
    if (--answersLeft > 0) {
        awaitedAnswer = askForAnswer(line->core());
        return;
    }
    present = Knowledge::known;
    tellChange();
}

void NodeDirectory::lost() {
    metadataHook.remove();
    metadata.reset();
    metadataId = PW_ID_ANY;
    registryHook.remove();
    registry.reset();
    coreHook.remove();
    nodesById.clear();
    linksById.clear();
    defaultNames.clear();
    present = Knowledge::absent;
    answersLeft = 0;
    tellChange();
}

void NodeDirectory::added(std::uint32_t id, const char* type, const spa_dict& properties) {
    const std::string_view what = type;
    if (what == PW_TYPE_INTERFACE_Node) {
        nodesById[id] = {.id = id,
                         .serial = text(properties, PW_KEY_OBJECT_SERIAL),
                         .name = text(properties, PW_KEY_NODE_NAME),
                         .description = text(properties, PW_KEY_NODE_DESCRIPTION),
                         .mediaClass = text(properties, PW_KEY_MEDIA_CLASS),
                         .mediaRole = text(properties, PW_KEY_MEDIA_ROLE),
                         .sessionPriority = std::atoi(text(properties, PW_KEY_PRIORITY_SESSION).c_str())};
    } else if (what == PW_TYPE_INTERFACE_Link) {
        linksById[id] = {.outputNode = number(properties, PW_KEY_LINK_OUTPUT_NODE),
                         .inputNode = number(properties, PW_KEY_LINK_INPUT_NODE)};
    } else if (what == PW_TYPE_INTERFACE_Metadata && text(properties, PW_KEY_METADATA_NAME) == "default") {
        static constexpr pw_metadata_events events = [] {
            pw_metadata_events result{};
            result.version = PW_VERSION_METADATA_EVENTS;
            result.property = [](void* self, std::uint32_t, const char* key, const char*, const char* value) {
                static_cast<NodeDirectory*>(self)->setDefault(key, value);
                return 0;
            };
            return result;
        }();
        metadataHook.remove();
        metadata.reset(bindMetadata(registry.get(), id));
        if (!metadata) return;
        metadataId = id;
        listenTo(metadata.get(), metadataHook.fresh(), events, this);
        ++managerCount;
    } else {
        return;
    }
    tellChange();
}

void NodeDirectory::removed(std::uint32_t id) {
    if (id == metadataId) {
        metadataHook.remove();
        metadata.reset();
        metadataId = PW_ID_ANY;
        defaultNames.clear();
    } else if (nodesById.erase(id) == 0 && linksById.erase(id) == 0) {
        return;
    }
    tellChange();
}

// No key means that all of the subject's properties are gone, no value that this one is.
void NodeDirectory::setDefault(const char* key, const char* value) {
    if (!key)
        defaultNames.clear();
    else if (!value)
        defaultNames.erase(key);
    else if (std::string_view(key).starts_with("default."))
        defaultNames[key] = nameInObject(value);
    tellChange();
}

void NodeDirectory::tellChange() {
    line->wake();
    // Nobody is troubled with the first list's parts.
    if (present == Knowledge::pending) return;
    std::vector<std::uint64_t> ids;
    for (const auto& each : subscribers)
        ids.push_back(each.first);
    for (const std::uint64_t id : ids) {
        const auto found = subscribers.find(id);
        if (found == subscribers.end()) continue;
        const std::shared_ptr<std::function<void()>> onChange = found->second;
        (*onChange)();
    }
}

NodeDirectory::Knowledge NodeDirectory::knowledge() const {
    const PipeWireConnection::Lock lock(*line);
    return present;
}

NodeDirectory::Knowledge NodeDirectory::waitUntilKnown(std::chrono::milliseconds limit) const {
    Knowledge answer = Knowledge::pending;
    static_cast<void>(line->waitFor(
        [&] {
            answer = present;
            return answer != Knowledge::pending;
        },
        limit));
    return answer;
}

std::vector<PipeWireNode> NodeDirectory::nodes() const {
    const PipeWireConnection::Lock lock(*line);
    std::vector<PipeWireNode> result;
    for (const auto& each : nodesById)
        result.push_back(each.second);
    return result;
}

std::optional<PipeWireNode> NodeDirectory::nodeWithId(std::uint32_t id) const {
    const PipeWireConnection::Lock lock(*line);
    const auto found = nodesById.find(id);
    return found == nodesById.end() ? std::nullopt : std::optional(found->second);
}

std::optional<PipeWireNode> NodeDirectory::nodeNamed(const std::string& name) const {
    const PipeWireConnection::Lock lock(*line);
    for (const auto& each : nodesById)
        if (each.second.name == name) return each.second;
    return std::nullopt;
}

std::optional<PipeWireNode> NodeDirectory::defaultNode(Default which) const {
    const PipeWireConnection::Lock lock(*line);
    const auto found = defaultNames.find(keyOf(which));
    if (found == defaultNames.end() || found->second.empty()) return std::nullopt;
    return nodeNamed(found->second);
}

std::uint64_t NodeDirectory::sessionManagers() const {
    const PipeWireConnection::Lock lock(*line);
    return managerCount;
}

bool NodeDirectory::hasSessionManager() const {
    const PipeWireConnection::Lock lock(*line);
    return metadata != nullptr;
}

std::vector<PipeWireNode> NodeDirectory::sourcesOf(std::uint32_t node) const {
    const PipeWireConnection::Lock lock(*line);
    std::vector<PipeWireNode> result;
    for (const auto& each : linksById) {
        if (each.second.inputNode != node) continue;
        const auto source = nodesById.find(each.second.outputNode);
        if (source == nodesById.end()) continue;
        const auto isThere = [&](const PipeWireNode& other) { return other.id == source->first; };
        if (std::none_of(result.begin(), result.end(), isThere)) result.push_back(source->second);
    }
    return result;
}

NodeDirectory::Subscription NodeDirectory::subscribe(std::function<void()> onChange) {
    const PipeWireConnection::Lock lock(*line);
    const std::uint64_t id = ++latestSubscriber;
    subscribers.emplace(id, std::make_shared<std::function<void()>>(std::move(onChange)));
    return {*this, id};
}

NodeDirectory::Subscription::Subscription(Subscription&& other) noexcept
    : directory(std::exchange(other.directory, nullptr)), id(other.id) {}

NodeDirectory::Subscription& NodeDirectory::Subscription::operator=(Subscription&& other) noexcept {
    std::swap(directory, other.directory);
    std::swap(id, other.id);
    return *this;
}

NodeDirectory::Subscription::~Subscription() {
    if (!directory) return;
    const PipeWireConnection::Lock lock(*directory->line);
    directory->subscribers.erase(id);
}

} // namespace quillet
