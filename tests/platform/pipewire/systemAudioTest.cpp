// What the speakers play, heard through real servers that lose their devices, crash and come back.
#include "platform/pipewire/PipeWireSystemAudio.h"
#include "tests/fakes/TemporaryFolder.h"
#include "tests/fakes/pipewire/SoundReceiver.h"
#include "tests/fakes/pipewire/SoundServer.h"
#include "tests/fakes/pipewire/toneFile.h"
#include "tests/fakes/x11/eventually.h"

#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <string>
#include <vector>

namespace quillet {
namespace {

using fakes::HeardSound;
using testing::endsWithTone;
using testing::SoundReceiver;
using testing::SoundServer;
using testing::ToneOptions;

/// A server with a source that records it.
class SystemAudio : public ::testing::Test {
protected:
    void listenTo(SoundServer& sounding) {
        receiver.start(
            pipeWireSystemAudioFactory(NodeDirectory::make(PipeWireConnection::make(sounding.connectionOptions()))));
    }
    /// Plays in the background until the result goes.
    std::unique_ptr<testing::ChildProgram> play(const ToneOptions& tone, std::vector<std::string> options = {}) {
        const std::string file = (folder.path() / (std::to_string(++files) + ".wav")).string();
        testing::writeTone(file, tone);
        options.insert(options.begin(), "pw-play");
        options.push_back(file);
        return server->run(options);
    }
    bool hears(double leftHertz, double rightHertz, double amplitude = 0.5) {
        return receiver.waitFor([=](const HeardSound& heard) {
            return endsWithTone(heard, 0, leftHertz, amplitude) && endsWithTone(heard, 1, rightHertz, amplitude);
        });
    }
    bool hearsSilence() { return hears(0, 0); }
    /// What every recording is owed: sound for all the time, up to now, without gap or overlap.
    void TearDown() override {
        const double before = mediaTimeNow().seconds();
        receiver.drain();
        receiver.stop();
        const double after = mediaTimeNow().seconds(); // a turn of the source's own may come in between
        const HeardSound heard = receiver.heard();
        EXPECT_TRUE(heard.isContiguous);
        const double end = heard.startSeconds() + static_cast<double>(heard.frames()) / 48000;
        EXPECT_GT(end, before - 0.001);
        EXPECT_LT(end, after + 0.001);
    }

    fakes::TemporaryFolder folder;
    int files = 0;
    std::unique_ptr<SoundServer> server;
    SoundReceiver receiver;
};

TEST_F(SystemAudio, hearsWhatTheSpeakersPlayEachSideByItself) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    const auto player = play({.leftHertz = 440, .rightHertz = 1000});
    ASSERT_TRUE(hears(440, 1000));
    receiver.forget();
    ASSERT_TRUE(receiver.waitFor([](const HeardSound& heard) { return heard.frames() >= 48000; }));
    const HeardSound heard = receiver.heard();
    const std::vector<float> left = heard.channel(0, heard.startSeconds(), heard.startSeconds() + 1);
    EXPECT_NEAR(fakes::frequencyOf(left, 440), 440, 0.1);
    EXPECT_TRUE(receiver.becomesPrompt());
    player->end(SIGKILL);
    EXPECT_TRUE(hearsSilence());
}

TEST_F(SystemAudio, isSilentAndOnTimeWhileNothingPlays) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    EXPECT_TRUE(receiver.waitFor([](const HeardSound& heard) { return heard.frames() >= 48000; }));
    EXPECT_TRUE(hearsSilence());
}

TEST_F(SystemAudio, isSilentAndOnTimeWithoutAServer) {
    server = SoundServer::prepare();
    ASSERT_TRUE(server);
    listenTo(*server);
    EXPECT_TRUE(receiver.waitFor([](const HeardSound& heard) { return heard.frames() >= 48000; }));
    EXPECT_TRUE(hearsSilence());
}

TEST_F(SystemAudio, beginsToHearWhenAServerComes) {
    server = SoundServer::prepare();
    ASSERT_TRUE(server);
    listenTo(*server);
    ASSERT_TRUE(hearsSilence());
    ASSERT_TRUE(server->startDaemon() && server->startSessionManager());
    const auto player = play({});
    EXPECT_TRUE(hears(1000, 1000));
}

TEST_F(SystemAudio, isSilentWithoutAnyDeviceAndHearsOneThatComes) {
    server = SoundServer::start(SoundServer::Devices::none);
    ASSERT_TRUE(server);
    listenTo(*server);
    ASSERT_TRUE(hearsSilence());
    const auto speakers = server->addSpeakers("late", 1000);
    ASSERT_TRUE(speakers);
    const auto player = play({});
    EXPECT_TRUE(hears(1000, 1000));
}

TEST_F(SystemAudio, followsTheDefaultOutput) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    const auto headset = server->addSpeakers("headset", 1);
    ASSERT_TRUE(headset);
    const auto player = play({}, {"--target", "headset"});
    ASSERT_TRUE(hearsSilence());
    ASSERT_TRUE(server->chooseDefault(NodeDirectory::Default::audioSink, "headset"));
    EXPECT_TRUE(hears(1000, 1000));
    // A player that was told its output stays there only until the user chooses: then it comes along.
    ASSERT_TRUE(server->chooseDefault(NodeDirectory::Default::audioSink, "test-speakers"));
    EXPECT_TRUE(hears(1000, 1000));
}

TEST_F(SystemAudio, outlivesItsOutputAndThenTheLastOne) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    auto headset = server->addSpeakers("headset", 1);
    ASSERT_TRUE(headset);
    const auto player = play({});
    ASSERT_TRUE(hears(1000, 1000));
    ASSERT_TRUE(server->destroyNode("test-speakers"));
    ASSERT_TRUE(receiver.waitFor([](const HeardSound& heard) { return heard.frames() > 0; }));
    receiver.forget();
    EXPECT_TRUE(hears(1000, 1000)); // the player has moved too
    headset.reset();
    EXPECT_TRUE(hearsSilence());
    const auto speakers = server->addSpeakers("new", 1000);
    const auto again = play({.leftHertz = 300, .rightHertz = 300});
    EXPECT_TRUE(receiver.waitFor([](const HeardSound& heard) { return !endsWithTone(heard, 0, 0, 0); }));
}

TEST_F(SystemAudio, outlivesTheServer) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    {
        const auto player = play({});
        ASSERT_TRUE(hears(1000, 1000));
        server->crashDaemon();
        EXPECT_TRUE(hearsSilence());
    }
    ASSERT_TRUE(server->startDaemon() && server->startSessionManager());
    const auto player = play({.leftHertz = 440, .rightHertz = 440});
    EXPECT_TRUE(hears(440, 440));
}

TEST_F(SystemAudio, outlivesTheSessionManager) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    {
        const auto player = play({});
        ASSERT_TRUE(hears(1000, 1000));
        server->crashSessionManager();
    }
    // On a desktop the devices are the session manager's own: they go with it, and it brings them anew. (0.4 waits for
    // ever, and links nothing, when it finds one that its predecessor has used.)
    ASSERT_TRUE(server->destroyNode("test-speakers"));
    ASSERT_TRUE(server->startSessionManager());
    const auto speakers = server->addSpeakers("fresh", 3000);
    ASSERT_TRUE(speakers);
    receiver.forget();
    const auto player = play({.leftHertz = 440, .rightHertz = 440});
    EXPECT_TRUE(hears(440, 440));
}

TEST_F(SystemAudio, neverHearsTheMicrophone) {
    server = SoundServer::start();
    ASSERT_TRUE(server);
    listenTo(*server);
    const auto speaking =
        play({}, {"--target", "0", "-P", "{ media.class=Audio/Source node.name=speaking priority.session=3000 }"});
    ASSERT_TRUE(testing::eventually([&] {
        const auto source = server->directory().defaultNode(NodeDirectory::Default::audioSource);
        return source && source->name == "speaking";
    }));
    receiver.forget();
    EXPECT_TRUE(receiver.waitFor([](const HeardSound& heard) { return heard.frames() >= 24000; }));
    const HeardSound heard = receiver.heard();
    EXPECT_TRUE(endsWithTone(heard, 0, 0, 0, 0.5));
}

} // namespace
} // namespace quillet
