// copySeconds.h: what everything else is compared with: a copy of a frame's memory, measured in the same run.
#pragma once

#include "media/PixelBuffer.h"

#include <benchmark/benchmark.h>

#include <cstring>
#include <ctime>

namespace quillet {

/// Of this process so far.
inline double processorSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

/// Processor seconds for a copy of a frame of that many pixels, the mean of a hundred.
inline double copySeconds(int width, int height) {
    const PixelBufferRef from = PixelBuffer::make(width, height);
    const PixelBufferRef into = PixelBuffer::make(width, height);
    const auto copy = [&] {
        std::memcpy(into->row(0), from->row(0), from->strideBytes() * static_cast<std::size_t>(height));
        benchmark::ClobberMemory();
    };
    // Pages that were never written to are all one page.
    std::memset(from->row(0), 1, from->strideBytes() * static_cast<std::size_t>(height));
    copy();
    constexpr int rounds = 100;
    const double begin = processorSeconds();
    for (int round = 0; round < rounds; ++round)
        copy();
    return (processorSeconds() - begin) / rounds;
}

} // namespace quillet
