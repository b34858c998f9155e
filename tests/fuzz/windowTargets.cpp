// What a display says of other programs' windows, who may give them any size, place, mask and opacity.
#include "platform/x11/OwnRegion.h"
#include "platform/x11/TaintedWindows.h"
#include "platform/x11/WindowStack.h"
#include "platform/x11/groundPlan.h"
#include "platform/x11/regions.h"
#include "platform/x11/windowFacts.h"
#include "tests/fuzz/fuzzTargets.h"

#include <cstring>
#include <optional>
#include <vector>

namespace quillet::fuzz {

namespace {

/// An answer as it comes from the wire: a head of 32 bytes, and as much behind it as the head says.
class Answer {
public:
    Answer(FuzzInput& input, std::size_t headBytes, std::size_t mostBytesBehind) {
        memory = input.bytes(headBytes + input.take<std::uint16_t>() % (mostBytesBehind + 1) / 4 * 4);
        const auto words = static_cast<std::uint32_t>((memory.size() - 32) / 4);
        std::memcpy(memory.data() + 4, &words, sizeof words); // this the library has checked
    }
    template <typename T>
    [[nodiscard]] const T* as() const {
        return reinterpret_cast<const T*>(memory.data());
    }

private:
    Bytes memory;
};

constexpr PixelRect display{0, 0, 800, 600};

StackedWindow takeWindow(FuzzInput& input, std::uint32_t id) {
    StackedWindow window;
    window.id = id;
    window.border = input.take<std::uint16_t>();
    window.outer = {input.take<std::int16_t>(), input.take<std::int16_t>(),
                    input.take<std::uint16_t>() + 2 * window.border, input.take<std::uint16_t>() + 2 * window.border};
    const unsigned flags = input.take<std::uint8_t>();
    window.isMapped = (flags & 1) != 0;
    window.isOwn = (flags & 2) != 0;
    window.isKnown = (flags & 4) != 0;
    window.isDrawn = (flags & 8) == 0;
    window.hasAlpha = (flags & 16) != 0;
    window.shape = QRect(0, 0, window.outer.width, window.outer.height);
    if ((flags & 32) != 0)
        window.shape -= QRect(input.take<std::uint8_t>(), input.take<std::uint8_t>(), input.take<std::uint8_t>(),
                              input.take<std::uint8_t>());
    return window;
}

} // namespace

void readWindowAnswers(std::span<const std::byte> bytes) {
    FuzzInput input(bytes);
    const Answer attributes(input, sizeof(xcb_get_window_attributes_reply_t), 0);
    const Answer geometry(input, 32, 0);
    const Answer extents(input, 32, 0);
    const Answer shape(input, 32, 512);
    const Answer opacity(input, 32, 64);
    const auto facts =
        windowFacts(1, {attributes.as<xcb_get_window_attributes_reply_t>(), geometry.as<xcb_get_geometry_reply_t>(),
                        extents.as<xcb_shape_query_extents_reply_t>(), shape.as<xcb_shape_get_rectangles_reply_t>(),
                        opacity.as<xcb_get_property_reply_t>()});
    expect(facts && facts->isKnown, "a window is not known though everything was answered");
    expect((facts->shape - QRect(0, 0, facts->outer.width, facts->outer.height)).isEmpty(),
           "a mask reaches beyond its window");
    for (const PixelRect& rect : coarseRects(facts->place(), display))
        expect(rect.width > 0 && rect.height > 0, "an empty rectangle is asked for");
}

std::vector<Bytes> windowAnswerSeeds() {
    std::vector<Bytes> seeds;
    for (const unsigned shaped : {0U, 1U}) {
        FuzzSeed seed;
        seed.put<std::uint16_t>(0);
        xcb_get_window_attributes_reply_t attributes{};
        attributes._class = XCB_WINDOW_CLASS_INPUT_OUTPUT;
        attributes.map_state = XCB_MAP_STATE_VIEWABLE;
        seed.put(attributes).put<std::uint16_t>(0);
        std::array<std::byte, 32> head{};
        xcb_get_geometry_reply_t geometry{};
        geometry.depth = 24;
        geometry.width = 300;
        geometry.height = 200;
        geometry.border_width = 2;
        std::memcpy(head.data(), &geometry, sizeof geometry);
        seed.put(head).put<std::uint16_t>(0);
        head = {};
        xcb_shape_query_extents_reply_t extents{};
        extents.bounding_shaped = static_cast<std::uint8_t>(shaped);
        std::memcpy(head.data(), &extents, sizeof extents);
        seed.put(head).put<std::uint16_t>(16);
        head = {};
        xcb_shape_get_rectangles_reply_t shape{};
        shape.rectangles_len = 2;
        std::memcpy(head.data(), &shape, sizeof shape);
        seed.put(head).put(xcb_rectangle_t{0, 0, 300, 50}).put(xcb_rectangle_t{20, 50, 260, 150});
        head = {};
        xcb_get_property_reply_t opacity{};
        opacity.format = 32;
        opacity.value_len = 1;
        std::memcpy(head.data(), &opacity, sizeof opacity);
        seed.put<std::uint16_t>(4).put(head).put(0x80000000U);
        seeds.push_back(seed.take());
    }
    return seeds;
}

// Windows that come, go, move and change in any order, told of or not, against what is then drawn.
void readWindowNews(std::span<const std::byte> bytes) {
    FuzzInput input(bytes);
    WindowStack stack;
    TaintedWindows tainted;
    OwnRegion own;
    OwnRegion::Clock::time_point now{};
    for (int news = 0; news < 100 && !input.isEmpty(); ++news) {
        const unsigned kind = input.below(12);
        const std::uint32_t id = input.below(12);
        switch (kind) {
            case 0:
            case 1:
                stack.add(takeWindow(input, id));
                break;
            case 2:
                stack.remove(id);
                tainted.forget(id);
                break;
            case 3:
                stack.setMapped(id, input.below(2) == 1);
                break;
            case 4: {
                const StackedWindow to = takeWindow(input, id);
                stack.configure(id, {to.outer, to.border, input.below(12)});
                break;
            }
            case 5:
                input.below(2) == 0 ? stack.raise(id) : stack.lower(id);
                break;
            case 6:
                stack.learn(takeWindow(input, id));
                break;
            case 7:
                stack.makeOwn(id);
                break;
            case 8:
                tainted.begin(id, takeWindow(input, id).shape);
                break;
            case 9:
                tainted.paint(id, takeWindow(input, id).shape);
                break;
            default: {
                now += std::chrono::milliseconds(input.below(255));
                const Compositing compositing = kind == 10 ? Compositing::byServer : Compositing::byManager;
                own.leave(stack.changes().left, compositing, now);
                own.expire(now);
                stack.forgetChanges();
                const QRegion region = own.region(stack, compositing) & toQRect(display);
                expect((region - own.trace(stack, compositing)).isEmpty(), "a window of ours stands where none is");
                const GroundPlan plan = groundPlan(region, stack, tainted, compositing);
                QRegion drawn = plan.background;
                for (const GroundLayer& layer : plan.layers) {
                    const StackedWindow* const window = stack.find(layer.window);
                    expect(window && !window->isOwn && window->isVisible(), "a window is drawn that is not to be");
                    expect((layer.clip - region).isEmpty(), "more is drawn than is wanted");
                    drawn += layer.clip;
                }
                expect((region - drawn).isEmpty(), "nothing is drawn where something is wanted");
                static_cast<void>(coarseRects(region, display));
            }
        }
        expect(stack.ownCount() <= stack.order().size(), "more windows of ours than windows");
    }
}

std::vector<Bytes> windowNewsSeeds() {
    FuzzSeed seed;
    const auto window = [&](int x, int y, unsigned width, unsigned height, unsigned flags) {
        seed.put<std::uint16_t>(1).put(static_cast<std::int16_t>(x)).put(static_cast<std::int16_t>(y));
        seed.put(static_cast<std::uint16_t>(width)).put(static_cast<std::uint16_t>(height)).byte(flags);
    };
    for (unsigned id = 1; id < 6; ++id) {
        seed.byte(0).byte(id);
        window(static_cast<int>(id) * 40, 30, 200, 150, id % 2 == 0 ? 7 : 5);
    }
    for (const unsigned compositing : {10U, 11U})
        seed.byte(compositing).byte(0).byte(20);
    seed.byte(4).byte(3);
    window(-20, 500, 300, 300, 5);
    seed.byte(2);
    seed.byte(3).byte(2).byte(0).byte(8).byte(1);
    window(10, 10, 50, 50, 0);
    seed.byte(5).byte(4).byte(0).byte(11).byte(0).byte(200).byte(2).byte(2).byte(10).byte(0).byte(250);
    return {seed.take()};
}

} // namespace quillet::fuzz
