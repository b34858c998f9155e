#include "platform/pipewire/cameraFormats.h"

#include <gtest/gtest.h>
#include <spa/param/format.h>
#include <spa/param/video/color.h>
#include <spa/param/video/raw.h>

#include <string>
#include <vector>

namespace quillet {
namespace {

CameraFormat offer(CameraLayout layout, int width, int height, double rate) {
    return {.layout = layout, .width = width, .height = height, .framesPerSecond = rate};
}

struct ChoiceCase {
    const char* name;
    std::vector<CameraFormat> offers;
    std::size_t best;
};

class BestCameraFormat : public ::testing::TestWithParam<ChoiceCase> {};

TEST_P(BestCameraFormat, isTheOneThatTheBubbleCanUse) {
    const ChoiceCase& each = GetParam();
    EXPECT_EQ(bestCameraFormat(each.offers), each.offers[each.best]);
}

constexpr auto yuy2 = CameraLayout::yuy2;
constexpr auto jpeg = CameraLayout::jpeg;

INSTANTIATE_TEST_SUITE_P(
    Table, BestCameraFormat,
    ::testing::Values(
        ChoiceCase{"paceBeforeMoreSharpness", {offer(yuy2, 1920, 1080, 5), offer(yuy2, 1280, 720, 30)}, 1},
        ChoiceCase{"noMoreSharpnessThanCanBeSeen", {offer(yuy2, 1920, 1080, 30), offer(yuy2, 1280, 720, 30)}, 1},
        ChoiceCase{"noMorePaceThanIsWanted", {offer(yuy2, 1280, 720, 60), offer(yuy2, 1280, 720, 30)}, 1},
        ChoiceCase{"jpegWhereRawIsSlow", {offer(yuy2, 1280, 720, 10), offer(jpeg, 1280, 720, 30)}, 1},
        ChoiceCase{"rawWhereBothAreQuick", {offer(jpeg, 1280, 720, 30), offer(yuy2, 1280, 720, 30)}, 1},
        ChoiceCase{"sharperOfTwoThatAreBothTooSmall", {offer(yuy2, 320, 240, 30), offer(yuy2, 640, 480, 30)}, 1},
        ChoiceCase{"aLittleSlowerButSharper", {offer(yuy2, 640, 480, 30), offer(yuy2, 1280, 720, 25)}, 1},
        ChoiceCase{"quickerThoughSmaller", {offer(yuy2, 1280, 720, 10), offer(yuy2, 640, 480, 30)}, 1},
        ChoiceCase{"ntscCountsAsThirty", {offer(yuy2, 640, 480, 30), offer(yuy2, 1280, 720, 30000 / 1001.0)}, 1},
        ChoiceCase{"largerWhenNothingElseIsQuick", {offer(yuy2, 160, 120, 30), offer(yuy2, 1920, 1080, 30)}, 1}),
    [](const auto& each) { return each.param.name; });

TEST(CameraFormats, nothingIsTheBestOfNothing) { EXPECT_EQ(bestCameraFormat({}), std::nullopt); }

TEST(CameraFormats, readWhatTheyHaveWritten) {
    for (const CameraLayout layout : {CameraLayout::bgrx, CameraLayout::rgbx, CameraLayout::xrgb, CameraLayout::xbgr,
                                      CameraLayout::bgr, CameraLayout::rgb, CameraLayout::yuy2, CameraLayout::uyvy,
                                      CameraLayout::nv12, CameraLayout::i420, CameraLayout::yv12, CameraLayout::jpeg}) {
        const CameraFormat written = offer(layout, 1280, 720, 30);
        EXPECT_EQ(readOffer(exactFormat(written, RateMatch::exact).get()), std::vector{written})
            << static_cast<int>(layout);
    }
    CameraFormat coloured = offer(CameraLayout::nv12, 640, 480, 15);
    coloured.range = YuvRange::full;
    coloured.standard = YuvStandard::bt709;
    EXPECT_EQ(readOffer(exactFormat(coloured, RateMatch::exact).get()), std::vector{coloured});
}

TEST(CameraFormats, readEveryRateOfAList) {
    // As V4L2 cameras are offered: one size, a list of rates after its default.
    std::vector<std::uint64_t> words(64);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, words.data(), 512);
    spa_pod_frame object{}, choice{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    const auto id = [&](std::uint32_t key, std::uint32_t value) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_id(&builder, value);
    };
    id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
    id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_YUY2);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_size, 0);
    spa_pod_builder_rectangle(&builder, 800, 600);
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_framerate, 0);
    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
    for (const std::uint32_t rate : {20U, 20U, 10U, 5U})
        spa_pod_builder_fraction(&builder, rate, 1);
    spa_pod_builder_pop(&builder, &choice);
    spa_pod_builder_pop(&builder, &object);
    const SpaPod pod(std::move(words));
    EXPECT_EQ(readOffer(pod.get()),
              (std::vector{offer(yuy2, 800, 600, 20), offer(yuy2, 800, 600, 10), offer(yuy2, 800, 600, 5)}));
}

TEST(CameraFormats, ofRangesTakeWhatServesTheBubbleBest) {
    for (const SpaPod& any : everyFormat()) {
        const std::vector<CameraFormat> read = readOffer(any.get());
        ASSERT_EQ(read.size(), 1U);
        EXPECT_EQ(read[0].width, 1280);
        EXPECT_EQ(read[0].height, 720);
        EXPECT_EQ(read[0].framesPerSecond, 30);
    }
}

/// An offer whose size is written by `size`, after everything else that a camera says.
template <typename Size>
std::vector<CameraFormat> offerWithSize(Size size) {
    std::vector<std::uint64_t> words(64);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, words.data(), 512);
    spa_pod_frame object{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    for (const auto& [key, value] : {std::pair{SPA_FORMAT_mediaType, std::uint32_t{SPA_MEDIA_TYPE_video}},
                                     {SPA_FORMAT_mediaSubtype, std::uint32_t{SPA_MEDIA_SUBTYPE_raw}},
                                     {SPA_FORMAT_VIDEO_format, std::uint32_t{SPA_VIDEO_FORMAT_YUY2}}}) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_id(&builder, value);
    }
    spa_pod_builder_prop(&builder, SPA_FORMAT_VIDEO_size, 0);
    size(builder);
    spa_pod_builder_pop(&builder, &object);
    return readOffer(SpaPod(std::move(words)).get());
}

TEST(CameraFormats, ofALyingCameraAreNone) {
    EXPECT_EQ(offerWithSize([](spa_pod_builder& builder) { spa_pod_builder_rectangle(&builder, 64, 48); }).size(), 1U);
    // A range, but not of sizes.
    EXPECT_TRUE(offerWithSize([](spa_pod_builder& builder) {
                    spa_pod_frame choice{};
                    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Range, 0);
                    for (int i = 0; i < 3; ++i)
                        spa_pod_builder_int(&builder, 64);
                    spa_pod_builder_pop(&builder, &choice);
                }).empty());
    // A choice that ends before its head does.
    EXPECT_TRUE(offerWithSize([](spa_pod_builder& builder) {
                    const struct {
                        spa_pod head;
                        std::uint64_t body;
                    } choice{{8, SPA_TYPE_Choice}, SPA_CHOICE_Range};
                    spa_pod_builder_raw_padded(&builder, &choice, sizeof choice);
                }).empty());
    // One of nothing at all.
    EXPECT_TRUE(offerWithSize([](spa_pod_builder& builder) {
                    spa_pod_frame choice{};
                    spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
                    spa_pod_builder_pop(&builder, &choice);
                }).empty());
}

// Two hundred of each, a few kilobytes, would be eight million formats.
TEST(CameraFormats, ofEndlessListsAreFew) {
    constexpr std::uint32_t listed = 200;
    std::vector<std::uint64_t> words(listed * 4);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, words.data(), static_cast<std::uint32_t>(words.size() * sizeof words[0]));
    spa_pod_frame object{};
    spa_pod_builder_push_object(&builder, &object, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    const auto property = [&](std::uint32_t key, std::uint32_t value) {
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_id(&builder, value);
    };
    const auto list = [&](std::uint32_t key, auto add) {
        spa_pod_frame choice{};
        spa_pod_builder_prop(&builder, key, 0);
        spa_pod_builder_push_choice(&builder, &choice, SPA_CHOICE_Enum, 0);
        for (std::uint32_t i = 0; i < listed; ++i)
            add(i);
        spa_pod_builder_pop(&builder, &choice);
    };
    property(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    property(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
    list(SPA_FORMAT_VIDEO_format, [&](std::uint32_t) { spa_pod_builder_id(&builder, SPA_VIDEO_FORMAT_YUY2); });
    list(SPA_FORMAT_VIDEO_size, [&](std::uint32_t i) { spa_pod_builder_rectangle(&builder, 100 + i, 100); });
    list(SPA_FORMAT_VIDEO_framerate, [&](std::uint32_t i) { spa_pod_builder_fraction(&builder, 1 + i, 1); });
    spa_pod_builder_pop(&builder, &object);
    ASSERT_LE(builder.state.offset, words.size() * sizeof words[0]);
    const std::vector<CameraFormat> read = readOffer(SpaPod(std::move(words)).get());
    EXPECT_EQ(read.size(), 64U * 64U);
    EXPECT_EQ(read.front(), offer(yuy2, 101, 100, 2)) << "the first of a choice is its default, which a list repeats";
}

TEST(CameraFormats, ofNothingReadableIsNothing) {
    ParameterBuilder other(SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers);
    EXPECT_TRUE(readOffer(other.finish().get()).empty());
    ParameterBuilder sound(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    sound.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_audio);
    EXPECT_TRUE(readOffer(sound.finish().get()).empty());
    ParameterBuilder grey(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    grey.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    grey.id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
    grey.id(SPA_FORMAT_VIDEO_format, SPA_VIDEO_FORMAT_GRAY8);
    grey.rectangle(SPA_FORMAT_VIDEO_size, {640, 480});
    EXPECT_TRUE(readOffer(grey.finish().get()).empty());
    ParameterBuilder sizeless(SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat);
    sizeless.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video);
    sizeless.id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_mjpg);
    EXPECT_TRUE(readOffer(sizeless.finish().get()).empty());
    EXPECT_TRUE(readOffer(nullptr).empty());
}

} // namespace
} // namespace quillet
