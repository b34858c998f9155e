#include "pipeline/encode/X264Encoder.h"

#include "pipeline/encode/QuantiserControl.h"
#include "pipeline/encode/StillRow.h"
#include "pipeline/encode/sequenceParameterSet.h"

#include <x264.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <string>
#include <thread>

#include <stdarg.h> // x264.h needs both in front of it
#include <stdint.h>

namespace quillet {

namespace {

struct EncoderDeleter {
    void operator()(x264_t* encoder) const { x264_encoder_close(encoder); }
};

// Slices of one picture side by side; more cost quality at their edges and gain little.
constexpr unsigned mostThreads = 4;

void keepMessage(void* words, int level, const char* format, va_list arguments) {
    if (level > X264_LOG_ERROR) return;
    std::array<char, 256> line{};
    std::vsnprintf(line.data(), line.size(), format, arguments);
    std::string& message = *static_cast<std::string*>(words);
    message = line.data();
    while (!message.empty() && message.back() == '\n')
        message.pop_back();
}

class X264Encoder final : public VideoEncoder {
public:
    bool open(const VideoEncoderOptions& options, Error& error);

    [[nodiscard]] const std::vector<std::byte>& avcConfiguration() const override { return configuration; }
    std::optional<Error> encode(const VideoEncoderPicture& picture, std::int64_t microseconds, PictureKind kind,
                                const Output& output) override;
    void setHaste(Haste haste) override;
    std::optional<Error> drain(const Output& output) override;

private:
    [[nodiscard]] Error failure(const char* action) const {
        return {"x264", 1, std::string(action) + ": " + (message.empty() ? "no reason given" : message)};
    }
    void readConfiguration(const x264_nal_t* units, int count);
    /// What has been coded before, given out once more where that says the same; false if something must be coded.
    bool giveAgain(PictureKind kind, const Output& output);
    std::optional<Error> step(x264_picture_t* input, const Output& output);

    static constexpr int ordinarySearch = 2; // for motion of less than a pixel
    unsigned ordinaryIntra = 0;              // block shapes that are tried in key pictures without haste
    std::string message;                     // the library's last error line
    std::optional<QuantiserControl> quantiser;
    std::unique_ptr<x264_t, EncoderDeleter> encoder;
    std::vector<std::byte> configuration;
    bool isImmediate = false; // each picture comes out when it goes in
    StillRow still;
    bool isUnchanged = false;             // the picture that is being encoded
    int lastQuantiser = 0;                // its
    std::vector<std::uint8_t> blockFlags; // read while a picture is being encoded
};

bool X264Encoder::open(const VideoEncoderOptions& options, Error& error) {
    const auto valid = [](int side) { return side >= 2 && side % 2 == 0 && side <= 16384; };
    if (!valid(options.width) || !valid(options.height)) {
        error = {"x264", 1,
                 "cannot encode pictures of " + std::to_string(options.width) + " x " + std::to_string(options.height)};
        return false;
    }

    x264_param_t parameters;
    x264_param_default_preset(&parameters, "superfast", nullptr);
    parameters.pf_log = keepMessage;
    parameters.p_log_private = &message;
    parameters.i_log_level = X264_LOG_ERROR;

    parameters.i_width = options.width;
    parameters.i_height = options.height;
    parameters.i_csp = X264_CSP_NV12;
    parameters.i_threads = static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, mostThreads));
    // Frame threads would hold back a picture each.
    parameters.b_sliced_threads = 1;

    // Pictures come when something changes. Told so, the library would keep each back until the next one came, for its
    // rate control's sake; readConfiguration puts right what it then writes about the rate.
    parameters.b_vfr_input = 0;
    parameters.i_fps_num = static_cast<std::uint32_t>(std::max(1, options.fps));
    parameters.i_fps_den = 1;

    parameters.i_keyint_max = 2 * std::max(1, options.fps);
    parameters.i_keyint_min = 1;
    parameters.i_scenecut_threshold = 0; // where key frames stand is the recorder's decision
    parameters.i_bframe = 0;
    parameters.rc.i_lookahead = 0;
    parameters.rc.b_mb_tree = 0;
    parameters.i_sync_lookahead = 0;

    // The quantiser comes with each picture. The library's own rate control would look at every picture twice, and
    // that is half the cost of one in which little has changed.
    parameters.rc.i_rc_method = X264_RC_CQP;
    // What is asked for is taken only from between the constant quantisers that the library reckons for key pictures
    // and for pictures between others, by these two ratios of step sizes. Theirs are 16 and 51.
    constexpr int middle = 32;
    parameters.rc.i_qp_constant = middle;
    parameters.rc.f_ip_factor = std::exp2(static_cast<float>(middle - QuantiserControl::finest) / 6);
    parameters.rc.f_pb_factor = std::exp2(static_cast<float>(QuantiserControl::coarsest - middle) / 6 + 0.01F);

    // The loop filter's strong mode (ITU-T H.264, 8.7.2.4) takes the fourth pixel beside an edge into its mean without
    // asking whether it belongs there: a stroke that stands three pixels from the edge of an intra block bleeds into
    // the flat ground before it (235 became 183 at quantiser 16). Offsets of -6 keep the filter off below a quantiser
    // of 28, where screens live, and on above, where coarse blocks need it.
    parameters.b_deblocking_filter = 1;
    parameters.i_deblocking_filter_alphac0 = -6;
    parameters.i_deblocking_filter_beta = -6;

    // Blocks that are known to be unchanged are skipped without a look at them; weighted prediction would forbid it.
    parameters.analyse.b_mb_info = 1;
    parameters.analyse.i_weighted_pred = X264_WEIGHTP_NONE;

    // Between key pictures whole blocks only, with a closer look at their motion instead: at the same size and quality
    // that takes a tenth less time on video than small blocks do, and where the picture is grainy it saves a fifth of
    // the bits as well. Running text is a twentieth larger.
    parameters.analyse.inter = 0;
    parameters.analyse.i_subpel_refine = ordinarySearch;
    // Single faint differences are kept: dropping them costs video more likeness than their bits are worth.
    parameters.analyse.b_dct_decimate = 0;

    parameters.vui.b_fullrange = 0;
    parameters.vui.i_colorprim = 1;
    parameters.vui.i_transfer = 1;
    parameters.vui.i_colmatrix = 1;
    parameters.vui.i_chroma_loc = 1;

    parameters.b_repeat_headers = 0;
    parameters.b_annexb = 0;
    parameters.b_aud = 0;

    if (x264_param_apply_profile(&parameters, "high") != 0) {
        error = failure("choose the High profile");
        return false;
    }
    ordinaryIntra = parameters.analyse.intra;
    encoder.reset(x264_encoder_open(&parameters));
    if (!encoder) {
        error = failure("open the H.264 encoder");
        return false;
    }
    isImmediate = x264_encoder_maximum_delayed_frames(encoder.get()) == 0;
    x264_nal_t* units = nullptr;
    int count = 0;
    if (x264_encoder_headers(encoder.get(), &units, &count) < 0) {
        error = failure("make the H.264 headers");
        return false;
    }
    readConfiguration(units, count);

    blockFlags.resize(static_cast<std::size_t>((options.width + 15) / 16) *
                      static_cast<std::size_t>((options.height + 15) / 16));
    quantiser.emplace(options.bitRate, options.fps, blockFlags.size());
    return true;
}

// ISO/IEC 14496-15, 5.3.3: profile and level as the sequence parameter set has them, then both parameter sets.
void X264Encoder::readConfiguration(const x264_nal_t* units, int count) {
    std::vector<std::byte> sequence;
    std::span<const std::byte> picture;
    for (const x264_nal_t& unit : std::span(units, static_cast<std::size_t>(count))) {
        // The first four bytes are the unit's length.
        const auto payload =
            std::as_bytes(std::span(unit.p_payload, static_cast<std::size_t>(unit.i_payload))).subspan(4);
        if (unit.i_type == NAL_SPS) sequence.assign(payload.begin(), payload.end());
        if (unit.i_type == NAL_PPS) picture = payload;
    }
    // What it cannot put right stays as it is: players go by the file's own times.
    static_cast<void>(clearFixedFrameRate(sequence));
    const auto put = [this](std::size_t value) { configuration.push_back(static_cast<std::byte>(value & 0xFF)); };
    const auto putUnit = [&](std::span<const std::byte> unit) {
        put(1);
        put(unit.size() >> 8);
        put(unit.size());
        configuration.insert(configuration.end(), unit.begin(), unit.end());
    };
    put(1);
    configuration.insert(configuration.end(), sequence.begin() + 1, sequence.begin() + 4);
    put(0xFC | 3); // lengths of four bytes
    // The number of sequence parameter sets shares its byte with three bits that are set.
    putUnit(sequence);
    configuration[5] |= std::byte{0xE0};
    putUnit(picture);
    put(0xFC | 1); // 4:2:0
    put(0xF8);     // 8 bits luma
    put(0xF8);     // 8 bits chroma
    put(0);        // no extensions
}

std::optional<Error> X264Encoder::step(x264_picture_t* input, const Output& output) {
    x264_nal_t* units = nullptr;
    int count = 0;
    x264_picture_t encoded;
    const int bytes = x264_encoder_encode(encoder.get(), &units, &count, input, &encoded);
    if (bytes < 0) return failure("encode a picture");
    if (bytes > 0) {
        quantiser->encoded(static_cast<std::size_t>(bytes));
        // libx264 lays all units of one picture one behind the other.
        const auto picture = std::as_bytes(std::span(units[0].p_payload, static_cast<std::size_t>(bytes)));
        // What comes out later is another picture than the one that went in.
        if (isImmediate && encoded.b_keyframe != 0)
            still.begin(picture, lastQuantiser);
        else if (isImmediate && isUnchanged)
            still.extend(picture);
        else
            still.clear();
        output({picture, encoded.b_keyframe != 0});
    }
    return std::nullopt;
}

std::optional<Error> X264Encoder::encode(const VideoEncoderPicture& picture, std::int64_t microseconds,
                                         PictureKind kind, const Output& output) {
    static_assert(X264_MBINFO_CONSTANT == 1);
    std::copy_n(picture.unchangedBlocks.begin(), std::min(blockFlags.size(), picture.unchangedBlocks.size()),
                blockFlags.begin());

    const auto changed = std::count(blockFlags.begin(), blockFlags.end(), std::uint8_t{0});
    isUnchanged = changed == 0;
    // The library would build on pictures that the film does not have there.
    if (!isUnchanged && !still.isAtEnd()) kind = PictureKind::key;
    lastQuantiser = quantiser->quantiserFor(kind, static_cast<std::size_t>(changed), microseconds);
    if (isUnchanged && giveAgain(kind, output)) return std::nullopt;

    x264_picture_t input;
    x264_picture_init(&input);
    input.i_type = kind == PictureKind::key ? X264_TYPE_IDR : X264_TYPE_AUTO;
    input.i_pts = microseconds;
    input.i_qpplus1 = lastQuantiser + 1;
    input.img.i_csp = X264_CSP_NV12;
    input.img.i_plane = 2;
    // libx264 copies the picture and does not write to it.
    input.img.plane[0] = const_cast<std::uint8_t*>(picture.luma);
    input.img.plane[1] = const_cast<std::uint8_t*>(picture.chroma);
    input.img.i_stride[0] = static_cast<int>(picture.lumaStrideBytes);
    input.img.i_stride[1] = static_cast<int>(picture.chromaStrideBytes);
    input.prop.mb_info = blockFlags.data();
    return step(&input, output);
}

bool X264Encoder::giveAgain(PictureKind kind, const Output& output) {
    const auto picture = kind == PictureKind::key ? still.keyAgain(lastQuantiser) : still.next();
    if (picture.empty()) return false;
    quantiser->encoded(picture.size());
    output({picture, kind == PictureKind::key});
    return true;
}

void X264Encoder::setHaste(Haste haste) {
    x264_param_t parameters;
    x264_encoder_parameters(encoder.get(), &parameters);
    // Key pictures are the longest of all; what the headers promise stays.
    parameters.analyse.intra = haste == Haste::none ? ordinaryIntra : 0;
    parameters.analyse.i_subpel_refine = haste == Haste::none ? ordinarySearch : 1;
    // Refused, the encoder goes on as before: slower than wished, but no worse.
    static_cast<void>(x264_encoder_reconfig(encoder.get(), &parameters));
    static constexpr std::array<double, 4> thrifts{1, 1, 0.5, 0.15};
    quantiser->setThrift(thrifts.at(static_cast<std::size_t>(haste)));
}

std::optional<Error> X264Encoder::drain(const Output& output) {
    while (x264_encoder_delayed_frames(encoder.get()) > 0)
        if (std::optional<Error> error = step(nullptr, output)) return error;
    return std::nullopt;
}

} // namespace

std::unique_ptr<VideoEncoder> makeX264Encoder(const VideoEncoderOptions& options, Error& error) {
    auto encoder = std::make_unique<X264Encoder>();
    if (!encoder->open(options, error)) return nullptr;
    return encoder;
}

} // namespace quillet
