// FileSink.h: a new file of our own on the disk.
#pragma once

#include "pipeline/mp4/ByteSink.h"

#include <atomic>
#include <filesystem>
#include <memory>

namespace quillet::mp4 {

/// Threads: as ByteSink, but synchronise and availableBytes on a second one, if wanted. An open file is closed with its
/// sink.
class FileSink : public ByteSink {
public:
    /// Removes whatever file or link stands at `path` and makes a new one there, readable as the user's umask says;
    /// never follows a link. Null with the reason in `error`.
    [[nodiscard]] static std::unique_ptr<FileSink> make(const std::filesystem::path& path, Error& error);
    ~FileSink() override;
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    /// What fails at the file's end leaves nothing of itself.
    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override;
    void writeBehind(std::uint64_t offset, std::uint64_t length) override;
    /// The first time the file's name, too: a disk may have the bytes of a new file and not yet its place in the
    /// folder.
    std::optional<Error> synchronise() override;
    /// A file that has been moved meanwhile stays where it is. One that has been removed is brought back, and its
    /// folder with it: as long as it was recorded, the user wanted it.
    std::optional<Error> close() override;
    /// Only if the file at the path is still the one that was made here.
    void discard() override;
    [[nodiscard]] std::optional<std::uint64_t> availableBytes() override;
    [[nodiscard]] std::filesystem::path place() const override { return path; }

private:
    FileSink(std::filesystem::path filePath, int opened) : path(std::move(filePath)), descriptor(opened) {}
    void synchroniseName() const;

    [[nodiscard]] bool isAtItsPath() const;
    [[nodiscard]] std::optional<Error> bringBack();

    std::filesystem::path path;
    int descriptor;
    std::uint64_t wholeBytes = 0;        // the end of the last write that succeeded
    std::atomic_flag isNameSynchronised; // or about to be
};

} // namespace quillet::mp4
