// AacEncoder.h: AAC-LC, 48 kHz stereo, by libavcodec.
#pragma once

#include "media/Error.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// Threads: one at a time.
class AacEncoder {
public:
    static constexpr int sampleRate = 48000;
    static constexpr int channels = 2;
    static constexpr std::int64_t bitRate = 192'000;
    static constexpr std::size_t packetSamples = 1024;

    /// One packet, which always stands for packetSamples samples; lent for one call.
    using Output = std::function<void(std::span<const std::byte>)>;

    /// Null with the reason in `error` when the library has no such encoder.
    [[nodiscard]] static std::unique_ptr<AacEncoder> make(Error& error);
    ~AacEncoder();

    /// `interleaved`: packetSamples pairs of samples; fewer only in the last call before drain().
    [[nodiscard]] std::optional<Error> encode(std::span<const float> interleaved, const Output& output);
    /// Gives out what is still inside. Nothing is encoded afterwards.
    [[nodiscard]] std::optional<Error> drain(const Output& output);

    /// The AudioSpecificConfig.
    [[nodiscard]] const std::vector<std::byte>& decoderConfiguration() const { return configuration; }
    /// Samples that a decoder gives before the first one that was put in.
    [[nodiscard]] std::int64_t priming() const;

private:
    struct Library;
    explicit AacEncoder(std::unique_ptr<Library> library);
    std::optional<Error> collect(const Output& output);

    std::unique_ptr<Library> library;
    std::vector<std::byte> configuration;
    std::int64_t samplesIn = 0;
};

} // namespace quillet
