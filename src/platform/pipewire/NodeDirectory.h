// NodeDirectory.h: which devices and streams the sound and video server has, what is linked to what, and the defaults.
#pragma once

#include "platform/pipewire/PipeWireConnection.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct pw_metadata;
struct pw_registry;

namespace quillet {

struct PipeWireNode {
    std::uint32_t id = 0;    ///< the server's number, used again after the node has gone
    std::string serial;      ///< a number that is never used again
    std::string name;        ///< "alsa_input.pci-0000_00_1f.3.analog-stereo"
    std::string description; ///< for the user's eyes; may be empty
    std::string mediaClass;  ///< "Audio/Sink", "Audio/Source/Virtual", "Video/Source", "Stream/Input/Audio"…
    std::string mediaRole;   ///< "Camera" on cameras
    int sessionPriority = 0; ///< the higher, the rather a default

    /// Gives sound of its own making, as a microphone does: not the monitor of an output.
    [[nodiscard]] bool isSoundSource() const;
};

/// Kept up to date while it lives; empty while there is no server.
///
/// Threads: any but the loop's for make, waitUntilKnown and destruction; the rest from any. Callbacks come on the
/// loop's thread, the connection's lock held.
class NodeDirectory {
public:
    [[nodiscard]] static std::shared_ptr<NodeDirectory> make(std::shared_ptr<PipeWireConnection> connection);
    /// The program's own directory on its one connection, shared by everyone who asks while someone still has it. Null
    /// only when the library cannot start.
    [[nodiscard]] static std::shared_ptr<NodeDirectory> ofProgram();
    ~NodeDirectory();
    NodeDirectory(const NodeDirectory&) = delete;
    NodeDirectory& operator=(const NodeDirectory&) = delete;

    enum class Knowledge {
        pending, ///< the first attempt to connect, or the server's answer, is still on its way
        absent,  ///< there is no server now
        known,   ///< everything that was there when we came has been told
    };
    [[nodiscard]] Knowledge knowledge() const;
    /// Waits while the answer is pending, at most `limit`. At once when the directory is older than a moment.
    Knowledge waitUntilKnown(std::chrono::milliseconds limit) const;

    [[nodiscard]] std::vector<PipeWireNode> nodes() const;
    [[nodiscard]] std::optional<PipeWireNode> nodeWithId(std::uint32_t id) const;
    [[nodiscard]] std::optional<PipeWireNode> nodeNamed(const std::string& name) const;

    enum class Default { audioSink, audioSource, videoSource };
    /// The session manager's choice; nothing without one, or when it has named a node that is not there. A default
    /// audioSource may be an output's monitor: see isSoundSource.
    [[nodiscard]] std::optional<PipeWireNode> defaultNode(Default which) const;
    /// Counts the session managers that have come: one that is started anew must be told of old streams again.
    [[nodiscard]] std::uint64_t sessionManagers() const;
    [[nodiscard]] bool hasSessionManager() const;

    /// The nodes whose output is linked to an input of `node`, each once.
    [[nodiscard]] std::vector<PipeWireNode> sourcesOf(std::uint32_t node) const;

    /// Ends the telling when it goes; none comes or runs afterwards.
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&& other) noexcept;
        Subscription& operator=(Subscription&& other) noexcept;
        ~Subscription();

    private:
        friend class NodeDirectory;
        Subscription(NodeDirectory& owner, std::uint64_t number) : directory(&owner), id(number) {}
        NodeDirectory* directory = nullptr;
        std::uint64_t id = 0;
    };
    /// `onChange` after each change of what the questions above answer.
    [[nodiscard]] Subscription subscribe(std::function<void()> onChange);

    [[nodiscard]] PipeWireConnection& connection() const { return *line; }
    [[nodiscard]] std::shared_ptr<PipeWireConnection> sharedConnection() const { return line; }

private:
    struct Link {
        std::uint32_t outputNode = 0;
        std::uint32_t inputNode = 0;
    };
    explicit NodeDirectory(std::shared_ptr<PipeWireConnection> connection);
    void connected(pw_core* core);
    void lost();
    void added(std::uint32_t id, const char* type, const spa_dict& properties);
    void removed(std::uint32_t id);
    void setDefault(const char* key, const char* value);
    void answered(int sequence);
    void tellChange();

    std::shared_ptr<PipeWireConnection> line; // shared with those who make streams on it
    // All below belong to the connection's loop.
    std::map<std::uint32_t, PipeWireNode> nodesById;
    std::map<std::uint32_t, Link> linksById;
    std::map<std::string, std::string> defaultNames; // "default.audio.sink" and so on: the node's name
    std::map<std::uint64_t, std::shared_ptr<std::function<void()>>> subscribers; // shared with a call that is running
    std::uint64_t latestSubscriber = 0;
    Knowledge present = Knowledge::pending;
    std::uint64_t managerCount = 0;
    int awaitedAnswer = 0;
    int answersLeft = 0;
    PipeWireHook coreHook;
    PipeWireProxy<pw_registry> registry;
    PipeWireHook registryHook;
    PipeWireProxy<pw_metadata> metadata;
    std::uint32_t metadataId = PW_ID_ANY;
    PipeWireHook metadataHook;
    PipeWireConnection::Subscription subscription; // last: goes first
};

} // namespace quillet
