// measure_start PROGRAM [RUNS]: how long PROGRAM takes, on the present desktop, from its start until
//   shown     the window manager has taken its window in,
//   painted   the record button stands on the screen in its colour,
//   usable    its event loop answers: what the user does now is heard;
// and the processor time that all its threads have used until then. Milliseconds; the first run warms the disk cache
// and is not counted. Exit: 0, or 1 when a window did not come within ten seconds.
//
//   tests/desktop/desktop -- build/release/measure_start build/release/quillet
#include "tests/fakes/x11/ChildProgram.h"
#include "tests/fakes/x11/DesktopEye.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace quillet;
using namespace quillet::testing;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t recordButton = 0x007AFF;
constexpr std::size_t leastButtonPixels = 3000; ///< of more than 10,000
constexpr std::chrono::seconds patience{10};

struct Times {
    double shown = 0;
    double painted = 0;
    double usable = 0;
    double processor = 0;
};

class Desktop {
public:
    Desktop() {
        // Toolkits send their answers to pings to either.
        const std::uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(eye.xcb(), eye.root(), XCB_CW_EVENT_MASK, &mask);
        clientList = atom("_NET_CLIENT_LIST");
        protocols = atom("WM_PROTOCOLS");
        ping = atom("_NET_WM_PING");
    }

    [[nodiscard]] std::vector<xcb_window_t> windows() const {
        const auto reply = owned(xcb_get_property_reply(
            eye.xcb(), xcb_get_property(eye.xcb(), 0, eye.root(), clientList, XCB_ATOM_WINDOW, 0, 1024), nullptr));
        if (!reply) return {};
        const auto* const first = static_cast<const xcb_window_t*>(xcb_get_property_value(reply.get()));
        return {first, first + reply->value_len};
    }
    [[nodiscard]] bool isPainted(xcb_window_t window) const {
        const PixelRect place = eye.placeOf(window);
        if (place.isEmpty() || !eye.isViewable(window)) return false;
        const Picture picture = eye.look(place);
        std::size_t found = 0;
        for (int y = 0; y < place.height; ++y)
            for (int x = 0; x < place.width; ++x)
                found += (picture.at(x, y) & 0xFFFFFF) == recordButton ? 1U : 0U;
        return found >= leastButtonPixels;
    }
    void askForAnswer(xcb_window_t window) const {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.format = 32;
        message.window = window;
        message.type = protocols;
        message.data.data32[0] = ping;
        message.data.data32[2] = window;
        xcb_send_event(eye.xcb(), 0, window, 0, reinterpret_cast<const char*>(&message));
        xcb_flush(eye.xcb());
    }
    [[nodiscard]] bool hasAnswered() const {
        while (const auto event = owned(xcb_poll_for_event(eye.xcb()))) {
            const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(*event);
            if ((event->response_type & 0x7F) == XCB_CLIENT_MESSAGE && message.data.data32[0] == ping) return true;
        }
        return false;
    }

private:
    [[nodiscard]] xcb_atom_t atom(const std::string& name) const {
        const auto reply = owned(xcb_intern_atom_reply(
            eye.xcb(), xcb_intern_atom(eye.xcb(), 0, static_cast<std::uint16_t>(name.size()), name.data()), nullptr));
        return reply ? reply->atom : XCB_NONE;
    }

    DesktopEye eye;
    xcb_atom_t clientList = XCB_NONE;
    xcb_atom_t protocols = XCB_NONE;
    xcb_atom_t ping = XCB_NONE;
};

template <typename Question>
bool becomesTrue(Question question) {
    const Clock::time_point limit = Clock::now() + patience;
    while (!question()) {
        if (Clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    }
    return true;
}

double processorMilliseconds(pid_t process) {
    double nanoseconds = 0;
    std::error_code none;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", none)) {
        double used = 0;
        if (std::ifstream(task.path() / "schedstat") >> used) nanoseconds += used;
    }
    return nanoseconds / 1e6;
}

std::optional<Times> measure(Desktop& desktop, const std::string& program) {
    const std::vector<xcb_window_t> before = desktop.windows();
    const Clock::time_point start = Clock::now();
    const auto since = [&] { return std::chrono::duration<double, std::milli>(Clock::now() - start).count(); };
    const auto child = ChildProgram::start({.arguments = {program}, .environment = {}});
    if (!child) return std::nullopt;
    Times times;
    xcb_window_t window = XCB_NONE;
    if (!becomesTrue([&] {
            for (const xcb_window_t each : desktop.windows())
                if (std::ranges::find(before, each) == before.end()) window = each;
            return window != XCB_NONE;
        }))
        return std::nullopt;
    times.shown = since();
    if (!becomesTrue([&] { return desktop.isPainted(window); })) return std::nullopt;
    times.painted = since();
    desktop.askForAnswer(window);
    if (!becomesTrue([&] { return desktop.hasAnswered(); })) return std::nullopt;
    times.usable = since();
    times.processor = processorMilliseconds(child->pid());
    child->end(SIGTERM);
    static_cast<void>(becomesTrue([&] { return desktop.windows() == before; }));
    return times;
}

void print(const char* name, std::vector<Times> runs, double Times::*value) {
    std::ranges::sort(runs, {}, value);
    std::printf("%-10s least %6.1f  median %6.1f  most %6.1f ms\n", name, runs.front().*value,
                runs[runs.size() / 2].*value, runs.back().*value);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) return std::fprintf(stderr, "usage: measure_start PROGRAM [RUNS]\n"), 2;
    const int count = argc > 2 ? std::max(1, std::atoi(argv[2])) : 10;
    Desktop desktop;
    std::vector<Times> runs;
    for (int i = 0; i <= count; ++i) {
        const std::optional<Times> times = measure(desktop, argv[1]);
        if (!times) return std::fprintf(stderr, "measure_start: no usable window within ten seconds\n"), 1;
        if (i > 0) runs.push_back(*times);
    }
    print("shown", runs, &Times::shown);
    print("painted", runs, &Times::painted);
    print("usable", runs, &Times::usable);
    print("processor", runs, &Times::processor);
    return 0;
}
