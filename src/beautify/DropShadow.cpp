#include "beautify/DropShadow.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace quillet {

namespace {

/// A sampled Gaussian: weights for the places `first`, `first` + 1, … beside the wanted one.
struct Kernel {
    int first;
    std::vector<float> weights;
};

/// Its middle lies `offset` away. Four standard deviations hold all but a hundredth of a level.
Kernel gaussian(double deviation, double offset) {
    const double reach = 4 * deviation;
    Kernel kernel{static_cast<int>(std::floor(offset - reach)), {}};
    const int last = static_cast<int>(std::ceil(offset + reach));
    std::vector<double> exact;
    double sum = 0;
    for (int place = kernel.first; place <= last; ++place) {
        const double distance = deviation > 0 ? (place - offset) / deviation : 0;
        exact.push_back(std::exp(-0.5 * distance * distance));
        sum += exact.back();
    }
    for (const double weight : exact)
        kernel.weights.push_back(static_cast<float>(weight / sum));
    return kernel;
}

/// Equal neighbours share one entry: rows or columns of a picture that repeat.
struct Runs {
    std::vector<int> entryOf; ///< for each place
    std::vector<int> placeOf; ///< for each entry, the first place that has it

    template <typename Same>
    Runs(int count, Same same) {
        for (int place = 0; place < count; ++place) {
            if (place == 0 || !same(place - 1, place)) placeOf.push_back(place);
            entryOf.push_back(static_cast<int>(placeOf.size()) - 1);
        }
    }
    [[nodiscard]] std::size_t entries() const { return placeOf.size(); }
};

/// Each different row of the shape, blurred along itself.
std::vector<std::vector<float>> blurRows(const ShapeMask& shape, const Runs& rows, const Kernel& kernel) {
    std::vector<std::vector<float>> blurred;
    const int before = -kernel.first;
    const auto width = static_cast<std::size_t>(shape.width);
    std::vector<float> extended(width + kernel.weights.size());
    for (const int y : rows.placeOf) {
        for (int x = 0; x < static_cast<int>(extended.size()); ++x)
            extended[static_cast<std::size_t>(x)] = shape.row(y)[std::clamp(x - before, 0, shape.width - 1)];
        std::vector<float>& sum = blurred.emplace_back(width, 0.0F);
        for (std::size_t tap = 0; tap < kernel.weights.size(); ++tap) {
            const float weight = kernel.weights[tap];
            const float* from = extended.data() + tap;
            for (std::size_t x = 0; x < width; ++x)
                sum[x] += weight * from[x];
        }
    }
    return blurred;
}

/// A row of black, as dense as the shadow.
void drawRow(const std::vector<float>& shadow, const Runs& columns, double opacity, std::vector<std::byte>& row) {
    for (std::size_t x = 0; x < columns.entryOf.size(); ++x) {
        const float level = shadow[static_cast<std::size_t>(columns.entryOf[x])] * static_cast<float>(opacity);
        row[x * 4 + 3] = static_cast<std::byte>(std::lround(level));
    }
}

} // namespace

void castShadow(const ShapeMask& shape, const DropShadow& shadow,
                const std::function<void(int y, const std::byte* black)>& draw) {
    const auto width = static_cast<std::size_t>(shape.width);
    const Runs rows(shape.height, [&](int a, int b) { return std::memcmp(shape.row(a), shape.row(b), width) == 0; });
    const auto blurred = blurRows(shape, rows, gaussian(shadow.blur, 0));
    const Runs columns(shape.width, [&](int a, int b) {
        return std::ranges::all_of(blurred, [&](const std::vector<float>& row) {
            return row[static_cast<std::size_t>(a)] == row[static_cast<std::size_t>(b)];
        });
    });
    std::vector<std::vector<float>> narrow;
    for (const std::vector<float>& row : blurred) {
        std::vector<float>& kept = narrow.emplace_back();
        for (const int x : columns.placeOf)
            kept.push_back(row[static_cast<std::size_t>(x)]);
    }

    // The shadow lies `drop` further down, so a row takes from rows that much further up.
    const Kernel kernel = gaussian(shadow.blur, -shadow.drop);
    std::vector<int> sources(kernel.weights.size(), -1);
    std::vector<int> previous;
    std::vector<float> sum(columns.entries());
    std::vector<std::byte> black(width * 4);
    for (int y = 0; y < shape.height; ++y) {
        previous = sources;
        for (std::size_t tap = 0; tap < sources.size(); ++tap) {
            const int from = std::clamp(y + kernel.first + static_cast<int>(tap), 0, shape.height - 1);
            sources[tap] = rows.entryOf[static_cast<std::size_t>(from)];
        }
        if (sources != previous) {
            std::fill(sum.begin(), sum.end(), 0.0F);
            for (std::size_t tap = 0; tap < sources.size(); ++tap) {
                const std::vector<float>& from = narrow[static_cast<std::size_t>(sources[tap])];
                const float weight = kernel.weights[tap];
                for (std::size_t i = 0; i < sum.size(); ++i)
                    sum[i] += weight * from[i];
            }
            drawRow(sum, columns, shadow.opacity, black);
        }
        draw(y, black.data());
    }
}

} // namespace quillet
