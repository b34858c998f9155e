// FilmOfBubble.h: a film with the camera's circle, held against where the bubble stood on the screen.
#pragma once

#include "tests/fakes/CameraCircleInFilm.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/x11/WindowTrack.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace quillet::testing {

/// Each picture of a film of one whole monitor over which only the bubble moves, never twice to the same place.
class FilmOfBubble {
public:
    struct Bubble {
        std::vector<WindowTrack::Place> places;
        int side = 0;          ///< pixels
        int left = 0, top = 0; ///< the recorded monitor's corner in pixels of the whole desktop
    };
    struct Seen {
        double seconds = 0;       ///< in the film
        double error = 0;         ///< pixels from the circle's centre to that of the nearest place
        std::size_t place = 0;    ///< which one that is
        std::uint32_t number = 0; ///< what the camera's picture counts; 0 where it cannot be read
    };

    /// A picture without a circle fails the test.
    FilmOfBubble(const test::Movie& movie, Bubble bubble);

    [[nodiscard]] const std::vector<Seen>& pictures() const { return seen; }
    [[nodiscard]] double worstError() const;
    /// How many of the places are shown at all.
    [[nodiscard]] std::size_t placesShown() const;

    /// The monotonic time of the film's first picture, to the time that the quickest of the bubble's moves took into
    /// the film (below a millisecond where many were made); nothing without a move.
    [[nodiscard]] std::optional<std::chrono::nanoseconds> begin() const;
    /// For each picture, how long ago the bubble had left the place that it shows, in milliseconds; 0 for where it
    /// still was. Sorted.
    [[nodiscard]] std::vector<double> millisecondsBehind() const;

private:
    Bubble bubble;
    std::vector<Seen> seen;
};

} // namespace quillet::testing
