#include "tests/fakes/pipewire/SoundServer.h"

#include "platform/pipewire/pipewireCalls.h"
#include "tests/fakes/x11/eventually.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <vector>

namespace quillet::testing {

namespace {

namespace fs = std::filesystem;

const char* metadataKey(NodeDirectory::Default which) {
    switch (which) {
        case NodeDirectory::Default::audioSink:
            return "default.configured.audio.sink";
        case NodeDirectory::Default::audioSource:
            return "default.configured.audio.source";
        case NodeDirectory::Default::videoSource:
            return "default.configured.video.source";
    }
    return "";
}

} // namespace

TestDevice::~TestDevice() {
    const PipeWireConnection::Lock lock(*connection);
    subscription = {};
    proxy.reset();
}

std::unique_ptr<SoundServer> SoundServer::prepare(Devices devices) {
    // Short: the path of a socket ends at 108 bytes.
    std::array<char, 32> pattern{"/tmp/qs.XXXXXX"};
    if (!::mkdtemp(pattern.data())) return nullptr;
    std::unique_ptr<SoundServer> server(new SoundServer);
    server->folder = pattern.data();
    for (const char* each : {"run", "home", "config", "state", "cache", "data"})
        fs::create_directory(server->folder / each);
    fs::permissions(server->folder / "run", fs::perms::owner_all);
    const fs::path configuration = QUILLET_SOUND_CONFIGURATION;
    fs::copy(configuration / "common", server->folder / "config", fs::copy_options::recursive);
    if (devices != Devices::none)
        fs::copy(configuration / "devices", server->folder / "config", fs::copy_options::recursive);

    server->bus = server->run({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                               "--address=unix:path=" + (server->folder / "run/bus").string()});
    if (!server->bus || !eventually([&] { return fs::exists(server->folder / "run/bus"); })) return nullptr;
    server->connection = PipeWireConnection::make(server->connectionOptions());
    server->seen = NodeDirectory::make(server->connection);
    return server->seen ? std::move(server) : nullptr;
}

std::unique_ptr<SoundServer> SoundServer::start(Devices devices) {
    std::unique_ptr<SoundServer> server = prepare(devices);
    if (!server || !server->startDaemon() || !server->startSessionManager()) return nullptr;
    return server;
}

SoundServer::~SoundServer() {
    seen.reset();
    connection.reset();
    sessionManager.reset();
    daemon.reset();
    bus.reset();
    std::error_code ignored;
    fs::remove_all(folder, ignored);
}

std::vector<std::string> SoundServer::environment() const {
    const auto in = [this](const char* name) { return (folder / name).string(); };
    return {"HOME=" + in("home"),
            "XDG_RUNTIME_DIR=" + in("run"),
            "XDG_CONFIG_HOME=" + in("config"),
            "XDG_STATE_HOME=" + in("state"),
            "XDG_CACHE_HOME=" + in("cache"),
            "XDG_DATA_HOME=" + in("data"),
            "DBUS_SESSION_BUS_ADDRESS=unix:path=" + in("run/bus"),
            "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + in("run/none"),
            "PIPEWIRE_REMOTE=pipewire-0",
            "PIPEWIRE_RUNTIME_DIR=" + in("run"),
            "DISPLAY=",
            "WAYLAND_DISPLAY="};
}

std::unique_ptr<ChildProgram> SoundServer::run(const std::vector<std::string>& arguments) const {
    return ChildProgram::start({arguments, environment(), -1});
}

// The server's tools wait for ever when something goes just as they look.
bool SoundServer::succeeds(std::vector<std::string> command) const {
    command.insert(command.begin(), {"timeout", "5"});
    for (int attempt = 0; attempt < 3; ++attempt)
        if (const auto running = run(command); running && running->wait() == 0) return true;
    return false;
}

bool SoundServer::startDaemon() {
    daemon = run({"pipewire"});
    return daemon && eventually([this] { return seen->knowledge() == NodeDirectory::Knowledge::known; });
}

void SoundServer::crashDaemon() {
    daemon->end(SIGKILL);
    // The session manager has lost its only purpose and ends by itself; a real desktop starts both anew.
    if (sessionManager) sessionManager->end(SIGKILL);
    static_cast<void>(eventually([this] { return seen->knowledge() == NodeDirectory::Knowledge::absent; }));
}

bool SoundServer::startSessionManager() {
    sessionManager = run({"wireplumber"});
    return sessionManager && eventually([this] {
               if (!seen->hasSessionManager()) return false;
               if (seen->nodeNamed("test-speakers") && !seen->defaultNode(NodeDirectory::Default::audioSink))
                   return false;
               return !seen->nodeNamed("test-microphone") || seen->defaultNode(NodeDirectory::Default::audioSource);
           });
}

void SoundServer::crashSessionManager() {
    sessionManager->end(SIGKILL);
    static_cast<void>(eventually([this] { return !seen->hasSessionManager(); }));
}

std::unique_ptr<TestDevice> SoundServer::addDevice(const std::map<std::string, std::string>& properties) {
    std::vector<spa_dict_item> items;
    items.reserve(properties.size());
    for (const auto& [key, value] : properties)
        items.push_back({key.c_str(), value.c_str()});
    spa_dict dictionary{};
    dictionary.n_items = static_cast<std::uint32_t>(items.size());
    dictionary.items = items.data();

    std::unique_ptr<TestDevice> device(new TestDevice);
    device->connection = connection;
    {
        const PipeWireConnection::Lock lock(*connection);
        if (!connection->core()) return nullptr;
        device->proxy.reset(createNode(connection->core(), "adapter", dictionary));
        device->subscription = connection->listen({.onLost = [made = device.get()] { made->proxy.reset(); }});
    }
    const std::string name = properties.at("node.name");
    if (!device->proxy || !eventually([&] { return seen->nodeNamed(name).has_value(); })) return nullptr;
    return device;
}

std::unique_ptr<TestDevice> SoundServer::addSpeakers(const std::string& name, int priority) {
    return addSoundDevice(name, "Audio/Sink", priority);
}

std::unique_ptr<TestDevice> SoundServer::addMicrophone(const std::string& name, int priority) {
    return addSoundDevice(name, "Audio/Source/Virtual", priority);
}

std::unique_ptr<TestDevice> SoundServer::addSoundDevice(const std::string& name, const char* mediaClass, int priority) {
    return addDevice({{"factory.name", "support.null-audio-sink"},
                      {"node.name", name},
                      {"media.class", mediaClass},
                      {"audio.position", "FL,FR"},
                      // Both, as the session manager gives them to sound cards. Of equals any may become the clock of
                      // what has none itself, a camera as well, and sound then comes at the pace of its pictures.
                      {"priority.driver", std::to_string(priority)},
                      {"priority.session", std::to_string(priority)}});
}

void SoundServer::forgetDevices() const {
    std::error_code ignored; // there were none
    fs::remove_all(folder / "config/pipewire", ignored);
}

bool SoundServer::destroyNode(const std::string& name) {
    const auto node = seen->nodeNamed(name);
    if (!node) return false;
    {
        const PipeWireConnection::Lock lock(*connection);
        if (!connection->core()) return false;
        const PipeWireProxy<pw_registry> registry(registryOf(connection->core()));
        if (!registry) return false;
        destroyObject(registry.get(), node->id);
    }
    return eventually([&] { return !seen->nodeNamed(name); });
}

bool SoundServer::chooseDefault(NodeDirectory::Default which, const std::string& name) {
    return succeeds({"pw-metadata", "0", metadataKey(which), "{ \"name\": \"" + name + "\" }", "Spa:String:JSON"}) &&
           eventually([&] {
               const auto node = seen->defaultNode(which);
               return node && node->name == name;
           });
}

} // namespace quillet::testing
