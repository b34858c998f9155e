// scene: windows in motion, so that a recording has something to show and a test something to expect.
//
//   scene [--seconds N] [--fps N]      0 seconds: until killed or until the display is gone
//
// Four windows, each pixel a formula of its place and of the tick number: lines that scroll like text, a gradient that
// wanders, a counter in seven segments with the tick in binary below, and a small window that itself bounces about.
// Prints "ready" once all of them are on the screen. Exit: 0 at the end, 1 if there is no display or it went away.
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};
using Connection = std::unique_ptr<xcb_connection_t, Disconnect>;

/// 0xRRGGBB at a window's pixel, counted from its top left, at one tick.
using Painter = std::uint32_t (*)(int x, int y, std::uint32_t tick);

constexpr std::uint32_t paper = 0xfafaf5;
constexpr std::uint32_t ink = 0x202830;

/// Rows of "words" whose lengths come from a hash, moving up one pixel a tick.
std::uint32_t scrollingLines(int x, int y, std::uint32_t tick) {
    constexpr int lineHeight = 18;
    constexpr int letterWidth = 8;
    const auto row = static_cast<std::uint32_t>(y) + tick;
    const auto column = static_cast<std::uint32_t>(x);
    const auto letter = (row / lineHeight * 2654435761U) ^ (column / letterWidth * 2246822519U);
    const bool isBlank = (letter >> 13) % 6 == 0 || row % lineHeight >= 11 || column % letterWidth >= 6;
    const bool isStroke = ((letter >> (row % lineHeight + column % letterWidth)) & 1U) != 0;
    return !isBlank && isStroke ? ink : paper;
}

std::uint32_t wanderingGradient(int x, int y, std::uint32_t tick) {
    const auto red = (static_cast<std::uint32_t>(x) + tick * 3) & 255U;
    const auto green = (static_cast<std::uint32_t>(y) + tick * 2) & 255U;
    const auto blue = (static_cast<std::uint32_t>(x + y) / 2 + 255 - (tick & 255U)) & 255U;
    return red << 16 | green << 8 | blue;
}

/// Six digits of the tick; below them a row of 32 blocks, its bits, the highest at the left.
std::uint32_t counter(int x, int y, std::uint32_t tick) {
    // Segments as bits: top, top right, bottom right, bottom, bottom left, top left, middle.
    constexpr std::array<unsigned, 10> segments{0x3f, 0x06, 0x5b, 0x4f, 0x66, 0x6d, 0x7d, 0x07, 0x7f, 0x6f};
    constexpr std::array<std::uint32_t, 6> powers{100000, 10000, 1000, 100, 10, 1};
    constexpr int digitWidth = 50;
    constexpr int digitHeight = 100;
    if (y >= digitHeight) {
        const int bit = 31 - x * 32 / (digitWidth * 6);
        return bit >= 0 && ((tick >> static_cast<unsigned>(bit)) & 1U) != 0 ? 0xffffff : 0x000000;
    }
    const auto place = static_cast<std::size_t>(x / digitWidth);
    if (place >= powers.size()) {
        return paper;
    }
    const unsigned lit = segments.at(tick / powers.at(place) % 10);
    const int column = x % digitWidth;
    const auto isOn = [lit](unsigned segment) { return ((lit >> segment) & 1U) != 0; };
    const bool isInside = column >= 8 && column < 42;
    const bool isUpper = y >= 10 && y < 50;
    const bool isLower = y >= 50 && y < 90;
    const bool isLit = (isInside && ((isOn(0) && y >= 10 && y < 18) || (isOn(6) && y >= 46 && y < 54) ||
                                     (isOn(3) && y >= 82 && y < 90))) ||
                       (column >= 34 && column < 42 && ((isOn(1) && isUpper) || (isOn(2) && isLower))) ||
                       (column >= 8 && column < 16 && ((isOn(5) && isUpper) || (isOn(4) && isLower)));
    return isLit ? 0xc03020 : paper;
}

std::uint32_t checks(int x, int y, std::uint32_t /*tick*/) {
    return ((x / 20 + y / 20) & 1) != 0 ? 0x3060c0 : 0xf0c040;
}

struct Window {
    const char* title;
    int x;
    int y;
    int width;
    int height;
    Painter paint;
    bool bounces;
    xcb_window_t window = 0;
    xcb_gcontext_t context = 0;
    std::vector<std::uint32_t> pixels{};
};

std::array<Window, 4> makeWindows() {
    return {Window{"scene: lines", 80, 80, 700, 520, scrollingLines, false},
            Window{"scene: gradient", 860, 120, 420, 300, wanderingGradient, false},
            Window{"scene: counter", 860, 520, 300, 140, counter, false},
            Window{"scene: wanderer", 200, 660, 160, 120, checks, true}};
}

void setProperty(xcb_connection_t* connection, xcb_window_t window, xcb_atom_t property, std::string_view text) {
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window, property, XCB_ATOM_STRING, 8,
                        static_cast<std::uint32_t>(text.size()), text.data());
}

void open(xcb_connection_t* connection, const xcb_screen_t& screen, Window& window) {
    window.window = xcb_generate_id(connection);
    window.context = xcb_generate_id(connection);
    window.pixels.resize(static_cast<std::size_t>(window.width) * static_cast<std::size_t>(window.height));
    const std::array<std::uint32_t, 2> values{screen.white_pixel, XCB_EVENT_MASK_EXPOSURE};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, window.window, screen.root, static_cast<std::int16_t>(window.x),
                      static_cast<std::int16_t>(window.y), static_cast<std::uint16_t>(window.width),
                      static_cast<std::uint16_t>(window.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, screen.root_visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values.data());
    setProperty(connection, window.window, XCB_ATOM_WM_NAME, window.title);
    setProperty(connection, window.window, XCB_ATOM_WM_CLASS, std::string_view("scene\0Scene\0", 12));
    // ICCCM 4.1.2.3 and 4.1.2.4: the position is the user's (else a window manager picks one), the size is fixed, and
    // the window takes no keyboard focus (else it takes the focus from the program that is being shown).
    const auto width = static_cast<std::uint32_t>(window.width);
    const auto height = static_cast<std::uint32_t>(window.height);
    const std::array<std::uint32_t, 18> normalHints{1U | 16U | 32U, 0, 0, 0, 0, width, height, width, height};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window.window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, normalHints.size(), normalHints.data());
    const std::array<std::uint32_t, 9> hints{1U, 0};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, window.window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32,
                        hints.size(), hints.data());
    xcb_create_gc(connection, window.context, window.window, 0, nullptr);
    xcb_map_window(connection, window.window);
}

void paint(xcb_connection_t* connection, const xcb_screen_t& screen, Window& window, std::uint32_t tick) {
    auto* pixel = window.pixels.data();
    for (int y = 0; y < window.height; ++y) {
        for (int x = 0; x < window.width; ++x) {
            *pixel++ = window.paint(x, y, tick);
        }
    }
    const auto bytes = static_cast<std::uint32_t>(window.pixels.size() * sizeof(std::uint32_t));
    xcb_put_image(connection, XCB_IMAGE_FORMAT_Z_PIXMAP, window.window, window.context,
                  static_cast<std::uint16_t>(window.width), static_cast<std::uint16_t>(window.height), 0, 0, 0,
                  screen.root_depth, bytes, reinterpret_cast<const std::uint8_t*>(window.pixels.data()));
}

/// Back and forth between 0 and `range`, four pixels a tick.
std::uint32_t bounce(std::uint32_t tick, int range) {
    const auto period = static_cast<std::uint32_t>(2 * range);
    const auto phase = tick * 4 % period;
    return phase < period / 2 ? phase : period - phase;
}

void move(xcb_connection_t* connection, const Window& window, std::uint32_t tick) {
    const std::array<std::uint32_t, 2> place{static_cast<std::uint32_t>(window.x) + bounce(tick, 900),
                                             static_cast<std::uint32_t>(window.y) + bounce(tick, 200)};
    xcb_configure_window(connection, window.window, XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y, place.data());
}

/// Until each window has been exposed, so is on the screen; false if the display went away first.
bool awaitExposed(xcb_connection_t* connection, std::size_t count) {
    std::vector<xcb_window_t> seen;
    while (seen.size() < count) {
        const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(xcb_wait_for_event(connection),
                                                                               std::free);
        if (!event) {
            return false;
        }
        if ((event->response_type & 0x7f) != XCB_EXPOSE) {
            continue;
        }
        const auto window = reinterpret_cast<const xcb_expose_event_t*>(event.get())->window;
        if (std::find(seen.begin(), seen.end(), window) == seen.end()) {
            seen.push_back(window);
        }
    }
    return true;
}

/// The number after `name`, or `otherwise` when the option is not given; anything else there stops the program.
long numberOption(const std::vector<std::string>& arguments, std::string_view name, long otherwise) {
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] != name) {
            continue;
        }
        char* end = nullptr;
        const long value = std::strtol(arguments[i + 1].c_str(), &end, 10);
        if (*end == '\0' && value >= 0) {
            return value;
        }
        std::fprintf(stderr, "scene: %s wants a number, not %s\n", arguments[i].c_str(), arguments[i + 1].c_str());
        std::exit(2);
    }
    return otherwise;
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::chrono::seconds length(numberOption(arguments, "--seconds", 0));
    const long fps = numberOption(arguments, "--fps", 60);
    if (fps == 0) {
        std::fprintf(stderr, "scene: --fps wants at least 1\n");
        return 2;
    }

    int screenNumber = 0;
    const Connection connection(xcb_connect(nullptr, &screenNumber));
    if (xcb_connection_has_error(connection.get()) != 0) {
        std::fprintf(stderr, "scene: no display answers\n");
        return 1;
    }
    auto roots = xcb_setup_roots_iterator(xcb_get_setup(connection.get()));
    for (; screenNumber > 0 && roots.rem > 1; --screenNumber) {
        xcb_screen_next(&roots);
    }
    const xcb_screen_t& screen = *roots.data;

    auto windows = makeWindows();
    for (auto& window : windows) {
        open(connection.get(), screen, window);
    }
    xcb_flush(connection.get());
    if (!awaitExposed(connection.get(), windows.size())) {
        return 1;
    }
    std::printf("ready\n");
    std::fflush(stdout);

    const auto start = std::chrono::steady_clock::now();
    for (std::uint32_t tick = 0; length.count() == 0 || std::chrono::steady_clock::now() - start < length; ++tick) {
        for (auto& window : windows) {
            // Also the one that never changes: another window may have covered it.
            paint(connection.get(), screen, window, tick);
            if (window.bounces) {
                move(connection.get(), window, tick);
            }
        }
        xcb_flush(connection.get());
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection.get())) {
            std::free(event);
        }
        if (xcb_connection_has_error(connection.get()) != 0) {
            return 1;
        }
        std::this_thread::sleep_until(start + std::chrono::nanoseconds(std::chrono::seconds(1)) * (tick + 1) / fps);
    }
    return 0;
}
