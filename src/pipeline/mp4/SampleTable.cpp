#include "pipeline/mp4/SampleTable.h"

#include <algorithm>
#include <limits>

namespace quillet::mp4 {

void SampleTable::addRun(std::deque<Run>& runs, std::int64_t ticks) {
    // A single picture that stands longer than 32 bits of ticks (over an hour in microseconds) is cut there.
    const auto length =
        static_cast<std::uint32_t>(std::clamp<std::int64_t>(ticks, 0, std::numeric_limits<std::uint32_t>::max()));
    if (!runs.empty() && runs.back().ticks == length)
        ++runs.back().samples;
    else
        runs.push_back({1, length});
}

void SampleTable::add(std::uint32_t bytes, std::int64_t ticks, bool isSync) {
    if (sizes.empty())
        first = ticks;
    else
        addRun(durations, ticks - last);
    last = ticks;
    sizes.push_back(bytes);
    if (sync == Sync::marked && isSync) syncSamples.push_back(static_cast<std::uint32_t>(sizes.size()));
}

void SampleTable::addChunk(std::uint64_t offset, std::uint32_t samples) { chunks.push_back({offset, samples}); }

void SampleTable::write(BoxWriter& out, std::int64_t endTicks) const {
    out.fullBox("stts", 0, 0, [&] {
        std::deque<Run> runs = durations;
        if (!sizes.empty()) addRun(runs, endTicks - last);
        out.u32(static_cast<std::uint32_t>(runs.size()));
        for (const Run& run : runs) {
            out.u32(run.samples);
            out.u32(run.ticks);
        }
    });
    if (sync == Sync::marked)
        out.fullBox("stss", 0, 0, [&] {
            out.u32(static_cast<std::uint32_t>(syncSamples.size()));
            for (const std::uint32_t sample : syncSamples)
                out.u32(sample);
        });
    out.fullBox("stsc", 0, 0, [&] {
        const std::size_t countAt = out.size();
        out.u32(0);
        std::uint32_t entries = 0;
        for (std::size_t i = 0; i < chunks.size(); ++i) {
            if (i > 0 && chunks[i].samples == chunks[i - 1].samples) continue;
            out.u32(static_cast<std::uint32_t>(i + 1));
            out.u32(chunks[i].samples);
            out.u32(1);
            ++entries;
        }
        out.patch32(countAt, entries);
    });
    out.fullBox("stsz", 0, 0, [&] {
        out.u32(0);
        out.u32(static_cast<std::uint32_t>(sizes.size()));
        for (const std::uint32_t bytes : sizes)
            out.u32(bytes);
    });
    const bool wide = std::any_of(chunks.begin(), chunks.end(), [](const Chunk& chunk) {
        return chunk.offset > std::numeric_limits<std::uint32_t>::max();
    });
    out.fullBox(wide ? "co64" : "stco", 0, 0, [&] {
        out.u32(static_cast<std::uint32_t>(chunks.size()));
        for (const Chunk& chunk : chunks)
            if (wide)
                out.u64(chunk.offset);
            else
                out.u32(static_cast<std::uint32_t>(chunk.offset));
    });
}

} // namespace quillet::mp4
