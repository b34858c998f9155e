// Both sounds of a real server through the whole session, measured in the finished film by an independent decoder.
#include "tests/session/FlashesAndClicks.h"

namespace quillet {
namespace {

class PipeWireSound : public testing::FlashesAndClicks {};

TEST_F(PipeWireSound, flashesAndTheClicksOfBothSoundsLieTogether) {
    startPlayer();
    film(6);
    expectTogether(stop(), 0.7);
}

TEST_F(PipeWireSound, flashesAndClicksStayTogetherAcrossEverythingThatHappensToTheServer) {
    startPlayer();
    film(2);
    const auto headset = server->addSpeakers("headset", 1);
    ASSERT_TRUE(headset);
    ASSERT_TRUE(server->chooseDefault(NodeDirectory::Default::audioSink, "headset"));
    film(2);
    server->crashDaemon();
    film(1);
    ASSERT_TRUE(server->startDaemon() && server->startSessionManager());
    film(3);
    voice.reset(); // unplugged, and plugged back
    film(1);
    startMicrophone();
    film(3);
    expectTogether(stop(), 0.5);
}

} // namespace
} // namespace quillet
