// SampleTable.h: what an ordinary MP4 says about a track's samples, gathered while they are written.
#pragma once

#include "pipeline/mp4/BoxWriter.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

namespace quillet::mp4 {

/// Grows by about 12 bytes a sample. Samples follow each other in decoding order, which is also the order of showing.
///
/// Threads: a value, no locks.
class SampleTable {
public:
    enum class Sync { every, marked };
    explicit SampleTable(Sync which) : sync(which) {}

    /// The next sample, `bytes` long, at `ticks` on the track's clock, later than the one before.
    void add(std::uint32_t bytes, std::int64_t ticks, bool isSync);
    /// Says where the next `samples` of those added (not placed yet) lie, one behind the other.
    void addChunk(std::uint64_t offset, std::uint32_t samples);

    [[nodiscard]] std::size_t count() const { return sizes.size(); }
    [[nodiscard]] bool isEmpty() const { return sizes.empty(); }
    [[nodiscard]] std::int64_t firstTicks() const { return first; }
    [[nodiscard]] std::int64_t lastTicks() const { return last; }

    /// stts, stss (if only marked samples can be started from), stsc, stsz and stco or co64, the last sample ending at
    /// `endTicks`.
    void write(BoxWriter& out, std::int64_t endTicks) const;

private:
    struct Run {
        std::uint32_t samples;
        std::uint32_t ticks;
    };
    struct Chunk {
        std::uint64_t offset;
        std::uint32_t samples;
    };

    static void addRun(std::deque<Run>& runs, std::int64_t ticks);

    Sync sync;
    std::int64_t first = 0;
    std::int64_t last = 0;
    // Deques: they grow without ever being copied, so a long recording leaves no holes in the memory.
    std::deque<std::uint32_t> sizes;
    std::deque<Run> durations;             // of all samples but the last
    std::deque<std::uint32_t> syncSamples; // counted from 1
    std::deque<Chunk> chunks;
};

} // namespace quillet::mp4
