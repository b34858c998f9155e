// HybridFile.h: an MP4 file that can be played while it grows and ends as an ordinary one.
#pragma once

#include "pipeline/mp4/ByteSink.h"
#include "pipeline/mp4/MovieBoxes.h"
#include "pipeline/mp4/SampleTable.h"

#include <span>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace quillet::mp4 {

/// Layout while recording:
///
///     ftyp | free (16 bytes) | moov without samples [| free] | moof mdat | moof mdat | …
///
/// Every fragment is one write, so whoever opens the file after a sudden end finds all that was flushed; half a
/// fragment at the end harms nothing: its header lies in one page (a free box in front sees to that), and is there or
/// not. The first moov has no sound track; when sound first comes, it is written over, in place and within the file's
/// first page, by one that has (the free box behind it keeps the room), and fragments with sound follow it to the disk.
///
/// finish() appends an ordinary moov whose tables point into the fragments, waits until it is on the disk, and then
/// turns the 16 bytes of `free` into the header of an mdat box that ends where that moov begins: one write, before
/// which the file is a fragmented one and after which it is an ordinary one. That write is on the disk, too, before the
/// file counts as finished.
///
/// The cost of finishing follows the number of samples, not their bytes. Power loss: the announcement of the sound
/// track is synchronised, nothing else before finish(). On a DiskFile what was written is synchronised every second. On
/// a plain sink the kernel is told to carry whole megabytes to the disk as they come, and a crash of the whole machine
/// may cost what the file system had not committed, typically the last 5 to 30 seconds.
///
/// Threads: one at a time. Errors: the first one stays, and everything after it does nothing and answers it again.
class HybridFile {
public:
    HybridFile(std::unique_ptr<ByteSink> sink, VideoTrackFormat video, AudioTrackFormat audio);
    ~HybridFile();

    /// The next picture, at `ticks` of the video's timescale since the file's start, later than the one before.
    void addVideo(std::span<const std::byte> sample, std::int64_t ticks, bool isSync);
    /// The next packet of sound; the first begins `priming` samples before the file's start.
    void addAudio(std::span<const std::byte> packet);

    /// A killed process loses what has waited for less than this (a second parted by it), and no fragment is shorter.
    static constexpr std::int64_t flushesPerSecond = 4;
    /// What is not in the file yet spans a flush's time or is large, and there is a picture to begin with.
    [[nodiscard]] bool isFlushDue() const;
    [[nodiscard]] bool hasPicture() const { return !videoTable.isEmpty(); }
    /// The time of the earliest picture that is not in the file yet.
    [[nodiscard]] std::optional<std::int64_t> firstUnwrittenTicks() const;
    /// Writes what was added since as one fragment, the last picture in it ending (as far as is known) at
    /// `videoEndTicks`. Without a single picture so far it waits for one.
    std::optional<Error> flush(std::int64_t videoEndTicks);
    /// Completes the file: the last picture ends at `videoEndTicks`, the sound has `audioLength` samples.
    std::optional<Error> finish(std::int64_t videoEndTicks, std::int64_t audioLength);
    /// Closes and removes the file.
    void discard();
    /// Where the finished file is.
    [[nodiscard]] std::filesystem::path place() const { return sink->place(); }

    [[nodiscard]] const std::optional<Error>& error() const { return failure; }

private:
    void writeHead();
    void keepInOnePage(std::size_t bytes);
    void write(std::uint64_t offset, std::span<const std::byte> bytes);
    [[nodiscard]] MovieFormats formats(bool withAudio) const;

    std::unique_ptr<ByteSink> sink;
    VideoTrackFormat video;
    AudioTrackFormat audio;
    std::time_t created;

    SampleTable videoTable{SampleTable::Sync::marked};
    SampleTable audioTable{SampleTable::Sync::every};
    // Of the fragment that is being gathered.
    std::vector<FragmentSample> videoSamples;
    std::vector<FragmentSample> audioSamples;
    std::vector<std::byte> videoBytes;
    std::vector<std::byte> audioBytes;

    BoxWriter scratch;
    std::uint64_t fileBytes = 0;
    std::uint64_t movieAt = 0;
    std::uint64_t carriedBytes = 0; // handed to the disk already
    std::uint32_t fragments = 0;
    bool headHasAudio = false;
    std::optional<Error> failure;
};

} // namespace quillet::mp4
