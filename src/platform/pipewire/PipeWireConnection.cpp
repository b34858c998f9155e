#include "platform/pipewire/PipeWireConnection.h"

#include "geometry/fatal.h"
#include "platform/pipewire/pipewireCalls.h"

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <utility>
#include <vector>

namespace quillet {

namespace {

// A server's socket appears a little before the server listens on it.
constexpr std::chrono::milliseconds pauseAfterAppearance{20};
// The socket's appearance is what brings the connection back. These are for places where that cannot be seen, and for
// servers that have a socket and do not answer.
constexpr std::chrono::milliseconds longestPause{60'000};
constexpr std::chrono::milliseconds longestBlindPause{5'000};

void initialiseLibraryOnce() {
    static std::once_flag once;
    std::call_once(once, [] { pw_init(nullptr, nullptr); });
}

} // namespace

std::shared_ptr<PipeWireConnection> PipeWireConnection::make(const Options& options) {
    initialiseLibraryOnce();
    std::shared_ptr<PipeWireConnection> connection(new PipeWireConnection(options));
    if (!connection->thread) return nullptr;
    if (pw_thread_loop_start(connection->thread.get()) != 0) return nullptr;
    return connection;
}

PipeWireConnection::PipeWireConnection(const Options& options)
    : wanted(options), thread(pw_thread_loop_new("quillet.pw", nullptr)), pause(options.firstPause) {
    if (!thread) return;
    timer.emplace(loop(), [this] { attempt(); });
    // Even the first attempt is the loop's own: loading the library's modules takes some milliseconds.
    timer->start({});
}

PipeWireConnection::~PipeWireConnection() {
    if (!thread) return;
    {
        const Lock lock(*this);
        if (!listeners.empty()) fatal("a PipeWire connection must outlive its subscriptions");
        if (server) loseServer();
        socket.reset();
        timer.reset();
    }
    pw_thread_loop_stop(thread.get());
}

PipeWireConnection::Lock::Lock(PipeWireConnection& connection) : loop(connection.thread.get()) {
    pw_thread_loop_lock(loop);
}

PipeWireConnection::Lock::~Lock() { pw_thread_loop_unlock(loop); }

void PipeWireConnection::attempt() {
    if (isBroken) loseServer();
    if (server) return; // a socket that appeared has brought a second call
    if (!context) {
        // This configuration asks for real-time threads and does without where nobody grants them.
        pw_properties* properties = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr);
        context.reset(pw_context_new(loop(), properties, 0));
    }
    watchForServer(); // before trying, so that it cannot come unseen
    if (context) {
        pw_properties* properties = pw_properties_new(nullptr, nullptr);
        if (!wanted.remote.empty()) pw_properties_set(properties, PW_KEY_REMOTE_NAME, wanted.remote.c_str());
        server = pw_context_connect(context.get(), properties, 0);
    }
    isAbsent = !server;
    if (!server) {
        tell(Order::oldestFirst, [](Listener& listener) {
            if (listener.onAbsent) listener.onAbsent();
        });
        wake();
        pause = std::min(pause, socket->isWatching() ? longestPause : longestBlindPause);
        timer->start(pause);
        pause *= 2;
        return;
    }
    socket.reset();
    pause = wanted.firstPause;
    static constexpr pw_core_events events = [] {
        pw_core_events result{};
        result.version = PW_VERSION_CORE_EVENTS;
        result.error = &PipeWireConnection::coreFailed;
        return result;
    }();
    listenTo(server, coreHook.fresh(), events, this);
    tell(Order::oldestFirst, [this](Listener& listener) {
        if (listener.onConnected) listener.onConnected(server);
    });
    wake();
}

void PipeWireConnection::watchForServer() {
    if (socket && socket->isWatching()) return;
    socket.emplace(loop(), SocketWatch::socketOf(wanted.remote), [this] {
        pause = pauseAfterAppearance;
        timer->start(pause);
    });
}

// Only trouble of the connection itself is the server's death; all else concerns one object, or heals.
void PipeWireConnection::coreFailed(void* self, std::uint32_t id, int, int result, const char*) {
    auto& connection = *static_cast<PipeWireConnection*>(self);
    if (id != PW_ID_CORE || (result != -EPIPE && result != -ECONNRESET)) return;
    connection.isBroken = true;
    // Not here: the core is in the middle of telling its listeners.
    connection.timer->start({});
}

void PipeWireConnection::loseServer() {
    tell(Order::latestFirst, [](Listener& listener) {
        if (listener.onLost) listener.onLost();
    });
    isBroken = false;
    coreHook.remove();
    pw_core_disconnect(std::exchange(server, nullptr));
    wake();
}

void PipeWireConnection::tell(Order order, const std::function<void(Listener&)>& what) {
    std::vector<std::uint64_t> present;
    for (const auto& each : listeners)
        present.push_back(each.first);
    if (order == Order::latestFirst) std::reverse(present.begin(), present.end());
    for (const std::uint64_t id : present) {
        const auto found = listeners.find(id);
        if (found == listeners.end()) continue; // one of those just told has ended it
        const std::shared_ptr<Listener> listener = found->second;
        what(*listener);
    }
}

PipeWireConnection::Subscription PipeWireConnection::listen(Listener listener) {
    const Lock lock(*this);
    const std::uint64_t id = ++latestListener;
    const auto added = std::make_shared<Listener>(std::move(listener));
    listeners.emplace(id, added);
    // A server that has just died will be told as lost in a moment, like to all others.
    if (server && added->onConnected) added->onConnected(server);
    if (isAbsent && added->onAbsent) added->onAbsent();
    return {*this, id};
}

PipeWireConnection::Subscription::Subscription(Subscription&& other) noexcept
    : connection(std::exchange(other.connection, nullptr)), id(other.id) {}

PipeWireConnection::Subscription& PipeWireConnection::Subscription::operator=(Subscription&& other) noexcept {
    std::swap(connection, other.connection);
    std::swap(id, other.id);
    return *this;
}

PipeWireConnection::Subscription::~Subscription() {
    if (!connection) return;
    const Lock lock(*connection);
    connection->listeners.erase(id);
}

bool PipeWireConnection::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const Lock lock(*this);
    timespec end{};
    pw_thread_loop_get_time(thread.get(), &end, std::chrono::nanoseconds(limit).count());
    while (!condition())
        if (pw_thread_loop_timed_wait_full(thread.get(), &end) != 0) return condition();
    return true;
}

void PipeWireConnection::wake() { pw_thread_loop_signal(thread.get(), false); }

} // namespace quillet
