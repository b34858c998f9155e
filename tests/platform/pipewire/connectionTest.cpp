// The line to the server and the directory of its nodes, against real servers that come, crash and come back.
#include "platform/pipewire/NodeDirectory.h"
#include "platform/pipewire/PipeWireConnection.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

namespace quillet {
namespace {

using quillet::testing::eventually;
using quillet::testing::SoundServer;
using Default = NodeDirectory::Default;
using Knowledge = NodeDirectory::Knowledge;
using namespace std::chrono_literals;

std::string nameOf(const std::optional<PipeWireNode>& node) { return node ? node->name : "none"; }

/// A connection that counts what it was told.
struct CountingClient {
    explicit CountingClient(const SoundServer& server) : CountingClient(server.connectionOptions()) {}
    explicit CountingClient(const PipeWireConnection::Options& options)
        : connection(PipeWireConnection::make(options)) {
        subscription = connection->listen({.onConnected = [this](pw_core*) { ++connections; },
                                           .onLost = [this] { ++losses; },
                                           .onAbsent = [this] { ++absences; }});
    }
    std::atomic<int> connections{0};
    std::atomic<int> losses{0};
    std::atomic<int> absences{0};
    std::shared_ptr<PipeWireConnection> connection;
    PipeWireConnection::Subscription subscription;
};

TEST(PipeWireConnection, comesBackAfterTheServersCrash) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    const CountingClient client(*server);
    ASSERT_TRUE(eventually([&] { return client.connections == 1; }));
    EXPECT_EQ(client.losses, 0);

    server->crashDaemon();
    // A socket of a server that is dying may take one more connection.
    ASSERT_TRUE(eventually([&] { return client.losses >= 1 && client.absences > 1; }));
    EXPECT_EQ(client.losses, client.connections);
    ASSERT_TRUE(server->startDaemon());
    EXPECT_TRUE(eventually([&] { return client.connections == client.losses + 1; }));
}

TEST(PipeWireConnection, waitsForAServerThatIsNotThereYet) {
    const auto server = SoundServer::prepare();
    ASSERT_TRUE(server);
    const CountingClient client(*server);
    ASSERT_TRUE(eventually([&] { return client.absences > 1; }));
    EXPECT_EQ(client.connections, 0);
    ASSERT_TRUE(server->startDaemon());
    EXPECT_TRUE(eventually([&] { return client.connections == 1; }));
}

TEST(PipeWireConnection, comesAsSoonAsTheServerDoesHoweverLongItsPauses) {
    const auto server = SoundServer::prepare();
    ASSERT_TRUE(server);
    PipeWireConnection::Options options = server->connectionOptions();
    options.firstPause = 1h;
    const CountingClient client(options);
    ASSERT_TRUE(eventually([&] { return client.absences == 1; }));
    ASSERT_TRUE(server->startDaemon());
    EXPECT_TRUE(eventually([&] { return client.connections == 1; }));
    server->crashDaemon();
    ASSERT_TRUE(eventually([&] { return client.losses >= 1 && client.losses == client.connections; }));
    ASSERT_TRUE(server->startDaemon());
    EXPECT_TRUE(eventually([&] { return client.connections == client.losses + 1; }));
}

TEST(PipeWireConnection, findsAServerWhoseFolderIsMadeLater) {
    const auto server = SoundServer::prepare();
    ASSERT_TRUE(server);
    const std::filesystem::path run = server->remote().parent_path();
    const std::filesystem::path aside = run.parent_path() / "aside";
    std::filesystem::rename(run, aside);
    const CountingClient client(*server);
    ASSERT_TRUE(eventually([&] { return client.absences > 1; }));
    std::filesystem::rename(aside, run);
    ASSERT_TRUE(server->startDaemon());
    EXPECT_TRUE(eventually([&] { return client.connections == 1; }));
}

TEST(PipeWireConnection, tellsALaterListenerOfAServerThatIsThereAlready) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    const CountingClient client(*server);
    ASSERT_TRUE(eventually([&] { return client.connections == 1; }));
    int told = 0;
    const auto subscription = client.connection->listen({.onConnected = [&](pw_core*) { ++told; }});
    EXPECT_EQ(told, 1);
}

TEST(PipeWireConnection, tellsALaterListenerThatThereIsNoServer) {
    const auto server = SoundServer::prepare();
    ASSERT_TRUE(server);
    PipeWireConnection::Options options = server->connectionOptions();
    options.firstPause = 1h;
    const CountingClient client(options);
    ASSERT_TRUE(eventually([&] { return client.absences == 1; }));
    int told = 0;
    const auto subscription = client.connection->listen({.onAbsent = [&] { ++told; }});
    EXPECT_EQ(told, 1);
}

TEST(NodeDirectory, knowsTheDevicesAndTheDefaultsAfterItsFirstAnswer) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    const auto directory = NodeDirectory::make(PipeWireConnection::make(server->connectionOptions()));
    ASSERT_EQ(directory->waitUntilKnown(20s), Knowledge::known);
    EXPECT_EQ(nameOf(directory->defaultNode(Default::audioSink)), "test-speakers");
    EXPECT_EQ(nameOf(directory->defaultNode(Default::audioSource)), "test-microphone");
    EXPECT_EQ(directory->defaultNode(Default::videoSource), std::nullopt);
    EXPECT_TRUE(directory->defaultNode(Default::audioSource)->isSoundSource());
    EXPECT_FALSE(directory->defaultNode(Default::audioSink)->isSoundSource());
    EXPECT_TRUE(directory->hasSessionManager());
}

TEST(NodeDirectory, knowsAtOnceThatThereIsNoServer) {
    const auto server = SoundServer::prepare();
    ASSERT_TRUE(server);
    const auto directory = NodeDirectory::make(PipeWireConnection::make(server->connectionOptions()));
    EXPECT_EQ(directory->waitUntilKnown(20s), Knowledge::absent);
    EXPECT_EQ(directory->nodes().size(), 0U);
}

TEST(NodeDirectory, followsDevicesThatComeAndGoAndTheUsersChoice) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    NodeDirectory& directory = server->directory();
    auto headset = server->addSpeakers("headset", 3000);
    ASSERT_TRUE(headset);
    EXPECT_TRUE(eventually([&] { return nameOf(directory.defaultNode(Default::audioSink)) == "headset"; }));
    EXPECT_TRUE(server->chooseDefault(Default::audioSink, "test-speakers"));
    headset.reset();
    EXPECT_TRUE(eventually([&] { return !directory.nodeNamed("headset"); }));
    EXPECT_EQ(nameOf(directory.defaultNode(Default::audioSink)), "test-speakers");
}

TEST(NodeDirectory, tellsAMonitorFromAMicrophone) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    NodeDirectory& directory = server->directory();
    ASSERT_TRUE(server->destroyNode("test-microphone"));
    // The session manager may now name the speakers, or nobody.
    EXPECT_TRUE(eventually([&] {
        const auto source = directory.defaultNode(Default::audioSource);
        return !source || !source->isSoundSource();
    }));
}

TEST(NodeDirectory, countsSessionManagersAndForgetsTheirDefaultsWithThem) {
    const auto server = SoundServer::start();
    ASSERT_TRUE(server);
    NodeDirectory& directory = server->directory();
    EXPECT_EQ(directory.sessionManagers(), 1U);
    server->crashSessionManager();
    EXPECT_FALSE(directory.hasSessionManager());
    EXPECT_EQ(directory.defaultNode(Default::audioSink), std::nullopt);
    ASSERT_TRUE(server->startSessionManager());
    EXPECT_EQ(directory.sessionManagers(), 2U);
    EXPECT_EQ(nameOf(directory.defaultNode(Default::audioSink)), "test-speakers");
}

TEST(SoundServer, runsSideBySide) {
    const auto one = SoundServer::start();
    const auto other = SoundServer::start();
    ASSERT_TRUE(one && other);
    const auto device = one->addSpeakers("only-here", 10);
    ASSERT_TRUE(device);
    EXPECT_FALSE(other->directory().nodeNamed("only-here"));
}

} // namespace
} // namespace quillet
