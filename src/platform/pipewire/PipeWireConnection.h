// PipeWireConnection.h: the program's one line to the sound and video server, which comes back when the server does.
#pragma once

#include "platform/pipewire/PipeWireTimer.h"
#include "platform/pipewire/SocketWatch.h"
#include "platform/pipewire/pipewireHandles.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace quillet {

/// A thread with libpipewire's loop (`quillet.pw`), and on it a connection that is tried as soon as the server's socket
/// appears, and now and then, ever more seldom, until there is a server, and again after one has died. Every stream and
/// every remote object is made from its core.
///
/// Threads: make, listen, waitFor and Lock from any but the loop's own thread; wake from any. A call into libpipewire
/// needs the loop's thread or a Lock. While it is held no listener runs and nothing arrives, except in a stream that
/// has its `process` on the library's data thread. Never wait for another thread or queue under it or in a listener.
class PipeWireConnection {
public:
    struct Options {
        /// The server's socket, a name in the runtime folder or a whole path; empty: as the user's environment says.
        std::string remote;
        /// The pause after the first failed attempt; each further one is twice as long.
        std::chrono::milliseconds firstPause{250};
    };
    /// Returns at once; connecting goes on in the background. Null only when the library itself cannot start.
    [[nodiscard]] static std::shared_ptr<PipeWireConnection> make(const Options& options);

    /// Not on the loop's thread, and after all subscriptions.
    ~PipeWireConnection();
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// Holds the loop still. Recursive.
    class Lock {
    public:
        explicit Lock(PipeWireConnection& connection);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pw_thread_loop* loop;
    };

    struct Listener {
        /// A server answers. `core` is good until onLost; what is asked of it is answered later.
        std::function<void(pw_core* core)> onConnected{};
        /// The server is gone: whatever was made from its core must go now.
        std::function<void()> onLost{};
        /// An attempt found no server; after the last loss, or before the first connection.
        std::function<void()> onAbsent{};
    };
    /// Ends the listening when it goes; afterwards no call comes, and none is running. It tells nothing: who goes while
    /// connected lets go of his objects himself, under the same Lock.
    class Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&& other) noexcept;
        Subscription& operator=(Subscription&& other) noexcept;
        ~Subscription();

    private:
        friend class PipeWireConnection;
        Subscription(PipeWireConnection& owner, std::uint64_t number) : connection(&owner), id(number) {}
        PipeWireConnection* connection = nullptr;
        std::uint64_t id = 0;
    };
    /// Listeners are called on the loop's thread, lock held; at once and here onConnected when there is a server
    /// already, and onAbsent when the last attempt has found none. Losses are told in the opposite order of listening.
    [[nodiscard]] Subscription listen(Listener listener);

    /// Waits until `condition` holds, asked under the lock whenever wake() is called; false when `limit` has passed.
    /// Not while this thread holds a Lock.
    [[nodiscard]] bool waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit);
    /// Lets waitFor ask again. Lock held.
    void wake();

    /// The loop, for timers of one's own; and the core, null while there is no server. Lock held.
    [[nodiscard]] pw_loop* loop() const { return pw_thread_loop_get_loop(thread.get()); }
    [[nodiscard]] pw_core* core() const { return server; }

private:
    explicit PipeWireConnection(const Options& options);
    void attempt();
    void watchForServer();
    void loseServer();
    enum class Order { oldestFirst, latestFirst };
    void tell(Order order, const std::function<void(Listener&)>& what);
    static void coreFailed(void* self, std::uint32_t id, int sequence, int result, const char* message);

    Options wanted;
    // All below belong to the loop: its thread or its lock.
    std::map<std::uint64_t, std::shared_ptr<Listener>> listeners; // shared with a call that is just running
    std::uint64_t latestListener = 0;
    PipeWireThreadLoopHandle thread;
    PipeWireContextHandle context;
    std::optional<PipeWireTimer> timer; // for the next attempt
    std::optional<SocketWatch> socket;  // while there is no server
    std::chrono::milliseconds pause;    // before the next attempt
    pw_core* server = nullptr;
    PipeWireHook coreHook;
    bool isBroken = false; // the server is dead, and the timer is about to say so
    bool isAbsent = false; // the last attempt found none
};

} // namespace quillet
