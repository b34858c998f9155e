// RootFetch.h: pixels of the screen, as many rectangles as wanted in one round trip.
#pragma once

#include "media/PixelBuffer.h"
#include "platform/x11/XConnection.h"
#include "platform/x11/xcbHandles.h"

#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace quillet {

/// Pixels that are wanted: those of `rect` of the root window, from the root itself or from a pixmap that shows them
/// with its corner at (originX, originY) of the root.
struct FetchOrder {
    PixelRect rect;
    xcb_drawable_t drawable = 0; ///< 0: the root itself
    int originX = 0;
    int originY = 0;
    /// Of makeFrame(), as wide as `rect`: its rows from the first on take the pixels. Null: the area between does.
    PixelBuffer* into = nullptr;
};

/// Pixels that have arrived: rows of `rect`, top row first. Valid until the next request().
struct FetchedPixels {
    PixelRect rect;              ///< of the root window
    bool fromRoot = true;        ///< or from a pixmap
    std::byte* pixels = nullptr; ///< may be changed
    std::size_t strideBytes = 0;
};

/// What the server shows, cursor excluded. The pixels go to an area between, not into the picture itself: the area can
/// be thrown away when what arrived turns out to be unusable, and comparing while copying costs little more than
/// copying. Where all of a picture is new, they go straight into a frame that nobody sees yet.
///
/// Threads: the connection's.
class RootFetch {
public:
    enum class Result { complete, refused, lost };

    /// Through memory shared with the server where that works, else over the connection, which a line on standard error
    /// says. `pixels` is the most that one request() asks for into the area between, half of it the most that a frame
    /// has. Null with the reason in `error`.
    [[nodiscard]] static std::unique_ptr<RootFetch> make(const XConnection& connection, std::size_t pixels,
                                                         Error& error);
    ~RootFetch();
    RootFetch(const RootFetch&) = delete;
    RootFetch& operator=(const RootFetch&) = delete;

    /// Asks for rectangles, which must lie inside what they are asked from and be no more than `pixels` together.
    /// Sends; does not wait.
    void request(const std::vector<FetchOrder>& orders);
    /// Waits for what was asked for. Refused: the root has become smaller meanwhile; nothing has arrived.
    [[nodiscard]] Result collect();
    [[nodiscard]] const std::vector<FetchedPixels>& arrived() const { return pieces; }

    [[nodiscard]] bool isShared() const { return segment != 0; }

    /// A frame that a FetchOrder may have pixels put into; it may outlive this. Null when there are two already,
    /// without shared memory, and where a frame's rows have other places than the server gives them.
    [[nodiscard]] PixelBufferRef makeFrame(int width, int height);
    [[nodiscard]] bool canFill(const PixelBuffer& frame) const;

private:
    struct Pending {
        PixelRect rect;
        bool fromRoot = true;
        std::byte* place = nullptr; // in shared memory
        unsigned sequence = 0;      // of the request, whose kind `segment` tells
    };

    /// Two take turns in being seen and being filled.
    static constexpr std::size_t mostFrames = 2;

    struct Memory {
        explicit Memory(std::byte* address, std::size_t size, bool mapped)
            : begin(address), bytes(size), fromDescriptor(mapped) {}
        ~Memory();
        Memory(const Memory&) = delete;
        Memory& operator=(const Memory&) = delete;
        std::byte* begin;
        std::size_t bytes;
        bool fromDescriptor;
    };

    explicit RootFetch(const XConnection& connection);
    [[nodiscard]] bool shareMemory(std::size_t bytes);
    [[nodiscard]] bool shareDescriptor(std::size_t bytes);
    [[nodiscard]] bool shareSegment(std::size_t bytes);
    void requestOverConnection(const FetchOrder& order);

    const XConnection& connection;
    xcb_shm_seg_t segment = 0;      // 0: over the connection
    std::shared_ptr<Memory> memory; // with the frames made of it, which may outlive this
    std::size_t betweenBytes = 0;   // its beginning, for what does not go into a frame
    std::size_t frameBytes = 0;
    std::size_t framesMade = 0;

    std::vector<Pending> pending;
    std::vector<FetchedPixels> pieces;
    std::vector<XcbOwned<xcb_get_image_reply_t>> replies; // what `pieces` point into without shared memory
};

} // namespace quillet
