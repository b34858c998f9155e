// FileSink.h: a new file of our own on the disk.
#pragma once

#include "pipeline/mp4/ByteSink.h"

#include <filesystem>
#include <memory>

namespace quillet::mp4 {

/// Threads: as ByteSink. An open file is closed with its sink.
class FileSink : public ByteSink {
public:
    /// Removes whatever file or link stands at `path` and makes a new one there, readable as the user's umask says;
    /// never follows a link. Null with the reason in `error`.
    [[nodiscard]] static std::unique_ptr<FileSink> make(const std::filesystem::path& path, Error& error);
    ~FileSink() override;
    FileSink(const FileSink&) = delete;
    FileSink& operator=(const FileSink&) = delete;

    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override;
    void writeBehind(std::uint64_t offset, std::uint64_t length) override;
    std::optional<Error> synchronise() override;
    std::optional<Error> close() override;
    /// Only if the file at the path is still the one that was made here.
    void discard() override;

private:
    FileSink(std::filesystem::path filePath, int opened) : path(std::move(filePath)), descriptor(opened) {}

    std::filesystem::path path;
    int descriptor;
};

} // namespace quillet::mp4
