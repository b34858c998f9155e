// SyntheticCamera.h: a camera whose picture is a formula and carries its own number.
#pragma once

#include "media/PixelRect.h"
#include "pipeline/CameraManager.h"
#include "pipeline/PixelBufferPool.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// A plain ground, and in the middle square, small enough to be seen within the circle, six by six cells: a colour in
/// each corner, and between them, in reading order, the sixteen bits of the picture's number, lowest first, and the
/// same again with black and white exchanged.
struct SyntheticCameraPicture {
    int width = 0;
    int height = 0;

    struct Patch {
        PixelRect rect;
        std::uint32_t colour; ///< 0xRRGGBB
    };
    static constexpr std::uint32_t ground = 0xf0d23c;
    static constexpr std::uint32_t topLeft = 0xc82828, topRight = 0x28b43c, bottomLeft = 0x323cc8,
                                   bottomRight = 0x8c28b4;
    static constexpr std::uint32_t zero = 0x101010, one = 0xebebeb;
    static constexpr int cellsPerSide = 6;
    /// A cell's side, as a share of the picture's shorter side.
    static constexpr double cellShare = 0.1;

    /// The ground and the cells; later ones cover earlier ones. Their edges are even where the picture is large enough.
    [[nodiscard]] std::vector<Patch> patches(std::uint64_t number) const;

    /// The number in a picture, modulo 65536, however it was scaled or coded, or nothing when the cells contradict each
    /// other. `lumaAt` gives the brightness, 0 to 255, at a place measured from the picture's centre, right and down,
    /// in shorter sides.
    [[nodiscard]] static std::optional<std::uint32_t>
    readNumber(const std::function<double(double right, double down)>& lumaAt);
};

/// 1280 x 720 at 30 a second. Threads: as every CaptureDevice.
class SyntheticCamera final : public CaptureDevice {
public:
    using OnFrame = std::function<void(ConstPixelBufferRef)>;
    [[nodiscard]] static std::unique_ptr<SyntheticCamera> make(SerialQueue& queue, OnFrame onFrame);
    ~SyntheticCamera() override;

    void start() override;
    void stop() override;

private:
    SyntheticCamera(SerialQueue& ownQueue, OnFrame receiver, std::unique_ptr<PixelBufferPool> frames);
    void show();

    SerialQueue& queue;
    const OnFrame onFrame;
    std::unique_ptr<PixelBufferPool> pool;
    std::uint64_t lastNumber = 0;
    SerialQueue::Clock::time_point due;
    SerialQueue::TimerId timer = 0;
};

} // namespace quillet
