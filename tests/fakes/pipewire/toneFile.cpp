#include "tests/fakes/pipewire/toneFile.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <numbers>
#include <stdexcept>
#include <string>

namespace quillet::testing {

namespace {

void put(std::string& bytes, std::uint32_t value, int count) {
    for (int each = 0; each < count; ++each)
        bytes += static_cast<char>(static_cast<unsigned char>(value >> (8 * each)));
}

} // namespace

void writeTone(const std::filesystem::path& file, const ToneOptions& options) {
    const auto frames = static_cast<std::uint32_t>(options.seconds * options.sampleRate);
    const auto channels = static_cast<std::uint32_t>(options.channels);
    const auto rate = static_cast<std::uint32_t>(options.sampleRate);
    constexpr std::uint32_t sampleSize = sizeof(float);
    const std::uint32_t dataSize = frames * channels * sampleSize;
    constexpr std::uint32_t floatingPoint = 3; // WAVE_FORMAT_IEEE_FLOAT

    std::string bytes = "RIFF";
    put(bytes, 36 + dataSize, 4);
    bytes += "WAVEfmt ";
    put(bytes, 16, 4);
    put(bytes, floatingPoint, 2);
    put(bytes, channels, 2);
    put(bytes, rate, 4);
    put(bytes, rate * channels * sampleSize, 4);
    put(bytes, channels * sampleSize, 2);
    put(bytes, 8 * sampleSize, 2);
    bytes += "data";
    put(bytes, dataSize, 4);
    for (std::uint32_t frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < options.channels; ++channel) {
            const double hertz = channel == 0 ? options.leftHertz : options.rightHertz;
            const double angle = 2 * std::numbers::pi * hertz * frame / options.sampleRate;
            put(bytes, std::bit_cast<std::uint32_t>(static_cast<float>(options.amplitude * std::sin(angle))), 4);
        }
    std::ofstream stream(file, std::ios::binary);
    if (!stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size())))
        throw std::runtime_error("cannot write " + file.string());
}

} // namespace quillet::testing
