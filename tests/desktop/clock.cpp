// clock: shows and plays the time, so that a film tells when each of its pictures and sounds happened.
//
//   clock [--fps N]      60 if not given; until it is ended or the display is gone
//
// A window at the top left of the screen, in front of all others, carries the milliseconds of CLOCK_MONOTONIC in
// binary: a row of blocks of 16 by 16 pixels, one white and one black to begin with, then 32 bits, the highest first,
// and the same bits turned over. The default output clicks at each whole second of the same clock, a microphone, which
// becomes the default one, at each half. Prints "ready" when the first picture is on the screen and the sound server
// has both nodes; without a sound server there is only the picture. Then it prints "speakers" or "microphone"
// and two moments, in seconds of the clock, for each time that the server has asked it for no sound in between, as on a
// busy machine: what it should have played then nobody can have heard. tests/program/filmClock.py reads such films.
#include "platform/pipewire/NodeDirectory.h"
#include "platform/x11/xcbHandles.h"
#include "tests/fakes/SoundDevice.h"
#include "tests/fakes/pipewire/FormulaPlayer.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <thread>
#include <vector>

#include <signal.h>

namespace {

using namespace quillet;

constexpr int blockSize = 16;
constexpr int blocks = 2 + 32 + 32;
constexpr int width = blocks * blockSize;

class ClockFace {
public:
    [[nodiscard]] bool open() {
        if (xcb_connection_has_error(connection.get()) != 0) return false;
        const xcb_screen_t& screen = *xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
        window = xcb_generate_id(connection.get());
        const std::array<std::uint32_t, 2> values{1, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, screen.root, 0, 0, width, blockSize, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values.data());
        pixmap = xcb_generate_id(connection.get());
        xcb_create_pixmap(connection.get(), screen.root_depth, pixmap, window, width, blockSize);
        white = makeContext(screen.white_pixel);
        black = makeContext(screen.black_pixel);
        xcb_map_window(connection.get(), window);
        return xcb_flush(connection.get()) > 0;
    }
    /// False when the display is gone.
    bool show(std::uint32_t number) {
        std::vector<xcb_rectangle_t> lit{block(0)};
        for (int bit = 0; bit < 32; ++bit)
            lit.push_back(block((number >> (31 - bit) & 1U) != 0 ? 2 + bit : 34 + bit));
        const xcb_rectangle_t all{0, 0, width, blockSize};
        xcb_poly_fill_rectangle(connection.get(), pixmap, black, 1, &all);
        xcb_poly_fill_rectangle(connection.get(), pixmap, white, static_cast<std::uint32_t>(lit.size()), lit.data());
        // One request, so that nobody sees half a number.
        xcb_copy_area(connection.get(), pixmap, window, white, 0, 0, 0, 0, width, blockSize);
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(connection.get(), window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
        xcb_flush(connection.get());
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection.get()))
            std::free(event);
        return xcb_connection_has_error(connection.get()) == 0;
    }

private:
    static xcb_rectangle_t block(int index) {
        return {static_cast<std::int16_t>(index * blockSize), 0, blockSize, blockSize};
    }
    xcb_gcontext_t makeContext(std::uint32_t colour) {
        const xcb_gcontext_t made = xcb_generate_id(connection.get());
        const std::array<std::uint32_t, 2> values{colour, 0};
        xcb_create_gc(connection.get(), made, window, XCB_GC_FOREGROUND | XCB_GC_GRAPHICS_EXPOSURES, values.data());
        return made;
    }

    XcbConnectionHandle connection{xcb_connect(nullptr, nullptr)};
    xcb_window_t window = 0;
    xcb_pixmap_t pixmap = 0;
    xcb_gcontext_t white = 0;
    xcb_gcontext_t black = 0;
};

std::uint32_t monotonicMilliseconds() {
    return static_cast<std::uint32_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

/// Whether the server has come to know the microphone, and so the player that was there before it.
bool hasMicrophone(const NodeDirectory& nodes) {
    for (int i = 0; i < 1000; ++i) {
        const auto source = nodes.defaultNode(NodeDirectory::Default::audioSource);
        if (source && source->name == "clock.microphone") return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

} // namespace

int main(int argc, char** argv) {
    long fps = 60;
    if (argc == 3 && std::string_view(argv[1]) == "--fps") fps = std::strtol(argv[2], nullptr, 10);
    if ((argc != 1 && argc != 3) || fps < 1) {
        std::fprintf(stderr, "usage: clock [--fps N]\n");
        return 2;
    }
    ClockFace face;
    if (!face.open() || !face.show(monotonicMilliseconds())) {
        std::fprintf(stderr, "clock: no display answers\n");
        return 1;
    }

    // Separate programs, as far as the server can tell.
    const auto line = [] { return PipeWireConnection::make({}); };
    using Role = testing::FormulaPlayer::Role;
    const auto nodes = NodeDirectory::make(line());
    testing::FormulaPlayer microphone(line(), Role::microphone, "clock.microphone", [](double seconds) {
        return fakes::clicks(1, 0.8)(seconds - 0.5); // between those of the speakers
    });
    testing::FormulaPlayer speakers(line(), Role::program, "clock", fakes::clicks(1, 0.8));
    if (!hasMicrophone(*nodes)) std::fprintf(stderr, "clock: no sound server answers\n");
    std::puts("ready");
    std::fflush(stdout);

    const auto start = std::chrono::steady_clock::now();
    for (long tick = 1; face.show(monotonicMilliseconds()); ++tick) {
        for (testing::FormulaPlayer* player : {&microphone, &speakers})
            while (const auto omission = player->takeOmission()) {
                const char* const name = player == &speakers ? "speakers" : "microphone";
                std::printf("%s %.4f %.4f\n", name, omission->from, omission->to);
                std::fflush(stdout);
            }
        std::this_thread::sleep_until(start + std::chrono::nanoseconds(std::chrono::seconds(1)) * tick / fps);
    }
    return 1;
}
