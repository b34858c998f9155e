// What leaving our windows out costs a frame at 1080p, in processor time of this process and of the X server, beside
// a copy of the frame: `build/release/bench_ownWindows`. Starts an Xvfb of its own.
//
// Each iteration is one frame. `client_ms` and `server_ms` are milliseconds of processor time a frame, `copies` both
// together in copies of a frame. What painting alone costs, without redirection and recording, is measured first and
// taken off; what a bare frame costs (waking up, asking) is in it.
#include "platform/x11/XClientResources.h"
#include "platform/x11/XScreenSource.h"
#include "platform/x11/monitors.h"
#include "platform/x11/xcbHandles.h"

#include <QRegion>
#include <benchmark/benchmark.h>
#include <spawn.h>
#include <xcb/shape.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT: POSIX has it so

namespace quillet {
namespace {

constexpr int width = 1920;
constexpr int height = 1080;

/// Xvfb under a display number that it chooses itself.
class Server {
public:
    Server() {
        std::array<int, 2> pipe{};
        if (::pipe(pipe.data()) != 0) return;
        const std::string descriptor = std::to_string(pipe[1]);
        const std::string screen = std::to_string(width) + "x" + std::to_string(height) + "x24";
        const std::array<const char*, 9> arguments{
            "Xvfb", "-displayfd", descriptor.c_str(), "-screen", "0", screen.c_str(), "-nolisten", "tcp", nullptr};
        const bool started = ::posix_spawnp(&process, "Xvfb", nullptr, nullptr,
                                            const_cast<char* const*>(arguments.data()), environ) == 0; // NOLINT
        ::close(pipe[1]);
        std::array<char, 16> number{};
        if (started && ::read(pipe[0], number.data(), number.size() - 1) > 0)
            name = ":" + std::to_string(std::atoi(number.data()));
        ::close(pipe[0]);
    }
    ~Server() {
        if (process <= 0) return;
        ::kill(process, SIGTERM);
        ::waitpid(process, nullptr, 0);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// Processor time so far, in milliseconds; counted by the kernel in nanoseconds.
    [[nodiscard]] double processorTime() const {
        clockid_t clock{};
        timespec time{};
        if (::clock_getcpuclockid(process, &clock) != 0 || ::clock_gettime(clock, &time) != 0) return 0;
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    std::string name;

private:
    pid_t process = 0;
};

double ownProcessorTime() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

std::vector<xcb_rectangle_t> rectanglesOf(const QRegion& region) {
    std::vector<xcb_rectangle_t> rects;
    for (const QRect& each : region)
        rects.push_back({static_cast<std::int16_t>(each.x()), static_cast<std::int16_t>(each.y()),
                         static_cast<std::uint16_t>(each.width()), static_cast<std::uint16_t>(each.height())});
    return rects;
}

/// A program with windows: one large one of another program's, or outline, bubble and panel of ours.
class Painter {
public:
    explicit Painter(const std::string& display) : connection(xcb_connect(display.c_str(), nullptr)) {
        root = xcb_setup_roots_iterator(xcb_get_setup(xcb())).data->root;
        graphics = xcb_generate_id(xcb());
        xcb_create_gc(xcb(), graphics, root, 0, nullptr);
    }
    [[nodiscard]] xcb_connection_t* xcb() const { return connection.get(); }

    xcb_window_t add(const PixelRect& rect, const QRegion& mask, std::uint32_t colour) {
        const xcb_window_t window = xcb_generate_id(xcb());
        const std::array<std::uint32_t, 2> values{colour, 1};
        xcb_create_window(xcb(), XCB_COPY_FROM_PARENT, window, root, static_cast<std::int16_t>(rect.x),
                          static_cast<std::int16_t>(rect.y), static_cast<std::uint16_t>(rect.width),
                          static_cast<std::uint16_t>(rect.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values.data());
        const std::vector<xcb_rectangle_t> rects = rectanglesOf(mask);
        if (!rects.empty())
            xcb_shape_rectangles(xcb(), XCB_SHAPE_SO_SET, XCB_SHAPE_SK_BOUNDING, XCB_CLIP_ORDERING_YX_BANDED, window, 0,
                                 0, static_cast<std::uint32_t>(rects.size()), rects.data());
        xcb_map_window(xcb(), window);
        sync();
        return window;
    }
    void fill(xcb_window_t window, const PixelRect& rect, std::uint32_t colour) {
        xcb_change_gc(xcb(), graphics, XCB_GC_FOREGROUND, &colour);
        const xcb_rectangle_t part{static_cast<std::int16_t>(rect.x), static_cast<std::int16_t>(rect.y),
                                   static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height)};
        xcb_poly_fill_rectangle(xcb(), window, graphics, 1, &part);
        xcb_flush(xcb());
    }
    void sync() const {
        const auto reply = owned(xcb_get_input_focus_reply(xcb(), xcb_get_input_focus(xcb()), nullptr));
    }

private:
    XcbConnectionHandle connection;
    xcb_window_t root = 0;
    xcb_gcontext_t graphics = 0;
};

class Recorder {
public:
    Recorder(const Server& server, const Painter& ours, std::shared_ptr<WindowRedirection> redirection,
             std::uint32_t display) {
        queue.sync([&] {
            ScreenSourceOptions options;
            options.displayID = display;
            options.pixelSize = {width, height};
            options.fps = 1000;
            options.onFrame = [this](const ConstPixelBufferRef&, MediaTime) {
                const std::lock_guard guard(mutex);
                ++frames;
                arrived.notify_all();
            };
            Error error;
            source = xScreenSourceFactory({.displayName = server.name,
                                           .ownClients = {XClientResources::of(ours.xcb())},
                                           .redirection = std::move(redirection)})(queue, std::move(options), error);
        });
    }
    ~Recorder() {
        queue.sync([this] { source.reset(); });
    }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    [[nodiscard]] std::uint64_t count() {
        const std::lock_guard guard(mutex);
        return frames;
    }
    [[nodiscard]] bool waitFor(std::uint64_t number) {
        std::unique_lock lock(mutex);
        return arrived.wait_for(lock, std::chrono::seconds(5), [&] { return frames >= number; });
    }

private:
    SerialQueue queue{"org.quillet.Quillet.screen"};
    std::unique_ptr<ScreenSource> source;
    std::mutex mutex; // guards frames
    std::condition_variable arrived;
    std::uint64_t frames = 0;
};

double millisecondsOfACopy() {
    std::vector<std::byte> from(static_cast<std::size_t>(width) * height * 4, std::byte{1});
    std::vector<std::byte> to(from.size());
    constexpr int rounds = 50;
    std::memcpy(to.data(), from.data(), from.size());
    const double begin = ownProcessorTime();
    for (int round = 0; round < rounds; ++round) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
    }
    return (ownProcessorTime() - begin) / rounds;
}

struct Spent {
    double client = 0; // milliseconds
    double server = 0;
};

/// What one round of painting costs where nobody records.
template <typename Paint>
Spent spentOn(const Server& server, const Painter& painter, Paint paint) {
    constexpr int rounds = 100;
    const Spent begin{ownProcessorTime(), server.processorTime()};
    for (int round = 0; round < rounds; ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
        paint();
        painter.sync();
    }
    return {(ownProcessorTime() - begin.client) / rounds, (server.processorTime() - begin.server) / rounds};
}

enum class Work { ownRepaint, screenWithoutOurs, screenWithOurs };

void leaveOut(benchmark::State& state, Work work) {
    const Server server;
    if (server.name.empty()) return state.SkipWithError("there is no Xvfb");
    Painter others(server.name);
    Painter ours(server.name);
    const std::uint32_t display = listMonitors(others.xcb()).front().id;
    const xcb_window_t ground = others.add({0, 0, width, height}, {}, 0x203040);
    constexpr PixelRect outlineRect{160, 90, 1600, 900};
    constexpr PixelRect bubbleRect{1400, 650, 300, 300};
    constexpr PixelRect panelRect{200, 200, 360, 640};
    const QRegion outline = QRegion(0, 0, outlineRect.width, outlineRect.height) -
                            QRegion(4, 4, outlineRect.width - 8, outlineRect.height - 8);
    const QRegion disc(0, 0, bubbleRect.width, bubbleRect.height, QRegion::Ellipse);
    std::uint32_t colour = 0;
    const auto paintGround = [&] { others.fill(ground, {0, 0, width, height}, ++colour * 77); };
    Spent painting;
    if (work != Work::ownRepaint) painting = spentOn(server, others, paintGround);
    const auto redirection = WindowRedirection::make(server.name);
    paintGround();
    xcb_window_t bubble = 0;
    if (work != Work::screenWithoutOurs) {
        ours.add(outlineRect, outline, 0xff0000);
        bubble = ours.add(bubbleRect, disc, 0x00ff00);
        ours.add(panelRect, {}, 0x0000ff);
    }
    const auto paintBubble = [&] { ours.fill(bubble, {140, 140, 8, 8}, ++colour * 77); };
    if (work == Work::ownRepaint) painting = spentOn(server, ours, paintBubble);
    Recorder recorder(server, ours, redirection, display);
    if (!recorder.waitFor(1)) return state.SkipWithError("no frame");

    Spent all;
    for (auto each : state) {
        // The rhythm of a recording.
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
        const std::uint64_t before = recorder.count();
        const Spent begin{ownProcessorTime(), server.processorTime()};
        if (work == Work::ownRepaint)
            paintBubble();
        else
            paintGround();
        if (!recorder.waitFor(before + 1)) return state.SkipWithError("a repaint made no frame");
        const Spent frame{ownProcessorTime() - begin.client - painting.client,
                          server.processorTime() - begin.server - painting.server};
        all.client += frame.client;
        all.server += frame.server;
        state.SetIterationTime(std::max(0.0, frame.client + frame.server) / 1e3);
    }
    const auto count = static_cast<double>(state.iterations());
    state.counters["client_ms"] = all.client / count;
    state.counters["server_ms"] = all.server / count;
    state.counters["copies"] = (all.client + all.server) / count / millisecondsOfACopy();
}

void ownRepaintOnAStillScreen(benchmark::State& state) { leaveOut(state, Work::ownRepaint); }
/// What the next one costs more than this is the price of leaving ours out where all beneath them changes.
void screenRepaintedWithoutOurs(benchmark::State& state) { leaveOut(state, Work::screenWithoutOurs); }
void screenRepaintedWithOurs(benchmark::State& state) { leaveOut(state, Work::screenWithOurs); }

BENCHMARK(ownRepaintOnAStillScreen)->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);
BENCHMARK(screenRepaintedWithoutOurs)->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);
BENCHMARK(screenRepaintedWithOurs)->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);

} // namespace
} // namespace quillet
