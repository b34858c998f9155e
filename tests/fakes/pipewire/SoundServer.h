// SoundServer.h: a sound and video server of the test's own.
#pragma once

#include "platform/pipewire/NodeDirectory.h"
#include "tests/fakes/x11/ChildProgram.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quillet::testing {

/// A device that a test adds to a server, and that goes when this does.
class TestDevice {
public:
    ~TestDevice();
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

private:
    friend class SoundServer;
    TestDevice() = default;
    std::shared_ptr<PipeWireConnection> connection; // the server's; shared so that devices may go after it
    PipeWireProxy<pw_proxy> proxy;
    PipeWireConnection::Subscription subscription; // a crashed server takes the proxy with it
};

/// A private session bus, PipeWire and WirePlumber, in a folder of their own: any number of them side by side. None
/// of them sees the machine's devices. Start and use from the main thread.
class SoundServer {
public:
    enum class Devices {
        none,
        speakersAndMicrophone, ///< "test-speakers" and "test-microphone", which is silent
    };

    /// Waits until the server answers and, with devices, until there are defaults. Null when there is none.
    [[nodiscard]] static std::unique_ptr<SoundServer> start(Devices devices = Devices::speakersAndMicrophone);
    /// Makes the folder but starts nothing, for a test that begins without a server: then startDaemon and
    /// startSessionManager.
    [[nodiscard]] static std::unique_ptr<SoundServer> prepare(Devices devices = Devices::speakersAndMicrophone);
    ~SoundServer();

    /// What a PipeWireConnection needs to find this server, and not the user's.
    [[nodiscard]] PipeWireConnection::Options connectionOptions() const { return {remote().string()}; }
    [[nodiscard]] std::filesystem::path remote() const { return folder / "run/pipewire-0"; }
    /// "NAME=value" for programs that are to use this server.
    [[nodiscard]] std::vector<std::string> environment() const;
    /// Runs a program, such as pw-play, on this server.
    [[nodiscard]] std::unique_ptr<ChildProgram> run(const std::vector<std::string>& arguments) const;

    /// What the server has, seen over a connection of the test's own.
    [[nodiscard]] NodeDirectory& directory() const { return *seen; }

    /// True when the parts run and answer; each ends by a crash (SIGKILL).
    bool startDaemon();
    void crashDaemon();
    bool startSessionManager();
    void crashSessionManager();

    /// Another output or input; the one of the highest priority becomes the default (the prepared ones have 1000 and
    /// 2000). Returns when the server has it; null if it will not.
    [[nodiscard]] std::unique_ptr<TestDevice> addSpeakers(const std::string& name, int priority);
    [[nodiscard]] std::unique_ptr<TestDevice> addMicrophone(const std::string& name, int priority);
    /// The general form: a node made by the factory "adapter" of these properties.
    [[nodiscard]] std::unique_ptr<TestDevice> addDevice(const std::map<std::string, std::string>& properties);
    /// From its next start on the daemon brings none. A session manager that is just starting may hang when one goes.
    void forgetDevices() const;
    /// Takes away one that the configuration brought.
    bool destroyNode(const std::string& name);
    /// Makes it the default as the user would, whatever the priorities.
    bool chooseDefault(NodeDirectory::Default which, const std::string& name);

private:
    SoundServer() = default;
    [[nodiscard]] std::unique_ptr<TestDevice> addSoundDevice(const std::string& name, const char* mediaClass,
                                                             int priority);
    [[nodiscard]] bool succeeds(std::vector<std::string> command) const;
    std::filesystem::path folder;
    std::unique_ptr<ChildProgram> bus;
    std::unique_ptr<ChildProgram> daemon;
    std::unique_ptr<ChildProgram> sessionManager;
    std::shared_ptr<PipeWireConnection> connection; // shared with the directory and the devices
    std::shared_ptr<NodeDirectory> seen;
};

} // namespace quillet::testing
