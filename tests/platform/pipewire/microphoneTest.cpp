// Microphones of a real server: there and not there, unplugged and plugged back, and never the speakers' monitor.
#include "platform/pipewire/PipeWireMicrophone.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/pipewire/SoundReceiver.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/pipewire/toneFile.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <thread>

namespace quillet {
namespace {

using fakes::HeardSound;
using testing::endsWithTone;
using testing::eventually;
using testing::SoundReceiver;
using testing::SoundServer;
using testing::ToneOptions;
using Default = NodeDirectory::Default;

class Microphone : public ::testing::Test {
protected:
    void SetUp() override {
        server = SoundServer::start();
        ASSERT_TRUE(server);
        directory = NodeDirectory::make(PipeWireConnection::make(server->connectionOptions()));
    }
    bool listen() { return receiver.start(pipeWireMicrophoneFactory(directory)); }

    /// A microphone that speaks; unplugged when the result goes. Returns when it is the default.
    std::unique_ptr<testing::ChildProgram> plugIn(const std::string& name, const ToneOptions& tone) {
        const std::string file = (folder.path() / (name + ".wav")).string();
        testing::writeTone(file, tone);
        auto program = server->run({"pw-play", "--target", "0", "-P",
                                    "{ media.class=Audio/Source node.name=" + name + " priority.session=3000 }", file});
        return eventually([&] { return isDefault(name); }) ? std::move(program) : nullptr;
    }
    bool isDefault(const std::string& name) {
        const auto source = server->directory().defaultNode(Default::audioSource);
        return source && source->name == name;
    }
    bool hears(double hertz) {
        return receiver.waitFor([=](const HeardSound& heard) { return endsWithTone(heard, 0, hertz, 0.5); });
    }
    void removeAllMicrophones() {
        ASSERT_TRUE(server->destroyNode("test-microphone"));
        ASSERT_TRUE(eventually([&] { return !hasMicrophone(server->directory()); }));
    }
    std::unique_ptr<testing::ChildProgram> playToSpeakers(double hertz) {
        const std::string file = (folder.path() / "speakers.wav").string();
        testing::writeTone(file, {.leftHertz = hertz, .rightHertz = hertz});
        return server->run({"pw-play", file});
    }

    fakes::TemporaryFolder folder;
    std::unique_ptr<SoundServer> server;
    std::shared_ptr<NodeDirectory> directory;
    SoundReceiver receiver;
};

TEST_F(Microphone, isHeardWithItsTimes) {
    const auto speaking = plugIn("speaking", {});
    ASSERT_TRUE(speaking);
    ASSERT_TRUE(listen());
    ASSERT_TRUE(hears(1000));
    EXPECT_TRUE(receiver.becomesPrompt());
    EXPECT_EQ(receiver.overlaps(), 0);
}

TEST_F(Microphone, answersAtOnceWhetherThereIsOne) {
    ASSERT_EQ(directory->waitUntilKnown(std::chrono::seconds(20)), NodeDirectory::Knowledge::known);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(hasMicrophone(*directory));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(300));
}

TEST_F(Microphone, isNoneWhereTheDefaultSourceIsTheSpeakersMonitor) {
    removeAllMicrophones();
    EXPECT_FALSE(listen());
}

TEST_F(Microphone, isNoneWithoutAServer) {
    server->crashDaemon();
    directory = NodeDirectory::make(PipeWireConnection::make(server->connectionOptions()));
    EXPECT_FALSE(listen());
}

TEST_F(Microphone, isHeardAgainAfterItWasPulledOutWhileTheSpeakersAreNot) {
    const auto player = playToSpeakers(440);
    auto speaking = plugIn("speaking", {});
    ASSERT_TRUE(speaking);
    ASSERT_TRUE(listen());
    ASSERT_TRUE(hears(1000));

    ASSERT_TRUE(server->destroyNode("test-microphone"));
    speaking->end(SIGKILL);
    ASSERT_TRUE(eventually([&] { return !hasMicrophone(server->directory()); }));
    receiver.forget();
    // Time for the session manager to link the stream with the speakers' monitor.
    ASSERT_TRUE(eventually([&] {
        const auto stream = server->directory().nodeNamed("quillet.microphone");
        return stream && !server->directory().sourcesOf(stream->id).empty();
    }));
    std::this_thread::sleep_for(std::chrono::milliseconds(300)); // and for that sound to come, if it could
    EXPECT_EQ(receiver.heard().frames(), 0);

    const auto again = plugIn("again", {.leftHertz = 300, .rightHertz = 300});
    ASSERT_TRUE(again);
    EXPECT_TRUE(hears(300));
    EXPECT_EQ(receiver.overlaps(), 0);
}

TEST_F(Microphone, isFollowedWhenTheUserChoosesAnother) {
    const auto speaking = plugIn("speaking", {});
    ASSERT_TRUE(speaking);
    ASSERT_TRUE(listen());
    ASSERT_TRUE(hears(1000));
    ASSERT_TRUE(server->chooseDefault(Default::audioSource, "test-microphone"));
    EXPECT_TRUE(hears(0));
    ASSERT_TRUE(server->chooseDefault(Default::audioSource, "speaking"));
    EXPECT_TRUE(hears(1000));
    EXPECT_EQ(receiver.overlaps(), 0);
}

TEST_F(Microphone, goesOnWhenAHeadsetSwitchesToAnotherRateAndToOneChannel) {
    auto music = plugIn("headset", {.leftHertz = 1000, .rightHertz = 1000, .sampleRate = 44100});
    ASSERT_TRUE(music);
    ASSERT_TRUE(listen());
    ASSERT_TRUE(hears(1000));
    music.reset();
    const auto call = plugIn("headset", {.leftHertz = 1000, .sampleRate = 16000, .channels = 1});
    ASSERT_TRUE(call);
    receiver.forget();
    EXPECT_TRUE(hears(1000));
    EXPECT_EQ(receiver.overlaps(), 0);
}

TEST_F(Microphone, outlivesTheServer) {
    auto speaking = plugIn("speaking", {});
    ASSERT_TRUE(speaking);
    ASSERT_TRUE(listen());
    ASSERT_TRUE(hears(1000));
    server->crashDaemon();
    speaking.reset();
    ASSERT_TRUE(server->startDaemon() && server->startSessionManager());
    speaking = plugIn("speaking", {.leftHertz = 440, .rightHertz = 440});
    ASSERT_TRUE(speaking);
    EXPECT_TRUE(hears(440));
    EXPECT_EQ(receiver.overlaps(), 0);
}

} // namespace
} // namespace quillet
