// showTools: the floating tools on a desktop, to look at, to try by hand and to measure.
//
//   show_tools [--seconds N] [--diameter D] [--fps N] [--camera WxH] [--mode LABEL] [--recording] [--bubble-only]
//
// The bubble shows a computed camera picture that moves. Afterwards it prints the processor time that the program has
// taken since its first picture.
#include "platform/Screens.h"
#include "tools/CameraPreviewWindow.h"
#include "tools/RegionOverlayWindow.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <array>
#include <cmath>
#include <cstdio>
#include <ctime>

namespace {

using namespace quillet;

double processorSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// A face's stand-in: soft gradients, and letters' worth of sharp edges. Few pictures, made beforehand.
PixelBufferRef paint(int width, int height, int tick) {
    const PixelBufferRef picture = PixelBuffer::make(width, height);
    picture->alpha = Alpha::ignored;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            std::byte* const pixel = picture->row(y) + static_cast<std::ptrdiff_t>(x) * 4;
            const bool isLine = (x + tick * 8) % 64 < 2 || y % 64 < 2 || std::hypot(x - width / 4, y - height / 3) < 40;
            pixel[0] = static_cast<std::byte>(isLine ? 20 : 255 * x / width);
            pixel[1] = static_cast<std::byte>(isLine ? 20 : 255 * y / height);
            pixel[2] = static_cast<std::byte>(isLine ? 20 : 200);
            pixel[3] = std::byte{0};
        }
    return picture;
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addOptions({{"seconds", {}, "N", "0"},
                       {"diameter", {}, "D", "200"},
                       {"fps", {}, "N", "30"},
                       {"camera", {}, "WxH", "1280x720"},
                       {"mode", {}, "LABEL", "16:9 横"},
                       {"recording", {}},
                       {"bubble-only", {}}});
    parser.process(application);
    const ScreenList screens = currentScreens().list;
    const Screen* screen = screens.mainOrFirst();
    if (!screen) return 1;

    RegionOverlayController region;
    if (!parser.isSet("bubble-only")) {
        region.apply(rangeModeFromRawValue(parser.value("mode").toStdString()).value_or(RangeMode::ratio16x9), *screen);
        region.orderFront();
        region.updateHandles();
        region.setRecording(parser.isSet("recording"));
    }
    const double diameter = parser.value("diameter").toDouble();
    CameraPreviewController bubble({.read = [&] { return diameter; }, .write = [](double) {}});
    bubble.placeDefault(*screen);
    bubble.orderFront();

    const QStringList size = parser.value("camera").split('x');
    std::array<PixelBufferRef, 8> pictures;
    for (std::size_t i = 0; i < pictures.size(); ++i)
        pictures[i] = paint(size.value(0).toInt(), size.value(1).toInt(), static_cast<int>(i));
    std::uint64_t shown = 0;
    double start = 0;
    QTimer camera;
    camera.setTimerType(Qt::PreciseTimer);
    const int fps = parser.value("fps").toInt();
    QObject::connect(&camera, &QTimer::timeout, [&] {
        if (shown == static_cast<std::uint64_t>(fps)) start = processorSeconds(); // one second to warm up
        const PixelBufferRef& next = pictures[shown % pictures.size()];
        next->sequence = ++shown;
        bubble.view.setPicture(next);
    });
    if (fps > 0) camera.start(std::chrono::milliseconds(1000 / fps));
    if (const int seconds = parser.value("seconds").toInt(); seconds > 0)
        QTimer::singleShot(std::chrono::seconds(seconds), qApp, [] { QApplication::quit(); });
    const int result = QApplication::exec();
    const double counted = static_cast<double>(shown) - fps;
    if (counted > 0) {
        const double used = processorSeconds() - start;
        std::printf("%.0f pictures, %.3f ms of processor time each, %.1f %% of one processor at %d a second\n", counted,
                    used / counted * 1000, used / counted * fps * 100, fps);
    }
    return result;
}
