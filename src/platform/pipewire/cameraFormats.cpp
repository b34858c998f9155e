#include "platform/pipewire/cameraFormats.h"

#include <spa/param/format.h>
#include <spa/param/param.h>
#include <spa/param/video/color.h>
#include <spa/param/video/raw.h>
#include <spa/pod/iter.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <tuple>
#include <utility>

namespace quillet {

namespace {

struct RawFormat {
    std::uint32_t id; // spa_video_format
    CameraLayout layout;
};

// In the order of our liking, for cameras whose offers we could not learn. The first of a layout is what we would name.
constexpr RawFormat rawFormats[] = {
    {SPA_VIDEO_FORMAT_YUY2, CameraLayout::yuy2}, {SPA_VIDEO_FORMAT_NV12, CameraLayout::nv12},
    {SPA_VIDEO_FORMAT_I420, CameraLayout::i420}, {SPA_VIDEO_FORMAT_YV12, CameraLayout::yv12},
    {SPA_VIDEO_FORMAT_UYVY, CameraLayout::uyvy}, {SPA_VIDEO_FORMAT_BGRx, CameraLayout::bgrx},
    {SPA_VIDEO_FORMAT_BGRA, CameraLayout::bgrx}, {SPA_VIDEO_FORMAT_RGBx, CameraLayout::rgbx},
    {SPA_VIDEO_FORMAT_RGBA, CameraLayout::rgbx}, {SPA_VIDEO_FORMAT_xRGB, CameraLayout::xrgb},
    {SPA_VIDEO_FORMAT_ARGB, CameraLayout::xrgb}, {SPA_VIDEO_FORMAT_xBGR, CameraLayout::xbgr},
    {SPA_VIDEO_FORMAT_ABGR, CameraLayout::xbgr}, {SPA_VIDEO_FORMAT_BGR, CameraLayout::bgr},
    {SPA_VIDEO_FORMAT_RGB, CameraLayout::rgb},
};

constexpr int largestSide = 16384;

/// No real list is longer. An offer is the product of its lists, so that a few kilobytes of lies would fill the memory.
constexpr std::size_t mostListed = 64;

/// Drops what is listed again, and what is too much.
template <typename T, typename Same>
void shorten(std::vector<T>& list, Same same) {
    std::vector<T> kept;
    for (const T& each : list) {
        if (kept.size() == mostListed) break;
        if (std::ranges::none_of(kept, [&](const T& other) { return same(each, other); })) kept.push_back(each);
    }
    list = std::move(kept);
}

/// The values of one property: a single one, a list without its default, or the ends of a range.
struct Values {
    const spa_pod* first = nullptr;
    std::uint32_t choice = SPA_CHOICE_None;
    std::vector<const void*> all;

    [[nodiscard]] bool isRange() const { return choice == SPA_CHOICE_Range || choice == SPA_CHOICE_Step; }
    template <typename T>
    [[nodiscard]] T at(std::size_t index) const {
        T value; // which need not be aligned: another program has written it
        std::memcpy(&value, all[index], sizeof value);
        return value;
    }
};

template <typename T>
Values valuesOf(const spa_pod* object, std::uint32_t key, std::uint32_t type) {
    Values values;
    const spa_pod_prop* property = spa_pod_find_prop(object, nullptr, key);
    if (!property) return values;
    // The library takes it for granted that a choice has a head.
    if (property->value.type == SPA_TYPE_Choice && property->value.size < sizeof(spa_pod_choice_body)) return values;
    std::uint32_t count = 0;
    std::uint32_t choice = SPA_CHOICE_None;
    const spa_pod* first = spa_pod_get_values(&property->value, &count, &choice);
    if (!first || first->type != type || first->size < sizeof(T) || count == 0) return values;
    values.choice = choice;
    values.first = first;
    const auto* bytes = reinterpret_cast<const std::byte*>(first) + sizeof(spa_pod);
    // A choice starts with its default, which a list repeats and a range puts before its ends.
    const std::uint32_t begin = values.choice == SPA_CHOICE_None || count == 1 ? 0 : 1;
    const std::uint32_t end = values.isRange() ? std::min(count, 3U) : count;
    for (std::uint32_t i = begin; i < end; ++i)
        values.all.push_back(bytes + static_cast<std::size_t>(i) * first->size);
    if (values.isRange() && values.all.size() < 2) values.choice = SPA_CHOICE_None;
    return values;
}

double rateOf(const spa_fraction& fraction) { return fraction.denom == 0 ? 0 : double(fraction.num) / fraction.denom; }

std::vector<spa_rectangle> sizesOf(const spa_pod* object) {
    const Values values = valuesOf<spa_rectangle>(object, SPA_FORMAT_VIDEO_size, SPA_TYPE_Rectangle);
    std::vector<spa_rectangle> sizes;
    if (values.isRange()) {
        const auto least = values.at<spa_rectangle>(0);
        const auto most = values.at<spa_rectangle>(1);
        if (least.width <= most.width && least.height <= most.height)
            sizes.push_back({std::clamp(std::uint32_t{wantedShorterSide} * 16 / 9, least.width, most.width),
                             std::clamp(std::uint32_t{wantedShorterSide}, least.height, most.height)});
    } else {
        for (std::size_t i = 0; i < values.all.size(); ++i)
            sizes.push_back(values.at<spa_rectangle>(i));
    }
    std::erase_if(sizes, [](const spa_rectangle& size) {
        return size.width < 1 || size.height < 1 || size.width > largestSide || size.height > largestSide;
    });
    shorten(sizes,
            [](const spa_rectangle& a, const spa_rectangle& b) { return a.width == b.width && a.height == b.height; });
    return sizes;
}

std::vector<double> ratesOf(const spa_pod* object) {
    const Values values = valuesOf<spa_fraction>(object, SPA_FORMAT_VIDEO_framerate, SPA_TYPE_Fraction);
    std::vector<double> rates;
    if (values.isRange()) {
        const double least = rateOf(values.at<spa_fraction>(0));
        const double most = rateOf(values.at<spa_fraction>(1));
        rates.push_back(std::max(least, std::min(most, wantedFramesPerSecond)));
    } else {
        for (std::size_t i = 0; i < values.all.size(); ++i)
            rates.push_back(rateOf(values.at<spa_fraction>(i)));
    }
    if (rates.empty()) rates.push_back(0);
    shorten(rates, std::equal_to<>());
    return rates;
}

std::optional<std::uint32_t> idOf(const spa_pod* object, std::uint32_t key) {
    const Values values = valuesOf<std::uint32_t>(object, key, SPA_TYPE_Id);
    return values.all.empty() ? std::nullopt : std::optional(values.at<std::uint32_t>(0));
}

bool isFormatObject(const spa_pod* pod) {
    return pod && spa_pod_is_object_type(pod, SPA_TYPE_OBJECT_Format) != 0 &&
           idOf(pod, SPA_FORMAT_mediaType) == std::uint32_t{SPA_MEDIA_TYPE_video};
}

std::vector<CameraLayout> layoutsOf(const spa_pod* object) {
    std::vector<CameraLayout> layouts;
    const std::optional<std::uint32_t> subtype = idOf(object, SPA_FORMAT_mediaSubtype);
    if (subtype == std::uint32_t{SPA_MEDIA_SUBTYPE_mjpg}) layouts.push_back(CameraLayout::jpeg);
    if (subtype != std::uint32_t{SPA_MEDIA_SUBTYPE_raw}) return layouts;
    const Values values = valuesOf<std::uint32_t>(object, SPA_FORMAT_VIDEO_format, SPA_TYPE_Id);
    for (std::size_t i = 0; i < values.all.size(); ++i)
        for (const RawFormat& known : rawFormats)
            if (known.id == values.at<std::uint32_t>(i)) layouts.push_back(known.layout);
    shorten(layouts, std::equal_to<>());
    return layouts;
}

/// What the stream says of its colours; where it is silent, the format's own defaults stand.
void readColours(const spa_pod* object, CameraFormat& format) {
    const std::optional<std::uint32_t> range = idOf(object, SPA_FORMAT_VIDEO_colorRange);
    if (range == std::uint32_t{SPA_VIDEO_COLOR_RANGE_0_255}) format.range = YuvRange::full;
    if (range == std::uint32_t{SPA_VIDEO_COLOR_RANGE_16_235}) format.range = YuvRange::limited;
    const std::optional<std::uint32_t> matrix = idOf(object, SPA_FORMAT_VIDEO_colorMatrix);
    if (matrix == std::uint32_t{SPA_VIDEO_COLOR_MATRIX_BT709}) format.standard = YuvStandard::bt709;
    if (matrix == std::uint32_t{SPA_VIDEO_COLOR_MATRIX_BT601}) format.standard = YuvStandard::bt601;
}

bool hasLuma(CameraLayout layout) {
    switch (layout) {
        case CameraLayout::yuy2:
        case CameraLayout::uyvy:
        case CameraLayout::nv12:
        case CameraLayout::i420:
        case CameraLayout::yv12:
            return true;
        default:
            return false;
    }
}

/// Builds one EnumFormat parameter.
class FormatBuilder {
public:
    FormatBuilder() { parameter.id(SPA_FORMAT_mediaType, SPA_MEDIA_TYPE_video); }
    void id(std::uint32_t key, std::uint32_t value) { parameter.id(key, value); }
    void raw(std::uint32_t format) {
        id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_raw);
        id(SPA_FORMAT_VIDEO_format, format);
    }
    void jpeg() { id(SPA_FORMAT_mediaSubtype, SPA_MEDIA_SUBTYPE_mjpg); }
    void size(int width, int height) {
        parameter.rectangle(SPA_FORMAT_VIDEO_size,
                            {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)});
    }
    void anySize() {
        parameter.range(SPA_FORMAT_VIDEO_size, spa_rectangle{wantedShorterSide * 16 / 9, wantedShorterSide},
                        spa_rectangle{1, 1}, spa_rectangle{largestSide, largestSide});
    }
    void rate(double exact) { parameter.fraction(SPA_FORMAT_VIDEO_framerate, fraction(exact)); }
    void rate(double wanted, double least, double most) {
        parameter.range(SPA_FORMAT_VIDEO_framerate, fraction(wanted), fraction(least), fraction(most));
    }
    [[nodiscard]] SpaPod finish() { return parameter.finish(); }

private:
    [[nodiscard]] static spa_fraction fraction(double perSecond) {
        return {static_cast<std::uint32_t>(std::lround(perSecond * 1000)), 1000};
    }

    ParameterBuilder parameter{SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat};
};

constexpr double mostFramesPerSecond = 1000;

} // namespace

std::vector<CameraFormat> readOffer(const spa_pod* offer) {
    std::vector<CameraFormat> formats;
    if (!isFormatObject(offer)) return formats;
    const std::vector<spa_rectangle> sizes = sizesOf(offer);
    const std::vector<double> rates = ratesOf(offer);
    CameraFormat format;
    readColours(offer, format);
    for (const CameraLayout layout : layoutsOf(offer))
        for (const spa_rectangle& size : sizes)
            for (const double rate : rates) {
                format.layout = layout;
                format.width = static_cast<int>(size.width);
                format.height = static_cast<int>(size.height);
                format.framesPerSecond = rate;
                formats.push_back(format);
            }
    return formats;
}

std::optional<CameraFormat> bestCameraFormat(std::span<const CameraFormat> offers) {
    const auto merit = [](const CameraFormat& format) {
        // 29.97 is 30, and a camera that does not say how fast it is gets the benefit of the doubt.
        const double rate = format.framesPerSecond == 0 ? wantedFramesPerSecond : std::ceil(format.framesPerSecond);
        const double pace = std::min(1.0, rate / wantedFramesPerSecond);
        const double sharpness = std::min(1.0, std::min(format.width, format.height) / double(wantedShorterSide));
        const double pixels = double(format.width) * format.height;
        return std::tuple(pace * sharpness, -pixels, -format.framesPerSecond, format.layout != CameraLayout::jpeg);
    };
    const auto best = std::max_element(offers.begin(), offers.end(), [&](const CameraFormat& a, const CameraFormat& b) {
        return merit(a) < merit(b);
    });
    return best == offers.end() ? std::nullopt : std::optional(*best);
}

std::optional<CameraFormat> readFormat(const spa_pod* format) {
    const std::vector<CameraFormat> one = readOffer(format);
    return one.size() == 1 ? std::optional(one.front()) : std::nullopt;
}

SpaPod exactFormat(const CameraFormat& format, RateMatch match) {
    FormatBuilder builder;
    if (format.layout == CameraLayout::jpeg) {
        builder.jpeg();
    } else {
        const auto* known = std::find_if(std::begin(rawFormats), std::end(rawFormats),
                                         [&](const RawFormat& each) { return each.layout == format.layout; });
        builder.raw(known->id);
    }
    builder.size(format.width, format.height);
    const double rate = format.framesPerSecond;
    if (rate > 0 && match == RateMatch::exact) builder.rate(rate);
    if (rate > 0 && match == RateMatch::withinAHundredth) builder.rate(rate, rate * 0.99, rate * 1.01);
    if (hasLuma(format.layout)) {
        builder.id(SPA_FORMAT_VIDEO_colorRange,
                   format.range == YuvRange::full ? SPA_VIDEO_COLOR_RANGE_0_255 : SPA_VIDEO_COLOR_RANGE_16_235);
        builder.id(SPA_FORMAT_VIDEO_colorMatrix,
                   format.standard == YuvStandard::bt709 ? SPA_VIDEO_COLOR_MATRIX_BT709 : SPA_VIDEO_COLOR_MATRIX_BT601);
    }
    return builder.finish();
}

std::vector<SpaPod> everyFormat() {
    std::vector<SpaPod> formats;
    const auto add = [&](FormatBuilder& builder) {
        builder.anySize();
        builder.rate(wantedFramesPerSecond, 0, mostFramesPerSecond);
        formats.push_back(builder.finish());
    };
    for (const RawFormat& each : rawFormats) {
        FormatBuilder builder;
        builder.raw(each.id);
        add(builder);
    }
    FormatBuilder builder;
    builder.jpeg();
    add(builder);
    return formats;
}

} // namespace quillet
