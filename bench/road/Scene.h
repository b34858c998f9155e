// Scene.h: what the screen shows while recorders are compared, each picture a formula of its number.
#pragma once

#include <QImage>
#include <QRect>

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace quillet::road {

/// A row of black and white squares in the picture: the low bits of the picture's number, the highest at the left. A
/// film's pictures are known again by it.
struct Stamp {
    int x = 0;      ///< top left corner, pixels
    int y = 0;      ///< pixels from the top
    int square = 0; ///< side of a square, pixels; 0: there is no stamp

    static constexpr int bits = 16;
    void paint(QImage& picture, unsigned tick) const;
    [[nodiscard]] QRect area() const { return {x, y, bits * square, square}; }
};

/// Threads: one at a time.
class Scene {
public:
    /// `still`, `clock`, `typing`, `terminal`, `video`, `black` or `white`; null for any other name.
    [[nodiscard]] static std::unique_ptr<Scene> make(std::string_view kind);
    virtual ~Scene() = default;

    /// Pictures a second; 0 where only the first one is ever shown.
    [[nodiscard]] virtual int rate() const { return 0; }
    [[nodiscard]] virtual Stamp stamp() const { return {}; }
    /// How many pictures it wants memory for. What always takes a whole picture paints them all beforehand.
    [[nodiscard]] virtual std::size_t pictures() const { return 1; }
    /// Before the first paint(): `pictures`, as many as were wanted, of one size and 32 bits a pixel.
    virtual void prepare(std::vector<QImage>& pictures) = 0;

    struct Painted {
        std::size_t picture = 0;        ///< which one is to be shown
        std::array<QRect, 3> changed{}; ///< what differs from the picture shown before; empty ones do not count
    };
    /// Picture number `tick`; called for 1, 2, 3, … in this order (picture 0 is what prepare() has left).
    virtual Painted paint(std::vector<QImage>& pictures, unsigned tick) = 0;
};

} // namespace quillet::road
