// DiskFile.h: a file's work on threads of its own, so that neither the encoders nor the user ever wait for a disk.
#pragma once

#include "pipeline/mp4/ByteSink.h"

#include <chrono>
#include <functional>
#include <memory>

namespace quillet::mp4 {

/// How the disk is doing, as far as a recording is concerned.
enum class DiskCondition {
    ample,
    low,       ///< at the present pace there is room for two minutes or less
    exhausted, ///< just enough room is left to complete the file
    failed,    ///< a write or a synchronisation has failed, nothing more will be written
};

/// Hands every write to a thread ("quillet.disk") in the order it came in; a second one ("quillet.sync") carries what
/// was written to the disk once a second and looks how much room is left. What has been written is safe when the
/// process is killed, what has been synchronised when the machine is.
///
/// A disk that is slow, or gone for a while, costs memory (up to 64 MiB) and nothing else; beyond that, writeAt waits.
/// synchronise() and close() wait for everything before them, discard() for a fifth of a second at most, the destructor
/// not at all: the threads finish what was handed to them. A file that nothing was written to is discarded.
///
/// Errors: a failed write is answered by the next call that finds out, and by every one after it.
///
/// Threads: as ByteSink; the file given to make() is used by the two threads alone.
class DiskFile final : public ByteSink {
public:
    struct Options {
        /// Changes of the condition, which begins as ample. On quillet.disk or quillet.sync, no lock held; the last
        /// call may come after the DiskFile's end.
        std::function<void(DiskCondition)> onCondition = {};
        std::chrono::milliseconds interval{1000}; ///< between synchronisations
    };
    DiskFile(std::unique_ptr<ByteSink> file, Options options);
    ~DiskFile() override;
    DiskFile(const DiskFile&) = delete;
    DiskFile& operator=(const DiskFile&) = delete;

    std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override;
    /// Nothing: the next synchronisation carries it.
    void writeBehind(std::uint64_t, std::uint64_t) override {}
    std::optional<Error> synchronise() override;
    std::optional<Error> keepOrder() override;
    std::optional<Error> close() override;
    void discard() override;
    [[nodiscard]] std::optional<std::uint64_t> availableBytes() override;
    [[nodiscard]] std::filesystem::path place() const override;

private:
    struct Shared;
    std::shared_ptr<Shared> shared; // with the threads, which may outlive the DiskFile
};

} // namespace quillet::mp4
