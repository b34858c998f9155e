// road_workload KIND WxH [options]: shows pictures of known content over the whole display, cheaply, until it is ended.
//
//   --counter FILE      there stands how many pictures have been shown, and then, for the last 4096 of them at place
//                       number % 4096, when: nanoseconds on the monotonic clock; each eight bytes, little-endian
//   --stamp             only prints where the pictures' number stands in them: "X Y SQUARE BITS RATE"
//   --render N,N,…      only writes those pictures, BGRA without padding, to standard output
//   --beautified        as a film with the default look has them (with --render)
//
// KIND: see Scene.h. Exit: 0 after --stamp and --render, 1 without a display or shared memory, 2 for a wrong option.
#include "bench/road/Scene.h"
#include "pipeline/Compositor.h"

#include <QGuiApplication>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <thread>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

namespace {

using namespace quillet;

struct Options {
    std::string kind;
    QSize size;
    const char* counter = nullptr;
    bool onlyStamp = false;
    bool isBeautified = false;
    std::vector<unsigned> render;
};

[[noreturn]] void fail(const char* problem, int status) {
    std::fprintf(stderr, "road_workload: %s\n", problem);
    std::exit(status);
}

Options parse(const QStringList& words) {
    Options options;
    if (words.size() < 3) fail("a kind and a size are wanted", 2);
    options.kind = words[1].toStdString();
    const QStringList sides = words[2].split('x');
    options.size = {sides.value(0).toInt(), sides.value(1).toInt()};
    if (options.size.isEmpty()) fail("the size is WIDTHxHEIGHT", 2);
    for (qsizetype i = 3; i < words.size(); ++i) {
        if (words[i] == "--stamp")
            options.onlyStamp = true;
        else if (words[i] == "--beautified")
            options.isBeautified = true;
        else if (words[i] == "--counter" && i + 1 < words.size())
            options.counter = strdup(words[++i].toLocal8Bit().constData());
        else if (words[i] == "--render" && i + 1 < words.size())
            for (const QString& number : words[++i].split(','))
                options.render.push_back(number.toUInt());
        else
            fail("unknown option", 2);
    }
    return options;
}

void write(const QImage& picture, bool isBeautified) {
    const int width = picture.width();
    const int height = picture.height();
    const PixelBufferRef plain = PixelBuffer::make(width, height);
    for (int y = 0; y < height; ++y)
        std::memcpy(plain->row(y), picture.constScanLine(y), static_cast<std::size_t>(width) * 4);
    PixelBufferRef film = plain;
    if (isBeautified) {
        film = PixelBuffer::make(width, height);
        Compositor(Rect{0, 0, double(width), double(height)}, true, BeautifySettings{})
            .render(*plain, nullptr, std::nullopt, *film);
    }
    for (int y = 0; y < height; ++y)
        std::fwrite(film->row(y), 4, static_cast<std::size_t>(width), stdout);
}

void render(road::Scene& scene, const Options& options) {
    std::vector<QImage> pictures;
    while (pictures.size() < scene.pictures())
        pictures.emplace_back(options.size, QImage::Format_RGB32);
    scene.prepare(pictures);
    unsigned tick = 0;
    std::size_t shown = 0;
    std::vector<unsigned> wanted = options.render;
    for (unsigned number : wanted) {
        if (number < tick) fail("numbers must rise", 2);
        while (tick < number)
            shown = scene.paint(pictures, ++tick).picture;
        write(pictures[shown], options.isBeautified);
    }
}

/// The display's window, and pictures in memory that it shares with the server.
class Window {
public:
    explicit Window(QSize size, std::size_t count) : connection(xcb_connect(nullptr, nullptr)) {
        if (xcb_connection_has_error(connection)) fail("no display", 1);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
        window = xcb_generate_id(connection);
        // Beneath everything and no window manager's business.
        const std::uint32_t values[] = {1, XCB_EVENT_MASK_EXPOSURE};
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0,
                          static_cast<std::uint16_t>(size.width()), static_cast<std::uint16_t>(size.height()), 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual,
                          XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
        context = xcb_generate_id(connection);
        xcb_create_gc(connection, context, window, 0, nullptr);
        for (std::size_t i = 0; i < count; ++i) {
            const int id = shmget(IPC_PRIVATE,
                                  static_cast<std::size_t>(size.width()) * static_cast<std::size_t>(size.height()) * 4,
                                  IPC_CREAT | 0600);
            void* memory = id < 0 ? nullptr : shmat(id, nullptr, 0);
            if (!memory || memory == reinterpret_cast<void*>(-1)) fail("no shared memory", 1);
            segments.push_back(xcb_generate_id(connection));
            xcb_shm_attach(connection, segments.back(), static_cast<std::uint32_t>(id), 1);
            settle();
            shmctl(id, IPC_RMID, nullptr);
            pictures.emplace_back(static_cast<uchar*>(memory), size.width(), size.height(), size.width() * 4,
                                  QImage::Format_RGB32);
        }
    }

    void map() {
        xcb_map_window(connection, window);
        const std::uint32_t below = XCB_STACK_MODE_BELOW;
        xcb_configure_window(connection, window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
        settle();
    }
    void put(std::size_t picture, const QRect& part) {
        if (part.isEmpty()) return;
        const QSize size = pictures[picture].size();
        const auto u16 = [](int value) { return static_cast<std::uint16_t>(value); };
        xcb_shm_put_image(connection, window, context, u16(size.width()), u16(size.height()), u16(part.x()),
                          u16(part.y()), u16(part.width()), u16(part.height()), static_cast<std::int16_t>(part.x()),
                          static_cast<std::int16_t>(part.y()), 24, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segments[picture], 0);
    }
    /// Whether a window that stood in front of a part of it is gone since the last call.
    bool isExposed() {
        bool exposed = false;
        while (xcb_generic_event_t* event = xcb_poll_for_event(connection)) {
            exposed = exposed || (event->response_type & 0x7f) == XCB_EXPOSE;
            std::free(event);
        }
        if (xcb_connection_has_error(connection)) std::exit(0); // the display is gone
        return exposed;
    }
    /// Until the server has done everything.
    void settle() {
        std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
        if (xcb_connection_has_error(connection)) std::exit(0); // the display is gone
    }

    std::vector<QImage> pictures;

private:
    xcb_connection_t* connection;
    xcb_window_t window = 0;
    xcb_gcontext_t context = 0;
    std::vector<xcb_shm_seg_t> segments;
};

/// What other processes read of us.
struct Counter {
    static constexpr unsigned kept = 4096;
    std::uint64_t shown;
    std::uint64_t times[kept];
};

Counter* shared(const char* path) {
    static Counter unread;
    if (!path) return &unread;
    const int file = ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0 || ftruncate(file, sizeof unread) != 0) fail("no counter", 1);
    void* memory = mmap(nullptr, sizeof unread, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (memory == MAP_FAILED) fail("no counter", 1);
    return static_cast<Counter*>(memory);
}

[[noreturn]] void show(road::Scene& scene, const Options& options) {
    Window window(options.size, scene.pictures());
    scene.prepare(window.pictures);
    window.map();
    window.put(0, window.pictures[0].rect());
    window.settle();
    Counter* counter = shared(options.counter);
    std::puts("ready");
    std::fflush(stdout);
    using Clock = std::chrono::steady_clock;
    const auto period =
        scene.rate() > 0 ? std::chrono::nanoseconds(1'000'000'000 / scene.rate()) : std::chrono::milliseconds(20);
    std::size_t shown = 0;
    auto due = Clock::now() + period;
    for (unsigned tick = 1;; ++tick) {
        std::this_thread::sleep_until(due);
        // Every number is shown, late ones too; only the pace gives way.
        due = std::max(due + period, Clock::now());
        if (window.isExposed()) {
            window.put(shown, window.pictures[shown].rect());
            window.settle();
        }
        if (scene.rate() == 0) continue;
        const road::Scene::Painted painted = scene.paint(window.pictures, tick);
        shown = painted.picture;
        for (const QRect& part : painted.changed)
            window.put(painted.picture, part);
        window.settle();
        counter->times[tick % Counter::kept] = static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count());
        __atomic_store_n(&counter->shown, std::uint64_t{tick}, __ATOMIC_RELEASE);
    }
}

} // namespace

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen"); // for the letters alone
    const QGuiApplication application(count, words);
    const Options options = parse(QGuiApplication::arguments());
    const std::unique_ptr<road::Scene> scene = road::Scene::make(options.kind);
    if (!scene) fail("unknown kind", 2);
    if (options.onlyStamp) {
        const road::Stamp stamp = scene->stamp();
        std::printf("%d %d %d %d %d\n", stamp.x, stamp.y, stamp.square, road::Stamp::bits, scene->rate());
    } else if (!options.render.empty()) {
        render(*scene, options);
    } else {
        show(*scene, options);
    }
    return 0;
}
