// Everything that a recording takes sound and pictures from is taken away and given back, in every order.
#include "tests/session/FlashesAndClicks.h"

#include <cstdlib>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace quillet {
namespace {

using testing::eventually;

enum class Part { daemon, manager, speakers, defaultOutput, microphone, camera };
constexpr std::array parts{Part::daemon,        Part::manager,    Part::speakers,
                           Part::defaultOutput, Part::microphone, Part::camera};
constexpr std::array<std::string_view, parts.size()> partNames{"Daemon",        "Manager",    "Speakers",
                                                               "DefaultOutput", "Microphone", "Camera"};

std::string_view nameOf(Part part) { return partNames[static_cast<std::size_t>(part)]; }

/// The first time that a part is named it is taken away, the second time it is given back.
struct Order {
    std::string name;
    std::vector<Part> events;
};

std::ostream& operator<<(std::ostream& stream, const Order& order) { return stream << order.name; }

Order shuffled(unsigned seed) {
    Order order{"shuffled" + std::to_string(seed), {}};
    for (const Part part : parts)
        order.events.insert(order.events.end(), 2, part);
    std::mt19937 random(seed);
    // By hand: std::shuffle differs from library to library.
    for (std::size_t i = order.events.size() - 1; i > 0; --i)
        std::swap(order.events[i], order.events[random() % (i + 1)]);
    return order;
}

/// Each two parts, taken in either order, given back in either order.
std::vector<Order> everyPair() {
    std::vector<Order> orders;
    for (const Part a : parts)
        for (const Part b : parts) {
            if (a == b) continue;
            const std::string name = std::string(nameOf(a)) + "Then" + std::string(nameOf(b));
            orders.push_back({name + "BackAlike", {a, b, a, b}});
            orders.push_back({name + "BackReversed", {a, b, b, a}});
        }
    return orders;
}

/// Of names in a text: "Manager Camera Manager Camera".
Order named(const std::string& text) {
    Order order{"named", {}};
    std::istringstream words(text);
    for (std::string word; words >> word;)
        order.events.push_back(
            parts.at(static_cast<std::size_t>(std::ranges::find(partNames, word) - partNames.begin())));
    return order;
}

/// QUILLET_TEST_ORDERS: "pairs", or how many shuffled orders of everything, or the names of parts.
std::vector<Order> chosenOrders() {
    const char* const wish = std::getenv("QUILLET_TEST_ORDERS");
    if (!wish) return {shuffled(4)};
    if (std::string_view(wish) == "pairs") return everyPair();
    if (*wish >= 'A') return {named(wish)};
    std::vector<Order> orders(static_cast<std::size_t>(std::max(0, std::atoi(wish))));
    for (unsigned seed = 0; seed < orders.size(); ++seed)
        orders[seed] = shuffled(seed);
    return orders;
}

class DevicesInAnyOrder : public testing::FlashesAndClicks, public ::testing::WithParamInterface<Order> {
protected:
    [[nodiscard]] bool usesCamera() const override { return true; }

    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(FlashesAndClicks::SetUp());
        // Only devices that come and go with the session manager, as on a desktop.
        server->forgetDevices();
        ASSERT_TRUE(server->destroyNode("test-microphone"));
        ASSERT_TRUE(server->destroyNode("test-speakers"));
        ASSERT_NO_FATAL_FAILURE(placeSpeakers());
        headset = server->addSpeakers("headset", 1);
        ASSERT_TRUE(headset);
        startPlayer();
        ASSERT_TRUE(eventually([&] { return isEverythingHeard() && cameraGoesOn(); }));
    }
    void TearDown() override {
        speakers.reset();
        headset.reset();
        FlashesAndClicks::TearDown();
    }

    [[nodiscard]] bool has(Part part) const { return !missing.contains(part); }
    [[nodiscard]] bool isManaged() const { return has(Part::daemon) && has(Part::manager); }

    void change(Part part) {
        const bool wasManaged = isManaged();
        const bool isTaken = missing.insert(part).second;
        if (!isTaken) missing.erase(part);
        if (part == Part::daemon && isTaken) {
            letDevicesGo();
            server->crashDaemon(); // and the session manager, which has lost its only purpose
        }
        if (part == Part::daemon && !isTaken) {
            ASSERT_TRUE(server->startDaemon());
        }
        if (part == Part::manager && isTaken && wasManaged) server->crashSessionManager();
        if (isManaged() && !wasManaged) {
            ASSERT_TRUE(server->startSessionManager());
            // A new session manager does not link streams of the time before; programs that play find that out in
            // their own ways, this one by being started again.
            player.reset();
            startPlayer();
        }
        placeDevices();
    }
    void letDevicesGo() {
        camera.reset();
        voice.reset();
        speakers.reset();
        headset.reset();
    }
    /// As on a desktop, devices are the session manager's own: they go with it, and it brings them anew. (Version 0.4
    /// waits for ever, and links nothing, when it finds one that its predecessor has used.)
    void placeDevices() {
        if (!isManaged()) letDevicesGo();
        if (isManaged() && !headset) headset = server->addSpeakers("headset", 1);
        if (isManaged() && has(Part::microphone) && !voice) startMicrophone();
        if (isManaged() && has(Part::camera) && !camera) plugInCamera();
        if (!has(Part::microphone)) voice.reset();
        if (!has(Part::camera)) camera.reset();
        placeSpeakers();
        if (!isManaged()) return;
        const char* const output = has(Part::defaultOutput) ? "test-speakers" : "headset";
        if (!server->directory().nodeNamed(output)) return;
        ASSERT_TRUE(server->chooseDefault(NodeDirectory::Default::audioSink, output))
            << output << "; " << whatThereIs();
    }
    void placeSpeakers() {
        const bool areWanted = isManaged() && has(Part::speakers);
        if (!areWanted) speakers.reset();
        if (!has(Part::daemon)) return;
        const auto areThere = [&] { return server->directory().nodeNamed("test-speakers").has_value(); };
        if (areWanted && !areThere()) speakers = server->addSpeakers("test-speakers", 1000);
        if (!areWanted && areThere()) static_cast<void>(server->destroyNode("test-speakers")); // or it is going already
        ASSERT_TRUE(eventually([&] { return areThere() == areWanted; }));
    }

    /// Linked to what they should hear.
    [[nodiscard]] bool isEverythingHeard() const {
        const auto heardBy = [this](const char* stream) -> std::vector<PipeWireNode> {
            const auto node = server->directory().nodeNamed(stream);
            return node ? server->directory().sourcesOf(node->id) : std::vector<PipeWireNode>{};
        };
        const auto isVoice = [](const PipeWireNode& node) { return node.name == "voice"; };
        const std::vector<PipeWireNode> voices = heardBy("quillet.microphone");
        const std::vector<PipeWireNode> sinks = heardBy("quillet.system-sound");
        const auto isPlayedTo = [&](const PipeWireNode& sink) {
            const auto players = server->directory().sourcesOf(sink.id);
            return std::ranges::any_of(players, [](const PipeWireNode& each) { return each.name == "music"; });
        };
        return std::ranges::any_of(voices, isVoice) && std::ranges::any_of(sinks, isPlayedTo);
    }
    /// For people who look for the reason.
    [[nodiscard]] std::string whatThereIs() const {
        std::ostringstream text;
        text << (server->directory().hasSessionManager() ? "managed" : "unmanaged");
        for (const PipeWireNode& node : server->directory().nodes()) {
            text << "\n" << node.id << " " << node.name << " (" << node.mediaClass << ") hears";
            for (const PipeWireNode& source : server->directory().sourcesOf(node.id))
                text << " " << source.name;
        }
        return text.str();
    }
    /// A picture has come since the last call.
    [[nodiscard]] bool cameraGoesOn() {
        const ConstPixelBufferRef frame = options.camera->latestFrame();
        return frame && frame->sequence != std::exchange(lastPicture, frame->sequence);
    }

    std::set<Part> missing;
    std::unique_ptr<testing::TestDevice> headset;  // the output that is there besides the usual one
    std::unique_ptr<testing::TestDevice> speakers; // the usual one, once it has been given back
    std::uint64_t lastPicture = 0;
};

TEST_P(DevicesInAnyOrder, leaveTheFilmWholeAndInTimeAndComeBack) {
    film(1);
    for (const Part part : GetParam().events) {
        ASSERT_NO_FATAL_FAILURE(change(part)) << nameOf(part);
        film(0.5);
    }
    ASSERT_TRUE(missing.empty());
    // All is there again: the recording finds it by itself, while it goes on.
    const double allIsBack = mediaTimeNow().seconds();
    static_cast<void>(cameraGoesOn());
    bool isHeard = false;
    bool isSeen = false;
    while ((!isHeard || !isSeen) && mediaTimeNow().seconds() < allIsBack + 20) {
        film(0.5);
        isHeard = isEverythingHeard();
        isSeen = isSeen || cameraGoesOn();
    }
    EXPECT_TRUE(isHeard) << "a sound stays away; " << whatThereIs();
    EXPECT_TRUE(isSeen) << "the camera stays away";
    const double healed = mediaTimeNow().seconds();
    film(3);
    const std::string atTheEnd = whatThereIs();
    const double beforeStop = mediaTimeNow().seconds();
    const test::Movie movie = stop();
    const double stopped = mediaTimeNow().seconds() - beforeStop;
    ASSERT_TRUE(movie.video && movie.audio);
    EXPECT_EQ(movie.pictures.size(), movie.video->packets.size());
    const std::vector<double> clicks = expectTogether(movie, 0.1);
    // Both sounds are heard again: the speakers click with even flashes, the microphone with odd ones.
    std::array<int, 2> heard{};
    double worst = 0;
    for (const double click : clicks) {
        if (firstFlash + click <= healed + 1) continue;
        ++heard[static_cast<std::size_t>(std::llround((firstFlash + click) / testing::period) % 2)];
        worst = std::max(worst, std::abs(std::remainder(click, testing::period))); // the film begins with a flash
    }
    EXPECT_GT(heard[0], 0) << "the system's sound is not in the film; " << atTheEnd;
    EXPECT_GT(heard[1], 0) << "the microphone is not in the film; " << atTheEnd;
    // scripts/try-orders reads this line.
    std::cout << GetParam().name << ": all heard and seen " << healed - allIsBack
              << " s after the last came back, then " << worst * 1e3 << " ms off at most, ended and read in " << stopped
              << " s\n";
}

INSTANTIATE_TEST_SUITE_P(Of, DevicesInAnyOrder, ::testing::ValuesIn(chosenOrders()),
                         [](const auto& order) { return order.param.name; });

} // namespace
} // namespace quillet
