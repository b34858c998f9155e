// Compositor.h: one screen frame and the newest camera picture become one output frame.
#pragma once

#include "geometry/Rect.h"
#include "media/PixelBuffer.h"
#include "pipeline/BeautifySettings.h"
#include "pipeline/CircleShelf.h"

#include <functional>
#include <memory>
#include <optional>

namespace quillet {

/// Cuts the region out of the screen frame, lays the camera picture over it as a circle and, with beautify, sets the
/// result on a backdrop. Draws only what differs from what the output frame already holds; the result equals a full
/// redraw bit for bit. Keeps no memory of an earlier camera rectangle other than where to undo it.
///
/// Output frames carry `sequence` (1, 2, 3, … for each render) and `damage` against the render before, for the encoder.
///
/// Threads: one thread at a time; frames are only read while render() runs, but for the one that a view shows.
class Compositor {
public:
    /// `cropRect`: the region, whole display pixels, origin at the display's bottom left, y up; it may reach beyond the
    /// screen frame, and what lies outside is transparent black. Output frames are of its size. `circles`: those of
    /// the bubble that shows the same camera; null: none.
    Compositor(Rect cropRect, bool mirrorCamera, std::optional<BeautifySettings> beautify,
               std::shared_ptr<CircleShelf> circles = nullptr);
    ~Compositor();

    /// Fills `into` (of outputSize(), or the program stops). `cameraRect` in display pixels; the circle's diameter is
    /// its width. Without `camera` or without `cameraRect` there is no circle. A frame with a `sequence` that follows
    /// the one before is redrawn only where its `damage` says; any other is drawn whole.
    void render(const PixelBuffer& screen, const PixelBuffer* camera, std::optional<Rect> cameraRect,
                PixelBuffer& into);

    struct Reader {
        std::function<PixelBufferRef()> acquire; ///< a frame to draw into, or null
        bool isPrompt = true;                    ///< whether what is shown will be read and let go at once
    };
    /// The same into a frame of `acquire`; or, for a prompt reader, where most of the region is new and shows the
    /// screen as it is, without a drawing: a view of the screen frame, which is held until the view is let go. Of views
    /// there is one at a time. Null when a frame was needed and `acquire` had none; what was to be shown is then noted,
    /// as by skip().
    [[nodiscard]] ConstPixelBufferRef show(const ConstPixelBufferRef& screen, const PixelBuffer* camera,
                                           std::optional<Rect> cameraRect, const Reader& reader);

    /// Reader note of a screen frame that is not rendered (no output frame was to be had), so that the next one is
    /// still drawn only where something changed.
    void skip(const PixelBuffer& screen);

    [[nodiscard]] Size outputSize() const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace quillet
