// What the sound server sends, and what other programs of the session say of devices.
#include "pipeline/AlignedAudioMixer.h"
#include "pipeline/AudioConverter.h"
#include "pipeline/AudioMixer.h"
#include "pipeline/SoundTimeline.h"
#include "platform/pipewire/nameInObject.h"
#include "platform/pipewire/streamBuffers.h"
#include "tests/fuzz/fuzzTargets.h"

#include <array>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

namespace quillet::fuzz {

namespace {

bool isClean(const AudioSampleBuffer& buffer, float limit) {
    const std::span<const float> samples = commonSamples(buffer);
    return std::all_of(samples.begin(), samples.end(),
                       [limit](float sample) { return std::isfinite(sample) && std::abs(sample) <= limit; });
}

AudioSampleBuffer takeBuffer(FuzzInput& input) {
    constexpr std::array rates{48000.0, 44100.0, 8000.0, 192000.0, 1000.0, 768000.0, 47999.5, 0.0};
    AudioSampleBuffer buffer;
    buffer.format.sampleType = static_cast<SampleType>(input.below(6));
    const unsigned rate = input.below(rates.size() + 1);
    buffer.format.sampleRate = rate < rates.size() ? rates[rate] : input.take<double>();
    const int channels = input.take<std::uint8_t>();
    buffer.format.channels = channels < 128 ? channels : channels - 256;
    buffer.format.layout = input.below(2) == 0 ? SampleLayout::interleaved : SampleLayout::planar;
    buffer.frames = input.below(8) == 7 ? input.take<std::int64_t>() : input.take<std::uint16_t>() % 2048;
    const bool isAnyTime = input.below(8) == 7;
    buffer.presentationTime = isAnyTime ? MediaTime{input.take<std::int64_t>(), 1 + input.take<std::uint16_t>()}
                                        : MediaTime{input.take<std::int16_t>(), 1000};
    // A few bytes of the input, over and over.
    const Bytes pattern = input.bytes(16);
    buffer.samples.resize(input.take<std::uint16_t>());
    for (std::size_t done = 0; done < buffer.samples.size(); done += pattern.size())
        std::memcpy(buffer.samples.data() + done, pattern.data(),
                    std::min(pattern.size(), buffer.samples.size() - done));
    return buffer;
}

} // namespace

void readSoundFormats(std::span<const std::byte> bytes) {
    FuzzInput input(bytes);
    AudioConverter fixed(AudioConverter::Speed::fixed);
    AudioConverter adjustable(AudioConverter::Speed::adjustable);
    SoundTimeline timeline;
    const auto mixer = AudioMixer::make();
    expect(mixer != nullptr, "no memory for a mixer");
    mixer->onMixed = [](const AudioSampleBuffer& mixed) { expect(isClean(mixed, 1), "a mixed sample beyond 1"); };
    AlignedAudioMixer aligned(*mixer);
    for (int buffers = 0; buffers < 12 && !input.isEmpty(); ++buffers) {
        const unsigned way = input.below(8);
        const AudioSampleBuffer buffer = takeBuffer(input);
        const bool isUnderstood = AudioConverter::canConvert(buffer);
        for (AudioConverter* each : {&fixed, &adjustable}) {
            const auto converted = each->convert(buffer);
            if (!converted) continue;
            expect(isUnderstood, "a buffer was converted that cannot be");
            expect(static_cast<double>(converted->frames) <=
                       std::trunc(48000 / buffer.format.sampleRate * static_cast<double>(buffer.frames)) + 32,
                   "more sound than there was");
        }
        const MediaTime before = timeline.end();
        const bool hasBegun = timeline.hasBegun();
        const AudioSampleBuffer stretch =
            way == 7 && isUnderstood ? timeline.fillUntil(buffer.presentationTime) : timeline.place(buffer);
        expect(!hasBegun || timeline.end() >= before, "a stream of sound goes back");
        expect(stretch.frames <= SoundTimeline::longestGapFrames + 48 * 65536 + 32, "too long a stretch");
        if (way < 3) aligned.pushSystem(buffer);
        if (way > 2 && way < 6) aligned.pushMicrophone(buffer);
        if (way == 6) mixer->pushSystem(buffer);
    }
    aligned.drain();
}

std::vector<Bytes> soundFormatSeeds() {
    std::vector<Bytes> seeds;
    for (unsigned type = 0; type < 6; ++type) {
        FuzzSeed seed;
        for (unsigned buffer = 0; buffer < 6; ++buffer) {
            seed.byte(buffer < 3 ? buffer % 2 * 4 : type).byte(type).byte(buffer % 2).byte(1 + type % 2).byte(type % 2);
            seed.byte(0).put<std::uint16_t>(480).byte(0).put(static_cast<std::int16_t>(buffer * 10));
            for (unsigned i = 0; i < 16; ++i)
                seed.byte(i * 7);
            seed.put<std::uint16_t>(480 * 8 * 2);
        }
        seeds.push_back(seed.take());
    }
    return seeds;
}

void readSoundBuffers(std::span<const std::byte> bytes) {
    FuzzInput input(bytes);
    spa_chunk chunk{};
    chunk.offset = input.take<std::uint32_t>();
    chunk.size = input.take<std::uint32_t>();
    Bytes memory = input.remaining();
    spa_data data{};
    data.maxsize = static_cast<std::uint32_t>(memory.size());
    data.data = memory.data();
    data.chunk = &chunk;
    const spa_buffer buffer{0, 1, nullptr, &data};
    const std::span<const float> sound = soundOf(buffer, 2);
    expect(sound.size() % 2 == 0, "half a frame of sound");
    float loudest = 0;
    for (const float sample : sound)
        loudest = std::max(loudest, sample);
    expect(!(loudest < 0), "less than nothing is heard");
}

std::vector<Bytes> soundBufferSeeds() {
    std::vector<Bytes> seeds;
    for (const auto& [offset, size] : {std::pair{0U, 64U}, {8U, 32U}, {62U, 400U}, {~0U, ~0U}})
        seeds.push_back(FuzzSeed().put(offset).put(size).bytes(Bytes(64)).take());
    return seeds;
}

void readDefaultNames(std::span<const std::byte> input) {
    const std::string text(reinterpret_cast<const char*>(input.data()), input.size());
    expect(nameInObject(text.c_str()).size() < 1024, "too long a name");
}

std::vector<Bytes> defaultNameSeeds() {
    std::vector<Bytes> seeds;
    for (const std::string_view text :
         {R"({ "name": "alsa_output.usb" })", R"({"other":[1,{"name":"x"}],"name":"y"})", R"({"name":"\u0041\"\\"})",
          R"({ name = speakers })", "{", R"("name")", R"({"name":{"name":"z"}})"})
        seeds.push_back(FuzzSeed().bytes(std::as_bytes(std::span(text))).take());
    return seeds;
}

} // namespace quillet::fuzz
