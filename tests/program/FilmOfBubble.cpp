#include "tests/program/FilmOfBubble.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <utility>

namespace quillet::testing {

FilmOfBubble::FilmOfBubble(const test::Movie& movie, Bubble shown) : bubble(std::move(shown)) {
    for (const test::MoviePicture& picture : movie.pictures) {
        // In front of the empty desktop, whose colour depends on who paints it.
        const auto circle = findCircle(picture, picture.luma[0], CircleMirroring::leftToRight);
        if (!circle) {
            ADD_FAILURE() << "no circle at " << picture.pts;
            continue;
        }
        Seen result{
            .seconds = movie.video->timeOf(picture.pts).seconds(), .error = 1e9, .number = circle->number.value_or(0)};
        for (std::size_t i = 0; i < bubble.places.size(); ++i) {
            const PixelRect& rect = bubble.places[i].rect;
            const double error = std::hypot(circle->centreX - (rect.x - bubble.left + bubble.side / 2.0),
                                            circle->centreY - (rect.y - bubble.top + bubble.side / 2.0));
            if (error < result.error) {
                result.error = error;
                result.place = i;
            }
        }
        seen.push_back(result);
    }
}

double FilmOfBubble::worstError() const {
    double worst = 0;
    for (const Seen& each : seen)
        worst = std::max(worst, each.error);
    return worst;
}

std::size_t FilmOfBubble::placesShown() const {
    std::set<std::size_t> places;
    for (const Seen& each : seen)
        places.insert(each.place);
    return places.size();
}

std::optional<std::chrono::nanoseconds> FilmOfBubble::begin() const {
    std::optional<std::chrono::nanoseconds> begin;
    for (const Seen& each : seen) {
        if (each.place == 0) continue; // it stood there before the film began
        const auto shift =
            bubble.places[each.place].time - std::chrono::nanoseconds(static_cast<std::int64_t>(each.seconds * 1e9));
        // No picture shows a place before the bubble was there.
        begin = std::max(begin.value_or(shift), shift);
    }
    return begin;
}

std::vector<double> FilmOfBubble::millisecondsBehind() const {
    std::vector<double> result;
    const double begun = std::chrono::duration<double>(begin().value_or(std::chrono::nanoseconds(0))).count();
    for (const Seen& each : seen) {
        double left = 1e18;
        if (each.place + 1 < bubble.places.size())
            left = std::chrono::duration<double>(bubble.places[each.place + 1].time).count();
        result.push_back(std::max(0.0, (begun + each.seconds - left) * 1000));
    }
    std::ranges::sort(result);
    return result;
}

} // namespace quillet::testing
