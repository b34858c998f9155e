// camera [options]: a camera made of software, which every program of the PipeWire session sees, until it is ended.
//
//   --name NAME          "test-camera" if not given
//   --offer FORMAT:WxH@RATE   one thing that it can send; may be given several times. yuy2:1280x720@30 if not given.
//                        FORMAT: bgrx rgbx xrgb xbgr bgr rgb yuy2 uyvy nv12 i420 yv12 jpeg
//   --padding BYTES      behind each row
//   --turn N[f]          turned counter-clockwise by N quarters, f: flipped before
//   --change N:FORMAT:WxH@RATE   sends that from picture N on
//   --silent-after N, --unplug-after N   sends no picture after number N; goes away after number N
//   --log FILE           a line "NUMBER NANOSECONDS" for each picture, on the monotonic clock, at the end
//
// The picture is the synthetic camera's (src/platform/synthetic/SyntheticCamera.h): its number stands in it in binary.
#include "tests/fakes/pipewire/VirtualCamera.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include <signal.h>

namespace {

using namespace quillet;

[[noreturn]] void usage(const std::string& problem) {
    std::fprintf(stderr, "camera: %s (the options stand at the top of tests/desktop/camera.cpp)\n", problem.c_str());
    std::exit(2);
}

CameraFormat formatOf(const char* text) {
    static constexpr const char* names[] = {"bgrx", "rgbx", "xrgb", "xbgr", "bgr",  "rgb",
                                            "yuy2", "uyvy", "nv12", "i420", "yv12", "jpeg"};
    char name[8] = {};
    CameraFormat format;
    if (std::sscanf(text, "%7[a-z0-9]:%dx%d@%lf", name, &format.width, &format.height, &format.framesPerSecond) != 4)
        usage(std::string("not a format: ") + text);
    for (std::size_t i = 0; i < std::size(names); ++i)
        if (std::strcmp(names[i], name) == 0) {
            format.layout = static_cast<CameraLayout>(i);
            return format;
        }
    usage(std::string("not a format: ") + text);
}

struct Options {
    testing::VirtualCamera::Options camera;
    std::optional<std::pair<std::uint64_t, CameraFormat>> change;
    std::optional<std::uint64_t> silentAfter, unplugAfter;
    std::string log;
};

Options read(int count, char** arguments) {
    Options options;
    bool hasOffer = false;
    for (int i = 1; i < count; i += 2) {
        const std::string name = arguments[i];
        if (i + 1 >= count) usage(name + " needs a value");
        const char* const value = arguments[i + 1];
        const auto number = [&] { return std::strtoull(value, nullptr, 10); };
        if (name == "--name") {
            options.camera.name = value;
        } else if (name == "--offer") {
            if (!std::exchange(hasOffer, true)) options.camera.offers.clear();
            options.camera.offers.push_back(formatOf(value));
        } else if (name == "--padding") {
            options.camera.paddingBytes = number();
        } else if (name == "--turn") {
            options.camera.turn = {.isFlipped = std::strchr(value, 'f') != nullptr,
                                   .quarters = static_cast<int>(number() % 4)};
        } else if (name == "--change") {
            const char* const colon = std::strchr(value, ':');
            if (!colon) usage("--change wants N:FORMAT");
            options.change = {number(), formatOf(colon + 1)};
        } else if (name == "--silent-after") {
            options.silentAfter = number();
        } else if (name == "--unplug-after") {
            options.unplugAfter = number();
        } else if (name == "--log") {
            options.log = value;
        } else {
            usage("unknown option " + name);
        }
    }
    return options;
}

} // namespace

int main(int count, char** arguments) {
    Options options = read(count, arguments);
    // Before the first thread, which would else take them.
    sigset_t ends;
    sigemptyset(&ends);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ends, signal);
    sigprocmask(SIG_BLOCK, &ends, nullptr);

    auto camera = testing::VirtualCamera::make(PipeWireConnection::make({}), options.camera);
    if (!camera) {
        std::fputs("camera: there is no PipeWire server\n", stderr);
        return 1;
    }
    constexpr timespec glance{0, 5'000'000};
    while (sigtimedwait(&ends, nullptr, &glance) < 0) {
        const std::uint64_t latest = camera->latestNumber();
        if (options.change && latest + 1 >= options.change->first)
            camera->change({std::exchange(options.change, {})->second});
        if (options.silentAfter && latest >= *options.silentAfter) camera->setSilent(true);
        if (options.unplugAfter && latest >= *options.unplugAfter) break;
    }
    if (!options.log.empty()) {
        std::ofstream log(options.log);
        for (std::uint64_t number = 1; const auto time = camera->timeOf(number); ++number)
            log << number << ' ' << time->count() << '\n';
    }
    return 0;
}
