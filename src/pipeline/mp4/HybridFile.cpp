#include "pipeline/mp4/HybridFile.h"

#include <utility>

namespace quillet::mp4 {

namespace {

constexpr std::uint32_t placeholderBytes = 16;
constexpr std::size_t largeFragmentBytes = 32U << 20;
constexpr std::uint64_t carryBytes = 1U << 20;
constexpr std::size_t pageBytes = 4096;
constexpr std::size_t smallestBox = 8;

} // namespace

HybridFile::HybridFile(std::unique_ptr<ByteSink> byteSink, VideoTrackFormat videoFormat, AudioTrackFormat audioFormat)
    : sink(std::move(byteSink)), video(std::move(videoFormat)), audio(std::move(audioFormat)),
      created(std::time(nullptr)) {}

HybridFile::~HybridFile() = default;

MovieFormats HybridFile::formats(bool withAudio) const { return {video, withAudio ? &audio : nullptr, created}; }

void HybridFile::addVideo(std::span<const std::byte> sample, std::int64_t ticks, bool isSync) {
    const auto bytes = static_cast<std::uint32_t>(sample.size());
    videoTable.add(bytes, ticks, isSync);
    videoSamples.push_back({bytes, ticks, isSync});
    videoBytes.insert(videoBytes.end(), sample.begin(), sample.end());
}

void HybridFile::addAudio(std::span<const std::byte> packet) {
    const auto bytes = static_cast<std::uint32_t>(packet.size());
    const std::int64_t ticks = static_cast<std::int64_t>(audioTable.count()) * audio.packetSamples;
    audioTable.add(bytes, ticks, true);
    audioSamples.push_back({bytes, ticks, true});
    audioBytes.insert(audioBytes.end(), packet.begin(), packet.end());
}

bool HybridFile::isFlushDue() const {
    if (!hasPicture()) return false;
    if (videoBytes.size() + audioBytes.size() > largeFragmentBytes) return true;
    // The very first picture goes out at once: from then on there is a file to speak of.
    if (fragments == 0) return true;
    const auto isLong = [](const std::vector<FragmentSample>& samples, std::int32_t timescale) {
        return !samples.empty() && (samples.back().ticks - samples.front().ticks) * flushesPerSecond >= timescale;
    };
    return isLong(videoSamples, video.timescale) || isLong(audioSamples, audio.sampleRate);
}

std::optional<std::int64_t> HybridFile::firstUnwrittenTicks() const {
    if (videoSamples.empty()) return std::nullopt;
    return videoSamples.front().ticks;
}

void HybridFile::write(std::uint64_t offset, std::span<const std::byte> bytes) {
    if (!failure) failure = sink->writeAt(offset, bytes);
}

// Everything in front of the first fragment goes into `scratch`; once there, only the movie box may be written over.
void HybridFile::writeHead() {
    const bool withAudio = !audioTable.isEmpty();
    scratch.clear();
    if (fragments > 0) {
        if (!withAudio || headHasAudio) return;
        writeFragmentedMovie(scratch, formats(true));
        write(movieAt, scratch.view());
        // Readers refuse a whole file for one fragment with a track that was not announced.
        if (!failure) failure = sink->keepOrder();
        scratch.clear();
    } else {
        BoxWriter largest;
        writeFragmentedMovie(largest, formats(true));

        writeFileType(scratch);
        scratch.box("free", [&] { scratch.zeros(placeholderBytes - 8); });
        movieAt = scratch.size();
        writeFragmentedMovie(scratch, formats(withAudio));
        const std::size_t end = static_cast<std::size_t>(movieAt) + largest.size();
        if (scratch.size() < end) scratch.box("free", [&] { scratch.zeros(end - scratch.size()); });
    }
    headHasAudio = withAudio;
}

// Disks keep or lose whole pages. A header of which only some is there would have readers refuse the whole file.
void HybridFile::keepInOnePage(std::size_t bytes) {
    const std::size_t left = pageBytes - static_cast<std::size_t>((fileBytes + scratch.size()) % pageBytes);
    if (bytes <= left || bytes > pageBytes - smallestBox) return;
    const std::size_t gap = left < smallestBox ? left + smallestBox : left;
    scratch.box("free", [&] { scratch.zeros(gap - smallestBox); });
}

std::optional<Error> HybridFile::flush(std::int64_t videoEndTicks) {
    if (failure || !hasPicture() || (videoSamples.empty() && audioSamples.empty())) return failure;

    writeHead();
    Fragment fragment;
    fragment.number = ++fragments;
    fragment.video = videoSamples;
    fragment.videoEndTicks = videoEndTicks;
    fragment.audio = audioSamples;
    fragment.audioTicks = audioSamples.empty() ? 0 : audioSamples.front().ticks;
    fragment.audioPacketSamples = audio.packetSamples;
    fragment.videoBytes = videoBytes.size();
    fragment.audioBytes = audioBytes.size();
    // A fragment's offsets count from its own start, whatever stands in front of it.
    BoxWriter header;
    writeFragmentHeader(header, fragment);
    keepInOnePage(header.size());
    scratch.raw(header.view());
    const std::uint64_t videoAt = fileBytes + scratch.size();
    scratch.raw(videoBytes);
    scratch.raw(audioBytes);
    write(fileBytes, scratch.view());
    if (failure) return failure;

    if (!videoSamples.empty()) videoTable.addChunk(videoAt, static_cast<std::uint32_t>(videoSamples.size()));
    if (!audioSamples.empty())
        audioTable.addChunk(videoAt + videoBytes.size(), static_cast<std::uint32_t>(audioSamples.size()));
    fileBytes += scratch.size();
    videoSamples.clear();
    audioSamples.clear();
    videoBytes.clear();
    audioBytes.clear();

    // Only whole megabytes: a page that is on its way to the disk may not be written to again without waiting for it.
    if (const std::uint64_t whole = fileBytes / carryBytes * carryBytes; whole > carriedBytes) {
        sink->writeBehind(carriedBytes, whole - carriedBytes);
        carriedBytes = whole;
    }
    return failure;
}

std::optional<Error> HybridFile::finish(std::int64_t videoEndTicks, std::int64_t audioLength) {
    if (flush(videoEndTicks)) return failure;

    scratch.clear();
    writeCompleteMovie(scratch, formats(!audioTable.isEmpty()), {videoTable, videoEndTicks}, {audioTable, audioLength});
    write(fileBytes, scratch.view());
    if (!failure) failure = sink->synchronise();

    BoxWriter mdat;
    const std::uint64_t placeholderAt = movieAt - placeholderBytes;
    mdat.u32(1); // the size follows in 64 bits
    mdat.text("mdat");
    mdat.u64(fileBytes - placeholderAt);
    write(placeholderAt, mdat.view());
    if (!failure) failure = sink->synchronise();
    if (!failure) failure = sink->close();
    return failure;
}

void HybridFile::discard() { sink->discard(); }

} // namespace quillet::mp4
