// MediaTime.h: a moment or a duration, exact, for picture and sound alike.
#pragma once

#include <chrono>
#include <compare>
#include <cstdint>

namespace quillet {

/// `value` / `timescale` seconds. Live sources stamp with CLOCK_MONOTONIC (see mediaTimeNow); synthetic ones start
/// where they like. Times of different timescales compare and convert exactly; `timescale` is always at least 1.
struct MediaTime {
    std::int64_t value = 0;
    std::int32_t timescale = 1;

    [[nodiscard]] double seconds() const { return static_cast<double>(value) / timescale; }

    /// The nearest value in another timescale, halves away from zero. Overflow stops the program.
    [[nodiscard]] std::int64_t valueIn(std::int32_t otherTimescale) const;
    [[nodiscard]] MediaTime in(std::int32_t otherTimescale) const { return {valueIn(otherTimescale), otherTimescale}; }

    friend bool operator==(const MediaTime& a, const MediaTime& b) { return std::is_eq(a <=> b); }
    friend std::strong_ordering operator<=>(const MediaTime& a, const MediaTime& b);
};

/// Exact when one timescale divides the other or their least common multiple fits; else rounded to the finer of both.
[[nodiscard]] MediaTime operator+(const MediaTime& a, const MediaTime& b);
[[nodiscard]] MediaTime operator-(const MediaTime& a, const MediaTime& b);

/// The timescale that live sources stamp with: microseconds. Fine enough for 240 pictures a second, and durations of a
/// whole hour still fit the 32 bits that the file format gives them.
inline constexpr std::int32_t liveTimescale = 1'000'000;

/// A moment of CLOCK_MONOTONIC (which is what std::chrono::steady_clock reads here), in microseconds.
[[nodiscard]] MediaTime mediaTimeAt(std::chrono::steady_clock::time_point moment);
[[nodiscard]] inline MediaTime mediaTimeNow() { return mediaTimeAt(std::chrono::steady_clock::now()); }

} // namespace quillet
