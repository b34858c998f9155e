#include "platform/x11/RootFetch.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

namespace quillet {

namespace {

// Without shared memory a reply is copied three times; pieces of this size stay in the cache and let the server work on
// the next one meanwhile.
constexpr std::size_t largestPiece = std::size_t{1} << 20;

constexpr std::size_t pageBytes = 4096;

constexpr std::uint32_t allPlanes = ~0U;

} // namespace

RootFetch::RootFetch(const XConnection& server) : connection(server) {}

RootFetch::~RootFetch() {
    if (segment) xcb_shm_detach(connection.xcb(), segment);
}

RootFetch::Memory::~Memory() {
    if (fromDescriptor)
        ::munmap(begin, bytes);
    else
        ::shmdt(begin);
}

std::unique_ptr<RootFetch> RootFetch::make(const XConnection& connection, std::size_t pixels, Error& error) {
    std::unique_ptr<RootFetch> fetch(new RootFetch(connection));
    if (!fetch->shareMemory(pixels)) noteFallback("the X server shares no memory; recording costs more.");
    if (connection.isLost()) {
        error = {"Quillet", 2, "The X server has closed the connection."};
        return nullptr;
    }
    return fetch;
}

bool RootFetch::shareMemory(std::size_t pixels) {
    // A server on another machine would take a segment's number for one of its own; passing a descriptor over such a
    // connection would break it.
    if (!connection.shm.present || !connection.isLocal()) return false;
    const auto toPages = [](std::size_t bytes) { return (bytes + pageBytes - 1) / pageBytes * pageBytes; };
    betweenBytes = toPages(pixels * 4);
    frameBytes = toPages(pixels / 2 * 4 + PixelBuffer::rowAlignmentBytes);
    // Only what is used takes memory.
    const std::size_t bytes = betweenBytes + mostFrames * frameBytes;
    return (connection.shmPassesDescriptors && shareDescriptor(bytes)) || shareSegment(bytes);
}

bool RootFetch::shareDescriptor(std::size_t bytes) {
    const int descriptor = ::memfd_create("quillet-screen", MFD_CLOEXEC);
    if (descriptor < 0) return false;
    void* mapped = MAP_FAILED;
    if (::ftruncate(descriptor, static_cast<off_t>(bytes)) == 0)
        mapped = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (mapped == MAP_FAILED) {
        ::close(descriptor);
        return false;
    }
    const xcb_shm_seg_t id = xcb_generate_id(connection.xcb());
    constexpr std::uint8_t writable = 0;
    // The library closes the descriptor once it is sent.
    const auto refused = owned(
        xcb_request_check(connection.xcb(), xcb_shm_attach_fd_checked(connection.xcb(), id, descriptor, writable)));
    if (refused || connection.isLost()) {
        ::munmap(mapped, bytes);
        return false;
    }
    segment = id;
    memory = std::make_shared<Memory>(static_cast<std::byte*>(mapped), bytes, true);
    return true;
}

bool RootFetch::shareSegment(std::size_t bytes) {
    const int number = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
    if (number < 0) return false;
    void* attached = ::shmat(number, nullptr, 0);
    const xcb_shm_seg_t id = xcb_generate_id(connection.xcb());
    bool accepted = false;
    if (attached != reinterpret_cast<void*>(-1)) {
        const auto refused = owned(xcb_request_check(
            connection.xcb(), xcb_shm_attach_checked(connection.xcb(), id, static_cast<std::uint32_t>(number), 0)));
        accepted = !refused && !connection.isLost();
        if (!accepted) ::shmdt(attached);
    }
    // Goes away with its last user, also when that one is killed.
    ::shmctl(number, IPC_RMID, nullptr);
    if (!accepted) return false;
    segment = id;
    memory = std::make_shared<Memory>(static_cast<std::byte*>(attached), bytes, false);
    return true;
}

PixelBufferRef RootFetch::makeFrame(int width, int height) {
    const std::size_t stride = static_cast<std::size_t>(width) * 4;
    if (!segment || framesMade == mostFrames || stride % PixelBuffer::rowAlignmentBytes != 0) return nullptr;
    if (stride * static_cast<std::size_t>(height) + PixelBuffer::rowAlignmentBytes > frameBytes) return nullptr;
    std::byte* const place = memory->begin + betweenBytes + framesMade * frameBytes;
    ++framesMade;
    return PixelBuffer::wrap(place, stride, width, height, [held = memory] {});
}

bool RootFetch::canFill(const PixelBuffer& frame) const {
    return memory && frame.row(0) >= memory->begin && frame.row(0) < memory->begin + memory->bytes;
}

void RootFetch::request(const std::vector<FetchOrder>& orders) {
    pieces.clear();
    replies.clear();
    pending.clear();
    std::size_t offset = 0;
    for (const FetchOrder& order : orders) {
        if (!segment) {
            requestOverConnection(order);
            continue;
        }
        const PixelRect& rect = order.rect;
        std::byte* const place = order.into ? order.into->row(0) : memory->begin + offset;
        const auto cookie = xcb_shm_get_image(
            connection.xcb(), order.drawable ? order.drawable : connection.root(),
            static_cast<std::int16_t>(rect.x - order.originX), static_cast<std::int16_t>(rect.y - order.originY),
            static_cast<std::uint16_t>(rect.width), static_cast<std::uint16_t>(rect.height), allPlanes,
            XCB_IMAGE_FORMAT_Z_PIXMAP, segment, static_cast<std::uint32_t>(place - memory->begin));
        pending.push_back({rect, order.drawable == 0, place, cookie.sequence});
        if (!order.into) offset += static_cast<std::size_t>(rect.area()) * 4;
    }
}

void RootFetch::requestOverConnection(const FetchOrder& order) {
    const PixelRect& rect = order.rect;
    const std::size_t rowBytes = static_cast<std::size_t>(rect.width) * 4;
    const std::size_t limit =
        std::min(largestPiece, static_cast<std::size_t>(xcb_get_maximum_request_length(connection.xcb())) * 4 - 64);
    const int rows = static_cast<int>(std::max<std::size_t>(1, limit / rowBytes));
    for (int y = rect.y; y < rect.bottom(); y += rows) {
        const PixelRect piece{rect.x, y, rect.width, std::min(rows, rect.bottom() - y)};
        const auto cookie = xcb_get_image(
            connection.xcb(), XCB_IMAGE_FORMAT_Z_PIXMAP, order.drawable ? order.drawable : connection.root(),
            static_cast<std::int16_t>(piece.x - order.originX), static_cast<std::int16_t>(piece.y - order.originY),
            static_cast<std::uint16_t>(piece.width), static_cast<std::uint16_t>(piece.height), allPlanes);
        pending.push_back({piece, order.drawable == 0, nullptr, cookie.sequence});
    }
}

RootFetch::Result RootFetch::collect() {
    bool complete = true;
    for (const Pending& piece : pending) {
        xcb_generic_error_t* problem = nullptr;
        std::byte* pixels = nullptr;
        if (segment) {
            const auto reply = owned(xcb_shm_get_image_reply(connection.xcb(), {piece.sequence}, &problem));
            if (reply) pixels = piece.place;
        } else {
            auto reply = owned(xcb_get_image_reply(connection.xcb(), {piece.sequence}, &problem));
            if (reply && static_cast<std::int64_t>(xcb_get_image_data_length(reply.get())) >= piece.rect.area() * 4) {
                pixels = reinterpret_cast<std::byte*>(xcb_get_image_data(reply.get()));
                replies.push_back(std::move(reply));
            }
        }
        const auto error = owned(problem);
        if (pixels)
            pieces.push_back({piece.rect, piece.fromRoot, pixels, static_cast<std::size_t>(piece.rect.width) * 4});
        else
            complete = false; // go on: every reply must be taken, or it stays in the library's queue
    }
    pending.clear();
    if (connection.isLost()) return Result::lost;
    if (complete) return Result::complete;
    pieces.clear();
    return Result::refused;
}

} // namespace quillet
