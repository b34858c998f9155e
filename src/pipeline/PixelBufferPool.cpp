#include "pipeline/PixelBufferPool.h"

#include <limits>
#include <mutex>
#include <utility>
#include <vector>

namespace quillet {

/// The frames that are here, and the small blocks in which loans are counted: both are used again and again.
struct PixelBufferPool::Shelf {
    Shelf(Size wanted, int columns, int rows) : size(wanted), width(columns), height(rows) { frames.reserve(capacity); }
    ~Shelf() {
        for (void* block : blocks)
            ::operator delete(block);
    }
    Shelf(const Shelf&) = delete;
    Shelf& operator=(const Shelf&) = delete;

    [[nodiscard]] PixelBufferRef take() {
        const std::lock_guard lock(mutex);
        if (frames.empty()) return nullptr;
        PixelBufferRef frame = std::move(frames.back());
        frames.pop_back();
        return frame;
    }

    void giveBack(PixelBufferRef frame) {
        const std::lock_guard lock(mutex);
        frames.push_back(std::move(frame)); // never grows: all frames there are have room
    }

    /// All blocks are of one size.
    [[nodiscard]] void* takeBlock(std::size_t size);
    void giveBackBlock(void* block);

    const Size size;
    const int width;
    const int height;
    std::size_t made = 0; // by the owner's thread

    std::mutex mutex; // guards what follows
    std::vector<PixelBufferRef> frames;
    std::vector<void*> blocks;
};

void* PixelBufferPool::Shelf::takeBlock(std::size_t wanted) {
    const std::lock_guard lock(mutex);
    if (blocks.empty()) {
        // Room for its return, so that giving back cannot fail; twice as much as there are frames, because a weak
        // reference can keep a block away when its frame is back already.
        blocks.reserve(2 * capacity);
        return ::operator new(wanted);
    }
    void* block = blocks.back();
    blocks.pop_back();
    return block;
}

void PixelBufferPool::Shelf::giveBackBlock(void* block) {
    const std::lock_guard lock(mutex);
    if (blocks.size() < blocks.capacity())
        blocks.push_back(block);
    else
        ::operator delete(block);
}

namespace {

/// Counts loans in blocks from the shelf.
template <typename Shelf, typename T>
struct BlockAllocator {
    using value_type = T;
    template <typename Other>
    struct rebind {
        using other = BlockAllocator<Shelf, Other>;
    };

    explicit BlockAllocator(std::shared_ptr<Shelf> home) : shelf(std::move(home)) {}
    template <typename Other>
    BlockAllocator(const BlockAllocator<Shelf, Other>& other) : shelf(other.shelf) {}

    T* allocate(std::size_t count) { return static_cast<T*>(shelf->takeBlock(count * sizeof(T))); }
    void deallocate(T* block, std::size_t) { shelf->giveBackBlock(block); }

    template <typename Other>
    bool operator==(const BlockAllocator<Shelf, Other>& other) const {
        return shelf == other.shelf;
    }

    // Shared: a block may come back when the pool is gone, and even after its frame.
    std::shared_ptr<Shelf> shelf;
};

constexpr std::int64_t mostPixels = std::int64_t{1} << 40;

} // namespace

std::unique_ptr<PixelBufferPool> PixelBufferPool::make(Size size) {
    const std::int64_t width = truncated(size.width, "a pool's width");
    const std::int64_t height = truncated(size.height, "a pool's height");
    constexpr std::int64_t largest = std::numeric_limits<int>::max() / 2;
    if (width < 1 || height < 1 || width > largest || height > largest || width > mostPixels / height) return nullptr;

    auto shelf = std::make_shared<Shelf>(size, static_cast<int>(width), static_cast<int>(height));
    PixelBufferRef first = PixelBuffer::make(shelf->width, shelf->height);
    if (!first) return nullptr;
    shelf->made = 1;
    shelf->giveBack(std::move(first));
    return std::unique_ptr<PixelBufferPool>(new PixelBufferPool(std::move(shelf)));
}

PixelBufferPool::PixelBufferPool(std::shared_ptr<Shelf> frames) : shelf(std::move(frames)) {}

PixelBufferPool::~PixelBufferPool() = default;

PixelBufferRef PixelBufferPool::acquire() {
    PixelBufferRef frame = shelf->take();
    if (!frame) {
        if (shelf->made == capacity) return nullptr;
        frame = PixelBuffer::make(shelf->width, shelf->height);
        if (!frame) return nullptr;
        ++shelf->made;
    }
    frame->alpha = Alpha::premultiplied;
    frame->sequence = 0;
    frame->damage.reset();
    PixelBuffer* lent = frame.get();
    auto giveBack = [home = shelf, frame = std::move(frame)](PixelBuffer*) mutable {
        home->giveBack(std::move(frame));
    };
    return PixelBufferRef(lent, std::move(giveBack), BlockAllocator<Shelf, PixelBuffer>(shelf));
}

Size PixelBufferPool::size() const { return shelf->size; }

} // namespace quillet
