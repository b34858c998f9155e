#include "selftest/SelfTest.h"

#include "geometry/fatal.h"
#include "selftest/FilmReader.h"
#include "selftest/replaceFile.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>

#include <array>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <mutex>
#include <semaphore>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace quillet::SelfTest {

namespace {

constexpr Rect cropRect{200, 150, 1280, 720};
constexpr Rect cameraRect{860, 250, 200, 200};
constexpr int frameCount = 30;
constexpr int framesPerSecond = 60;

/// One pixel's colours in the order in which memory holds them.
struct Pix {
    int blue;
    int green;
    int red;

    [[nodiscard]] std::string description() const {
        return "BGR(" + std::to_string(blue) + "," + std::to_string(green) + "," + std::to_string(red) + ")";
    }
};

/// How far a channel lies from the grey of the synthetic screen.
int fromGrey(int channel) { return std::abs(channel - 128); }

Pix readPixel(const PixelBuffer& buffer, int x, int yFromBottom) {
    if (x < 0 || x >= buffer.width() || yFromBottom < 0 || yFromBottom >= buffer.height())
        fatal("the self test reads a pixel outside its buffer");
    const std::byte* const pixel = buffer.row(buffer.height() - 1 - yFromBottom) + static_cast<std::ptrdiff_t>(x) * 4;
    return {std::to_integer<int>(pixel[0]), std::to_integer<int>(pixel[1]), std::to_integer<int>(pixel[2])};
}

PixelBufferRef solidFrame(int width, int height, std::array<std::uint8_t, 4> bgra) {
    PixelBufferRef frame = PixelBuffer::make(width, height);
    if (!frame) fatal("no memory for the self test's frames");
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (std::size_t channel = 0; channel < 4; ++channel)
                frame->row(y)[static_cast<std::size_t>(x) * 4 + channel] = std::byte{bgra[channel]};
    return frame;
}

/// False when the picture cannot be encoded; a file that cannot be written is no failure here.
bool writePng(const QImage& image, const std::filesystem::path& path) {
    QByteArray png;
    QBuffer device(&png);
    if (!device.open(QIODevice::WriteOnly) || !image.save(&device, "PNG")) return false;
    [[maybe_unused]] const bool written =
        replaceFile(path, std::as_bytes(std::span(png.constData(), static_cast<std::size_t>(png.size()))));
    return true;
}

void snapshot(const PixelBuffer& buffer, const std::filesystem::path& path) {
    // The frame holds what this processor's order calls premultiplied ARGB words.
    const QImage view(reinterpret_cast<const uchar*>(buffer.row(0)), buffer.width(), buffer.height(),
                      static_cast<qsizetype>(buffer.strideBytes()), QImage::Format_ARGB32_Premultiplied);
    [[maybe_unused]] const bool encoded = writePng(view, path);
}

/// One run: the frames, the report and the verdict so far.
class Run {
public:
    Run(const Parts& using_, std::ostream& lines) : parts(using_), report(lines) {}

    int execute();

private:
    void check(bool verdict, const std::string& message) {
        report << (verdict ? "PASS  " : "FAIL  ") << message << std::endl;
        if (!verdict) allPass = false;
    }
    void fail(const std::string& message) { check(false, message); }

    void checkPlacedCamera(const PixelBuffer& out);
    void checkLiveFollow();
    void checkBeautify();
    void checkFilm();
    int appendFrames(RecordingWriter& writer);
    int summary();

    const Parts& parts;
    std::ostream& report;
    bool allPass = true;

    PixelBufferRef screen = solidFrame(1920, 1080, {128, 128, 128, 255});
    PixelBufferRef camera = solidFrame(640, 480, {0, 255, 0, 255});
    Parts::Render render;
    std::unique_ptr<PixelBufferPool> pool;
    // The camera circle's centre in the output.
    const int centreX = static_cast<int>(cameraRect.midX() - cropRect.x);
    const int centreY = static_cast<int>(cameraRect.midY() - cropRect.y);
};

std::string place(int x, int y) { return "(" + std::to_string(x) + "," + std::to_string(y) + ")"; }

void Run::checkPlacedCamera(const PixelBuffer& out) {
    const Pix centre = readPixel(out, centreX, centreY);
    check(centre.green > 200 && centre.red < 60 && centre.blue < 60,
          "camera circle present at mapped center " + place(centreX, centreY) + " -> " + centre.description());

    const Pix corner = readPixel(out, static_cast<int>(cameraRect.minX() - cropRect.x) + 4,
                                 static_cast<int>(cameraRect.minY() - cropRect.y) + 4);
    check(fromGrey(corner.green) < 40 && fromGrey(corner.red) < 40,
          "circle mask: bbox corner stayed screen-gray -> " + corner.description());

    const Pix background = readPixel(out, 20, 20);
    check(fromGrey(background.green) < 40, "screen passthrough gray at background -> " + background.description());
}

void Run::checkLiveFollow() {
    if (const PixelBufferRef out = pool->acquire()) {
        const Rect moved = cameraRect.offsetBy(-300, 100);
        render(*screen, camera.get(), moved, *out);
        const int x = static_cast<int>(moved.midX() - cropRect.x);
        const int y = static_cast<int>(moved.midY() - cropRect.y);
        const Pix there = readPixel(*out, x, y);
        check(there.green > 200 && there.red < 60,
              "LIVE-FOLLOW: avatar moved with per-frame rect " + place(x, y) + " -> " + there.description());
        const Pix before = readPixel(*out, centreX, centreY);
        check(fromGrey(before.green) < 40, "LIVE-FOLLOW: old position back to screen-gray -> " + before.description());
    }
    if (const PixelBufferRef out = pool->acquire()) {
        render(*screen, camera.get(), std::nullopt, *out);
        const Pix before = readPixel(*out, centreX, centreY);
        check(fromGrey(before.green) < 40, "LIVE-FOLLOW: nil rect draws no avatar -> " + before.description());
    }
}

void Run::checkBeautify() {
    const Parts::Render beautified = parts.makeCompositor(
        cropRect, false,
        BeautifySettings{.backgroundIndex = 0, .cornerRadius = 0.045, .padding = 0.06, .shadowEnabled = true});
    const PixelBufferRef out = pool->acquire();
    if (!out) return;
    beautified(*screen, camera.get(), cameraRect, *out);

    // The circle's centre (760, 200) carried into the inset: 43.2 pixels of margin leave a scale of 0.88 and an offset
    // of (76.8, 43.2).
    const Pix inset = readPixel(*out, 745, 219);
    check(inset.green > 180 && inset.red < 90 && inset.blue < 90,
          "BEAUTIFY: avatar still in frame at inset pos " + place(745, 219) + " -> " + inset.description());
    const Pix corner = readPixel(*out, 4, 4);
    check(fromGrey(corner.green) > 24 || fromGrey(corner.red) > 24 || fromGrey(corner.blue) > 24,
          "BEAUTIFY: outer corner is background gradient, not screen content -> " + corner.description());

    const std::filesystem::path path = parts.folder / "quillet_selftest_beautify.png";
    snapshot(*out, path);
    report << "wrote " << path.string() << std::endl;
}

/// How many of the frames the writer took.
int Run::appendFrames(RecordingWriter& writer) {
    int taken = 0;
    for (int i = 0; i < frameCount; ++i) {
        if (i == 0) writer.start({0, framesPerSecond});
        const PixelBufferRef out = pool->acquire();
        if (!out) continue;
        render(*screen, camera.get(), cameraRect, *out);
        for (int wait = 0; wait < 200 && !writer.isReadyForMoreVideo(); ++wait)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (writer.appendVideo(out, {i, framesPerSecond})) ++taken;
    }
    return taken;
}

/// What the writer's completion, which may come after the wait has ended, leaves for the run.
struct Delivery {
    std::mutex mutex; // guards url
    std::optional<std::filesystem::path> url;
    std::binary_semaphore arrived{0};
};

void Run::checkFilm() {
    const std::unique_ptr<RecordingWriter> writer =
        parts.makeWriter(parts.folder / "quillet_selftest.mp4", cropRect.size(), framesPerSecond, ExportQuality::high);
    if (!writer) return fail("could not create RecordingWriter");

    const int taken = appendFrames(*writer);
    check(taken >= 1, "appended " + std::to_string(taken) + "/30 composited frames to writer");

    // Shared with the completion: a late one must find its place still there.
    const auto delivery = std::make_shared<Delivery>();
    writer->finish([delivery](std::optional<std::filesystem::path> url, const std::optional<Error>&) {
        {
            const std::lock_guard guard(delivery->mutex);
            delivery->url = std::move(url);
        }
        delivery->arrived.release();
    });
    (void)delivery->arrived.try_acquire_for(std::chrono::seconds(15));

    std::optional<std::filesystem::path> film;
    {
        const std::lock_guard guard(delivery->mutex);
        film = delivery->url;
    }
    std::error_code unreadable;
    const std::uintmax_t bytes = film ? std::filesystem::file_size(*film, unreadable) : 0;
    if (!film || unreadable || bytes < 1) return fail("mp4 file missing or empty");
    report << "PASS  mp4 written, " << bytes << " bytes -> " << film->string() << std::endl;

    const std::optional<QImage> picture = filmPictureAt(*film, {5, framesPerSecond});
    if (!picture) return fail("could not decode a frame from the mp4");
    check(picture->width() >= 1 && picture->height() >= 1,
          "decoded frame from mp4: " + std::to_string(picture->width()) + "x" + std::to_string(picture->height()));
    const std::filesystem::path path = parts.folder / "quillet_selftest_frame.png";
    if (writePng(*picture, path)) report << "wrote " << path.string() << std::endl;
}

int Run::summary() {
    report << (allPass ? "\nSELFTEST: ALL PASS" : "\nSELFTEST: FAILURES ABOVE") << std::endl;
    return allPass ? EXIT_SUCCESS : EXIT_FAILURE;
}

int Run::execute() {
    render = parts.makeCompositor(cropRect, false, std::nullopt);
    pool = parts.makePool(cropRect.size());
    PixelBufferRef out = pool ? pool->acquire() : nullptr;
    if (!out) {
        report << "FAIL  could not create pool/output buffer" << std::endl;
        return EXIT_FAILURE;
    }
    render(*screen, camera.get(), cameraRect, *out);
    checkPlacedCamera(*out);
    checkLiveFollow();

    const std::filesystem::path path = parts.folder / "quillet_selftest.png";
    snapshot(*out, path);
    out.reset();
    report << "wrote " << path.string() << " (" << static_cast<int>(cropRect.width) << "x"
           << static_cast<int>(cropRect.height) << ")" << std::endl;

    checkBeautify();
    checkFilm();
    return summary();
}

} // namespace

Parts Parts::real() {
    return {.makeCompositor = [](Rect crop, bool mirrorCamera, std::optional<BeautifySettings> beautify) -> Render {
                // std::function copies its target, so the compositor is shared between the copies.
                const auto compositor = std::make_shared<Compositor>(crop, mirrorCamera, beautify);
                return [compositor](const PixelBuffer& screen, const PixelBuffer* camera, std::optional<Rect> rect,
                                    PixelBuffer& into) { compositor->render(screen, camera, rect, into); };
            },
            .makePool = [](Size size) { return PixelBufferPool::make(size); },
            .makeWriter = [](const std::filesystem::path& url, Size size, int fps,
                             ExportQuality quality) { return RecordingWriter::make(url, size, fps, quality); }};
}

int execute(const Parts& parts, std::ostream& report) { return Run(parts, report).execute(); }

void run() { std::exit(execute(Parts::real(), std::cout)); }

} // namespace quillet::SelfTest
