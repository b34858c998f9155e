// What a camera sends: any program of the session may be one.
#include "platform/pipewire/CameraPictureConverter.h"
#include "platform/pipewire/cameraFormats.h"
#include "platform/pipewire/streamBuffers.h"
#include "tests/fakes/pipewire/CameraPainter.h"
#include "tests/fuzz/fuzzTargets.h"

#include <spa/buffer/meta.h>

#include <array>
#include <cmath>
#include <cstring>
#include <memory>

namespace quillet::fuzz {

namespace {

constexpr unsigned layoutCount = static_cast<unsigned>(CameraLayout::jpeg) + 1;

void expectUpright(const ConstPixelBufferRef& frame) {
    if (!frame) return;
    expect(frame->width() > 0 && frame->height() > 0, "a camera's frame without pixels");
    for (int y : {0, frame->height() - 1}) {
        const std::byte* const row = frame->row(y);
        for (int x = 0; x < frame->width(); ++x)
            expect(row[x * 4 + 3] == std::byte{255}, "a camera's frame that is not opaque");
    }
}

} // namespace

// Several buffers in a row, of formats that change, as the server would map them.
void readCameraBuffers(std::span<const std::byte> bytes) {
    FuzzInput input(bytes);
    CameraPictureConverter converter;
    for (int pictures = 0; pictures < 8 && !input.isEmpty(); ++pictures) {
        CameraFormat format;
        format.layout = static_cast<CameraLayout>(input.below(layoutCount));
        const bool isLarge = input.below(16) == 15;
        format.width = isLarge ? input.take<int>() : input.take<std::int8_t>();
        format.height = isLarge ? input.take<int>() : input.take<std::int8_t>();
        format.range = input.below(2) == 0 ? YuvRange::limited : YuvRange::full;

        std::array<spa_data, 4> planes{};
        std::array<spa_chunk, 4> chunks{};
        std::array<Bytes, 4> memory;
        spa_meta_videotransform turn{input.below(12)};
        spa_meta meta{SPA_META_VideoTransform, sizeof turn, &turn};
        spa_buffer buffer{input.below(2), input.below(5), &meta, planes.data()};
        for (std::size_t i = 0; i < buffer.n_datas; ++i) {
            chunks[i].offset = input.below(2) == 0 ? 0 : input.take<std::uint32_t>();
            chunks[i].size = input.below(2) == 0 ? ~0U : input.take<std::uint32_t>();
            chunks[i].stride = input.below(2) == 0 ? input.take<std::int8_t>() : input.take<std::int32_t>();
            chunks[i].flags = static_cast<int>(input.below(4));
            memory[i] = input.bytes(input.take<std::uint16_t>() % 8192);
            planes[i].maxsize = static_cast<std::uint32_t>(memory[i].size());
            planes[i].data = input.below(8) == 7 ? nullptr : memory[i].data();
            planes[i].chunk = input.below(8) == 7 ? nullptr : &chunks[i];
        }
        if (isEmptyOrDamaged(buffer)) continue;
        const CameraPicture picture = pictureOf(buffer);
        for (const CameraPlane& plane : picture.planes)
            if (plane.data)
                expect(std::any_of(memory.begin(), memory.end(),
                                   [&](const Bytes& each) {
                                       return plane.data >= each.data() &&
                                              plane.data + plane.sizeBytes <= each.data() + each.size();
                                   }),
                       "a camera's plane reaches beyond its memory");
        expectUpright(converter.convert(format, picture));
    }
}

std::vector<Bytes> cameraBufferSeeds() {
    std::vector<Bytes> seeds;
    for (unsigned layout = 0; layout < layoutCount; ++layout) {
        const CameraFormat format{.layout = static_cast<CameraLayout>(layout), .width = 16, .height = 10};
        testing::CameraPainter painter({.format = format, .paddingBytes = layout % 3 * 4});
        Bytes memory(painter.sizeBytes());
        memory.resize(painter.paint(layout, memory));
        FuzzSeed seed;
        seed.byte(layout).byte(0).byte(16).byte(10).byte(0).byte(layout % 8).byte(1).byte(1);
        seed.byte(0).byte(0).byte(0).byte(static_cast<unsigned>(painter.strideBytes())).byte(0);
        seed.put(static_cast<std::uint16_t>(memory.size())).bytes(memory).byte(0).byte(0);
        seeds.push_back(seed.take());
    }
    return seeds;
}

void readCameraJpeg(std::span<const std::byte> input) {
    // One that has seen other pictures before, as in a stream.
    static CameraPictureConverter converter;
    const Bytes exact(input.begin(), input.end());
    CameraPicture picture;
    picture.planes[0] = {exact.data(), exact.size(), 0};
    picture.turn = {.isFlipped = input.size() % 2 != 0, .quarters = static_cast<int>(input.size() / 2 % 4)};
    expectUpright(converter.convert({.layout = CameraLayout::jpeg, .width = 16, .height = 10}, picture));
}

std::vector<Bytes> cameraJpegSeeds() {
    std::vector<Bytes> seeds;
    for (const auto& [width, height] : {std::pair{16, 16}, {33, 17}, {160, 90}}) {
        testing::CameraPainter painter({.format = {.layout = CameraLayout::jpeg, .width = width, .height = height}});
        Bytes memory(painter.sizeBytes());
        memory.resize(painter.paint(1, memory));
        seeds.push_back(memory);
    }
    return seeds;
}

void readCameraOffers(std::span<const std::byte> bytes) {
    if (bytes.size() < sizeof(spa_pod)) return;
    // The server hands over pods that end where their own size says; nothing inside has been looked at.
    const auto exact = std::make_unique<std::uint64_t[]>((bytes.size() + 7) / 8);
    std::memcpy(exact.get(), bytes.data(), bytes.size());
    auto* const pod = reinterpret_cast<spa_pod*>(exact.get());
    pod->size = std::min(pod->size, static_cast<std::uint32_t>(bytes.size() - sizeof(spa_pod)));
    const std::vector<CameraFormat> offers = readOffer(pod);
    for (const CameraFormat& offer : offers) {
        expect(offer.width > 0 && offer.height > 0, "a camera's offer without pixels");
        expect(std::isfinite(offer.framesPerSecond) && offer.framesPerSecond >= 0, "a pace that is no number");
    }
    // What is chosen is asked for, and read again.
    if (const std::optional<CameraFormat> best = bestCameraFormat(offers))
        expect(readFormat(exactFormat(*best, RateMatch::withinAHundredth).get()).has_value(),
               "an offer that cannot be asked for");
    static_cast<void>(readFormat(pod));
}

std::vector<Bytes> cameraOfferSeeds() {
    std::vector<Bytes> seeds;
    const auto add = [&](const SpaPod& pod) {
        const auto* begin = reinterpret_cast<const std::byte*>(pod.get());
        seeds.emplace_back(begin, begin + sizeof(spa_pod) + pod.get()->size);
    };
    for (const SpaPod& pod : everyFormat())
        add(pod);
    add(exactFormat({.layout = CameraLayout::nv12, .width = 1280, .height = 720, .framesPerSecond = 29.97},
                    RateMatch::exact));
    add(exactFormat({.layout = CameraLayout::jpeg, .width = 640, .height = 480, .framesPerSecond = 30},
                    RateMatch::withinAHundredth));
    return seeds;
}

} // namespace quillet::fuzz
