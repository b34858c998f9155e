// DiskRoom.h: whether there is room for a recording to go on.
#pragma once

#include "pipeline/mp4/DiskFile.h"

#include <chrono>
#include <cstdint>

namespace quillet::mp4 {

/// Judges once in each interval, by the pace at which the file has grown lately.
///
/// Threads: a value, no locks.
class DiskRoom {
public:
    explicit DiskRoom(std::chrono::milliseconds interval) : seconds(std::chrono::duration<double>(interval).count()) {}

    /// `fileBytes` written so far, and the `available` bytes that are left on the file's disk. Never `failed`.
    [[nodiscard]] DiskCondition judge(std::uint64_t fileBytes, std::uint64_t available);

    /// What must be left to complete a file: its index (at most 2 KiB for each second: 60 pictures with a size, a
    /// duration and a key mark, 47 packets of sound) and what others may write meanwhile.
    static constexpr std::uint64_t reserveBytes = 16U << 20;
    static constexpr std::uint64_t reserveBytesPerSecond = 2048;
    /// The user is told when less than this is left.
    static constexpr double lowSeconds = 120;

private:
    double seconds;
    double elapsed = 0;
    double bytesPerSecond = 0;
    std::uint64_t lastBytes = 0;
    bool wasLow = false;
};

} // namespace quillet::mp4
