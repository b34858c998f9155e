#include "pipeline/AxisPlan.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace quillet {

namespace {

constexpr int weightOne = 8192;
constexpr double filterRadius = 2;
constexpr double widestStretch = 5.75; // 23 taps, within kernels::maximumTaps

double cubic(double distance) {
    const double x = std::abs(distance);
    if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
    if (x < 2) return ((-0.5 * x + 2.5) * x - 4) * x + 2;
    return 0;
}

/// Whole weights whose sum is exact: what rounding leaves over goes to the heaviest.
void roundWeights(const std::vector<double>& exact, std::int16_t* into) {
    const double sum = std::accumulate(exact.begin(), exact.end(), 0.0);
    const auto heaviest = std::max_element(exact.begin(), exact.end());
    const auto place = heaviest - exact.begin();
    // Where the end pixel stands for many, its weight could pass one, which the kernels cannot hold.
    const bool alone = *heaviest >= sum;
    int left = weightOne;
    for (std::size_t i = 0; i < exact.size(); ++i) {
        const int weight = alone ? 0 : static_cast<int>(std::lround(exact[i] / sum * weightOne));
        into[i] = static_cast<std::int16_t>(weight);
        left -= weight;
    }
    into[place] = static_cast<std::int16_t>(into[place] + left);
}

} // namespace

AxisPlan::AxisPlan(int sourceLength, int outputCount, double start, double step) {
    const double stretch = std::clamp(step, 1.0, widestStretch);
    const double radius = filterRadius * stretch;
    tapCount = std::min(static_cast<int>(std::ceil(2 * radius - 1e-9)), sourceLength);
    firsts.resize(static_cast<std::size_t>(outputCount));
    weightRows.resize(firsts.size() * static_cast<std::size_t>(tapCount));

    const auto wanted = static_cast<int>(std::ceil(2 * radius)) + 1;
    std::vector<double> exact(static_cast<std::size_t>(tapCount));
    for (int output = 0; output < outputCount; ++output) {
        const double centre = std::clamp(start + (output + 0.5) * step, 0.0, static_cast<double>(sourceLength));
        const int leftmost = static_cast<int>(std::floor(centre - 0.5 - radius + 1e-9)) + 1;
        const int first = std::clamp(leftmost, 0, sourceLength - tapCount);
        std::fill(exact.begin(), exact.end(), 0.0);
        for (int pixel = leftmost; pixel < leftmost + wanted; ++pixel) {
            const int inside = std::clamp(pixel, first, first + tapCount - 1);
            exact[static_cast<std::size_t>(inside - first)] += cubic((pixel + 0.5 - centre) / stretch);
        }
        firsts[static_cast<std::size_t>(output)] = first;
        roundWeights(exact, weightRows.data() + static_cast<std::size_t>(output) * exact.size());
    }
}

std::pair<int, int> AxisPlan::outputsReading(int begin, int end) const {
    if (begin >= end) return {0, 0};
    const auto from = std::upper_bound(firsts.begin(), firsts.end(), begin - tapCount);
    const auto to = std::lower_bound(from, firsts.end(), end);
    return {static_cast<int>(from - firsts.begin()), static_cast<int>(to - firsts.begin())};
}

std::pair<int, int> AxisPlan::sourceOf(int begin, int end) const { return {first(begin), first(end - 1) + tapCount}; }

RowFilter::RowFilter(const AxisPlan& plan) {
    const auto outputs = static_cast<std::size_t>(plan.outputs());
    const std::size_t padded = (outputs + kernels::overreach + 1) / 2 * 2;
    const auto firstOf = [&](std::size_t output) {
        return plan.first(static_cast<int>(std::min(output, outputs - 1)));
    };

    dense = true;
    for (const std::size_t run : {std::size_t{2}, std::size_t{4}, std::size_t{8}})
        for (std::size_t output = 0; output < outputs; ++output)
            dense = dense && firstOf(output + run - 1) - firstOf(output) <= static_cast<int>(run - 1) * 2;

    const std::size_t multiple = dense ? 1 : 4;
    taps = (static_cast<std::size_t>(plan.taps()) + multiple - 1) / multiple * multiple;
    weightsPerTap = padded * 4;
    weights.assign(taps * weightsPerTap, 0);
    for (std::size_t output = 0; output < outputs; ++output)
        for (std::size_t tap = 0; tap < static_cast<std::size_t>(plan.taps()); ++tap)
            for (std::size_t channel = 0; channel < 4; ++channel)
                weights[dense ? tap * weightsPerTap + output * 4 + channel : (output * taps + tap) * 4 + channel] =
                    plan.weights(static_cast<int>(output))[tap];

    if (dense)
        for (std::size_t output = 0; output < padded; output += 2)
            for (const int next : {0, 1})
                for (const std::size_t twin : {output, output + 1})
                    places.push_back(firstOf(twin) + next);
    else
        for (std::size_t output = 0; output < padded; ++output)
            places.push_back(firstOf(output));
}

void RowFilter::run(const std::byte* pixels, kernels::Fourth fourth, int begin, int end, std::int16_t* into) const {
    const auto from = static_cast<std::size_t>(begin);
    const auto to = static_cast<std::size_t>(end);
    if (dense)
        kernels::filterNear({places.data(), weights.data(), weightsPerTap, taps}, pixels, fourth, from, to, into);
    else
        kernels::filterFar({places.data(), weights.data(), taps}, pixels, fourth, from, to, into);
}

} // namespace quillet
