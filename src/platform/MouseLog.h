// MouseLog.h: where the mouse was, to the pixel.
#pragma once

#include <QPoint>

#include <cstdint>
#include <optional>

namespace quillet {

/// The toolkit rounds the mouse's place to whole points, which are several pixels on a scaled screen: too coarse to
/// drag by. This keeps the places that the window system has told.
///
/// Threads: main.
class MouseLog {
public:
    virtual ~MouseLog() = default;

    enum class Event { press, motion, release };

    /// The mouse's pixel on the whole desktop (y down) at the toolkit's event with this time stamp; absent when it is
    /// not among the latest.
    [[nodiscard]] virtual std::optional<QPoint> pixelAt(Event event, std::uint64_t timestamp) const = 0;
};

} // namespace quillet
