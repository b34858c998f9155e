// What leaving our windows out costs a frame at 1080p, in processor time of this process and of the X server, beside
// a copy of the frame: `build/release/bench_ownWindows`. Starts an Xvfb of its own.
//
// Each iteration is one frame. `client_ms` and `server_ms` are milliseconds of processor time a frame, `copies` both
// together in copies of a frame. What painting alone costs, without redirection and recording, is measured first and
// taken off; what a bare frame costs (waking up, asking) is in it. The rows named fetch and reconstruct repaint one
// rectangle, without our windows and around the middle of our panel. The rows named growth repaint what lies beneath
// our windows, with more or fewer windows and pixels.
#include "platform/x11/XClientResources.h"
#include "platform/x11/XScreenSource.h"
#include "platform/x11/monitors.h"
#include "platform/x11/xcbHandles.h"

#include <QRect>
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

struct Case {
    int width = 1920;
    int height = 1080;
    int ours = 3;   ///< of panel, bubble, outline and a second panel, the first so many
    int others = 0; ///< small windows, besides the large one
    /// Hundreds of windows make painting dearer where they are not redirected: then it is what painting costs with
    /// redirection that is taken off.
    bool takesRedirectionOff = false;
    int percent = 100; ///< of the screen that a repaint of it covers

    /// What a repaint of the screen covers: a rectangle of the screen's shape, as near to the middle of the panel as it
    /// can stand.
    [[nodiscard]] QRect repainted() const {
        const double side = std::sqrt(percent / 100.0);
        const QSize size(static_cast<int>(width * side), static_cast<int>(height * side));
        return {QPoint(std::clamp(380 - size.width() / 2, 0, width - size.width()),
                       std::clamp(390 - size.height() / 2, 0, height - size.height())),
                size};
    }
};

/// Xvfb under a display number that it chooses itself.
class Server {
public:
    Server(int width, int height) {
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
    void fill(xcb_window_t window, const QRegion& part, std::uint32_t colour) {
        xcb_change_gc(xcb(), graphics, XCB_GC_FOREGROUND, &colour);
        // One request for each: the server reports what one request draws as a single rectangle around it all.
        for (const xcb_rectangle_t& rect : rectanglesOf(part))
            xcb_poly_fill_rectangle(xcb(), window, graphics, 1, &rect);
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
             const Case& wanted, std::uint32_t display) {
        queue.sync([&] {
            ScreenSourceOptions options;
            options.displayID = display;
            options.pixelSize = {static_cast<double>(wanted.width), static_cast<double>(wanted.height)};
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

double millisecondsOfACopy(const Case& wanted) {
    std::vector<std::byte> from(static_cast<std::size_t>(wanted.width) * static_cast<std::size_t>(wanted.height) * 4,
                                std::byte{1});
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

enum class Work { ownRepaint, beneathOurs, screenWithoutOurs, screenWithOurs };

struct OwnWindow {
    PixelRect rect;
    QRegion mask;    ///< counted from its corner
    QRegion painted; ///< the part of it beneath which others paint: of a disc the square inside
};

/// Ours as they would stand on a screen of that size; only the outline's own depends on it.
std::vector<OwnWindow> ownWindows(const Case& wanted) {
    constexpr int thickness = 4;
    const PixelRect range{wanted.width / 12, wanted.height / 12, wanted.width * 10 / 12, wanted.height * 10 / 12};
    const QRegion outline = QRegion(0, 0, range.width, range.height) -
                            QRegion(thickness, thickness, range.width - 2 * thickness, range.height - 2 * thickness);
    constexpr PixelRect bubble{880, 250, 300, 300};
    constexpr PixelRect panel{200, 70, 360, 640};
    constexpr PixelRect prompter{600, 70, 250, 500};
    const QRegion wholePanel(0, 0, panel.width, panel.height);
    const QRegion wholePrompter(0, 0, prompter.width, prompter.height);
    std::vector<OwnWindow> windows{
        {panel, wholePanel, wholePanel},
        {bubble, QRegion(0, 0, bubble.width, bubble.height, QRegion::Ellipse), QRegion(45, 45, 210, 210)},
        {range, outline, outline},
        {prompter, wholePrompter, wholePrompter}};
    windows.resize(static_cast<std::size_t>(wanted.ours));
    return windows;
}

/// Small windows all over the screen, also beneath ours.
void addOthers(Painter& painter, const Case& wanted) {
    constexpr PixelRect size{0, 0, 40, 30};
    for (int i = 0; i < wanted.others; ++i) {
        // Multiples of two primes: neither rows nor columns.
        const int x = i * 331 % (wanted.width - size.width);
        const int y = i * 197 % (wanted.height - size.height);
        painter.add(size.offsetBy(x, y), {}, 0x405060U + static_cast<std::uint32_t>(i) * 4096);
    }
}

void leaveOut(benchmark::State& state, Work work, const Case& wanted) {
    const Server server(wanted.width, wanted.height);
    if (server.name.empty()) return state.SkipWithError("there is no Xvfb");
    Painter others(server.name);
    Painter ours(server.name);
    const std::uint32_t display = listMonitors(others.xcb()).front().id;
    const QRegion screen(0, 0, wanted.width, wanted.height);
    const xcb_window_t ground = others.add({0, 0, wanted.width, wanted.height}, {}, 0x203040);
    addOthers(others, wanted);
    const std::vector<OwnWindow> windows = ownWindows(wanted);
    QRegion beneath;
    for (const OwnWindow& each : windows)
        beneath += each.painted.translated(each.rect.x, each.rect.y);
    std::uint32_t colour = 0;
    const QRegion painted = work == Work::beneathOurs ? beneath : QRegion(wanted.repainted());
    const auto paintGround = [&] { others.fill(ground, painted, ++colour * 77); };
    Spent painting;
    if (work != Work::ownRepaint && !wanted.takesRedirectionOff) painting = spentOn(server, others, paintGround);
    const auto redirection = WindowRedirection::make(server.name);
    others.fill(ground, screen, 0x102030);
    if (wanted.takesRedirectionOff) painting = spentOn(server, others, paintGround);
    std::vector<xcb_window_t> shown;
    if (work != Work::screenWithoutOurs)
        for (const OwnWindow& each : windows)
            shown.push_back(ours.add(each.rect, each.mask, 0xff0000));
    const auto paintOurs = [&] { ours.fill(shown.front(), QRegion(140, 140, 8, 8), ++colour * 77); };
    if (work == Work::ownRepaint) painting = spentOn(server, ours, paintOurs);
    Recorder recorder(server, ours, redirection, wanted, display);
    if (!recorder.waitFor(1)) return state.SkipWithError("no frame");

    Spent all;
    for (auto each : state) {
        // The rhythm of a recording.
        std::this_thread::sleep_for(std::chrono::milliseconds(4));
        const std::uint64_t before = recorder.count();
        const Spent begin{ownProcessorTime(), server.processorTime()};
        if (work == Work::ownRepaint)
            paintOurs();
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
    state.counters["copies"] = (all.client + all.server) / count / millisecondsOfACopy(wanted);
}

void ownRepaintOnAStillScreen(benchmark::State& state) { leaveOut(state, Work::ownRepaint, {}); }
void everythingBeneathOursRepainted(benchmark::State& state) { leaveOut(state, Work::beneathOurs, {}); }
/// What the next one costs more than this is the price of leaving ours out where the whole screen changes.
void screenRepaintedWithoutOurs(benchmark::State& state) { leaveOut(state, Work::screenWithoutOurs, {}); }
void screenRepaintedWithOurs(benchmark::State& state) { leaveOut(state, Work::screenWithOurs, {}); }

void fetchOfPercent(benchmark::State& state) {
    leaveOut(state, Work::screenWithoutOurs, {.percent = static_cast<int>(state.range(0))});
}
void reconstructOfPercent(benchmark::State& state) {
    leaveOut(state, Work::screenWithOurs, {.percent = static_cast<int>(state.range(0))});
}

void growthWithOurWindows(benchmark::State& state) {
    leaveOut(state, Work::beneathOurs, {.ours = static_cast<int>(state.range(0))});
}
void growthWithOthersWindows(benchmark::State& state) {
    leaveOut(state, Work::beneathOurs, {.others = static_cast<int>(state.range(0)) - 1, .takesRedirectionOff = true});
}
void growthWithTheScreen(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    leaveOut(state, Work::beneathOurs, {.width = rows * 16 / 9, .height = rows});
}
void growthWithTheScreenAllRepainted(benchmark::State& state) {
    const int rows = static_cast<int>(state.range(0));
    leaveOut(state, Work::screenWithOurs, {.width = rows * 16 / 9, .height = rows});
}

void oneFrameEach(benchmark::internal::Benchmark* each) {
    each->UseManualTime()->Iterations(300)->Unit(benchmark::kMillisecond);
}
void briefly(benchmark::internal::Benchmark* each) {
    each->UseManualTime()->Iterations(150)->Unit(benchmark::kMillisecond);
}

BENCHMARK(ownRepaintOnAStillScreen)->Apply(oneFrameEach);
BENCHMARK(everythingBeneathOursRepainted)->Apply(oneFrameEach);
BENCHMARK(screenRepaintedWithoutOurs)->Apply(oneFrameEach);
BENCHMARK(screenRepaintedWithOurs)->Apply(oneFrameEach);
BENCHMARK(fetchOfPercent)->ArgName("percent")->Arg(1)->Arg(10)->Arg(100)->Apply(briefly);
BENCHMARK(reconstructOfPercent)->ArgName("percent")->Arg(1)->Arg(10)->Arg(100)->Apply(briefly);
BENCHMARK(growthWithOurWindows)->ArgName("windows")->Arg(1)->Arg(2)->Arg(4)->Apply(briefly);
BENCHMARK(growthWithOthersWindows)->ArgName("windows")->Arg(1)->Arg(10)->Arg(50)->Arg(500)->Apply(briefly);
BENCHMARK(growthWithTheScreen)->ArgName("rows")->Arg(720)->Arg(1080)->Arg(1440)->Arg(2160)->Apply(briefly);
BENCHMARK(growthWithTheScreenAllRepainted)->ArgName("rows")->Arg(720)->Arg(1080)->Arg(1440)->Arg(2160)->Apply(briefly);

} // namespace
} // namespace quillet
