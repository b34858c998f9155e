// AxisPlan.h: which pixels, with which weights, make each pixel of a scaled row or column.
#pragma once

#include "pipeline/kernels/resample.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace quillet {

/// One direction of a picture's scaling. The filter is the cubic through its points (Catmull and Rom's), widened when
/// the picture shrinks so that fine detail averages instead of flickering; at the same size it changes nothing. Beyond
/// the source's ends its last pixel goes on. Below a scale of 1/5.75 the filter widens no further.
class AxisPlan {
public:
    /// Output i has its centre at `start` + (i + 0.5) * `step` of the source, whose pixel j has its centre at j + 0.5.
    /// All sizes at least 1, `step` positive.
    AxisPlan(int sourceLength, int outputCount, double start, double step);

    [[nodiscard]] int outputs() const { return static_cast<int>(firsts.size()); }
    [[nodiscard]] int taps() const { return tapCount; }
    [[nodiscard]] int first(int output) const { return firsts[static_cast<std::size_t>(output)]; }
    /// `taps()` weights with 13 binary places, which add up to 8192.
    [[nodiscard]] const std::int16_t* weights(int output) const {
        return weightRows.data() + static_cast<std::size_t>(output) * static_cast<std::size_t>(tapCount);
    }

    /// The outputs (first, one past the last) that read any of the source pixels from `begin` to `end`.
    [[nodiscard]] std::pair<int, int> outputsReading(int begin, int end) const;
    /// The source pixels (first, one past the last) that the outputs from `begin` to `end` read.
    [[nodiscard]] std::pair<int, int> sourceOf(int begin, int end) const;

private:
    int tapCount;
    std::vector<int> firsts; // never decreasing
    std::vector<std::int16_t> weightRows;
};

/// A plan for rows in the layout of the kernels that run it.
class RowFilter {
public:
    explicit RowFilter(const AxisPlan& plan);

    /// Up to kernels::maximumTaps + kernels::overreach pixels right of the row's last one are read, whatever they are.
    /// Outputs `begin` (even) to `end` into `into`, with room for kernels::overreach outputs more.
    void run(const std::byte* pixels, kernels::Fourth fourth, int begin, int end, std::int16_t* into) const;

private:
    bool dense;
    std::size_t taps;
    std::size_t weightsPerTap = 0;
    std::vector<std::int32_t> places;
    std::vector<std::int16_t> weights;
};

} // namespace quillet
