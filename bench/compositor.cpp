// compositor.cpp: what a composed frame costs beside a plain copy of its memory.
//
// Every row but the first two carries `copies`: its processor time divided by that of a copy of a whole frame, measured
// in the same run, right before; means on both sides. Damage rows redraw a pooled frame that is one render old.
#include "pipeline/Compositor.h"

#include "bench/copySeconds.h"
#include "pipeline/PixelBufferPool.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstring>
#include <random>

namespace {

using namespace quillet;

constexpr int width = 1920;
constexpr int height = 1080;
constexpr Rect region{0, 0, width, height};
constexpr Rect bubble{1500, 80, 300, 300};

PixelBufferRef noise(int columns, int rows, Alpha alpha) {
    PixelBufferRef frame = PixelBuffer::make(columns, rows);
    std::mt19937 random(7);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x) {
            std::uint32_t pixel = static_cast<std::uint32_t>(random());
            if (alpha == Alpha::premultiplied) pixel |= 0xFF000000U;
            std::memcpy(frame->row(y) + x * 4, &pixel, 4);
        }
    frame->alpha = alpha;
    frame->sequence = 1;
    return frame;
}

bool equal(const PixelBuffer& a, const PixelBuffer& b) {
    for (int y = 0; y < height; ++y)
        if (std::memcmp(a.row(y), b.row(y), width * 4) != 0) return false;
    return true;
}

void copyFrame(PixelBuffer& into, const PixelBuffer& from) {
    std::memcpy(into.row(0), from.row(0), from.strideBytes() * static_cast<std::size_t>(height));
}

void copyOfFrame(benchmark::State& state) {
    const PixelBufferRef from = noise(width, height, Alpha::ignored);
    const PixelBufferRef into = PixelBuffer::make(width, height);
    for (auto _ : state)
        copyFrame(*into, *from);
    if (!equal(*into, *from)) state.SkipWithError("the copy differs");
}
BENCHMARK(copyOfFrame)->Unit(benchmark::kMillisecond);

void setUpBeautify(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Compositor(region, false, BeautifySettings{}));
}
BENCHMARK(setUpBeautify)->Unit(benchmark::kMillisecond);

enum class Look { plain, beautified };

std::optional<BeautifySettings> settingsFor(Look look) {
    return look == Look::beautified ? std::optional(BeautifySettings{}) : std::nullopt;
}

/// `percent` of the screen changes from frame to frame, as one rectangle of the screen's proportions. Below 0: nothing
/// is known of the changes.
void compose(benchmark::State& state, Look look, Alpha alpha, int percent) {
    const double copy = copySeconds(width, height);
    const PixelBufferRef screen = noise(width, height, alpha);
    const PixelBufferRef camera = noise(1280, 720, Alpha::ignored);
    Compositor compositor(region, true, settingsFor(look));
    const auto pool = PixelBufferPool::make({width, height});
    const double share = std::sqrt(std::max(percent, 0) / 100.0);
    PixelRegion damage;
    damage.add({301, 203, static_cast<int>(width * share), static_cast<int>(height * share)});
    damage.clipTo(percent == 100 ? screen->bounds() : damage.bounds());
    if (percent == 100) damage.add(screen->bounds());

    PixelBufferRef kept = pool->acquire();
    compositor.render(*screen, camera.get(), bubble, *kept);
    kept.reset();
    const double begin = processorSeconds();
    for (auto _ : state) {
        const PixelBufferRef into = pool->acquire();
        if (percent >= 0) {
            ++screen->sequence;
            screen->damage = damage;
        } else {
            screen->sequence = 0;
        }
        compositor.render(*screen, camera.get(), bubble, *into);
    }
    const double seconds = processorSeconds() - begin;
    state.counters["copies"] = seconds / static_cast<double>(state.iterations()) / copy;

    const PixelBufferRef result = pool->acquire();
    Compositor fresh(region, true, settingsFor(look));
    const PixelBufferRef expected = PixelBuffer::make(width, height);
    fresh.render(*screen, camera.get(), bubble, *expected);
    if (!equal(*result, *expected)) state.SkipWithError("the result differs from a full redraw");
}

/// A new camera picture for each frame over a screen that stands still.
void cameraOnly(benchmark::State& state, Look look) {
    const double copy = copySeconds(width, height);
    const PixelBufferRef screen = noise(width, height, Alpha::ignored);
    const PixelBufferRef camera = noise(1280, 720, Alpha::ignored);
    Compositor compositor(region, true, settingsFor(look));
    const auto pool = PixelBufferPool::make({width, height});
    compositor.render(*screen, camera.get(), bubble, *pool->acquire());
    screen->damage.emplace();
    const double begin = processorSeconds();
    for (auto _ : state) {
        ++screen->sequence;
        ++camera->sequence;
        compositor.render(*screen, camera.get(), bubble, *pool->acquire());
    }
    const double seconds = processorSeconds() - begin;
    state.counters["copies"] = seconds / static_cast<double>(state.iterations()) / copy;
}

BENCHMARK_CAPTURE(compose, plainWhole, Look::plain, Alpha::ignored, -1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, plainWholeWithAlpha, Look::plain, Alpha::premultiplied, -1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, plain1Percent, Look::plain, Alpha::ignored, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, plain10Percent, Look::plain, Alpha::ignored, 10)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, plain100Percent, Look::plain, Alpha::ignored, 100)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cameraOnly, plain, Look::plain)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, beautifiedWhole, Look::beautified, Alpha::ignored, -1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, beautifiedWholeWithAlpha, Look::beautified, Alpha::premultiplied, -1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, beautified1Percent, Look::beautified, Alpha::ignored, 1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, beautified10Percent, Look::beautified, Alpha::ignored, 10)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(compose, beautified100Percent, Look::beautified, Alpha::ignored, 100)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(cameraOnly, beautified, Look::beautified)->Unit(benchmark::kMillisecond);

} // namespace
