// ByteSink.h: where the bytes of a file go; a seam, so that every order of writes and every failure can be tried.
#pragma once

#include "media/Error.h"

#include <span>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace quillet::mp4 {

/// A file that grows at its end and can be written over. After an error the sink is as full as it got; nobody retries.
///
/// Threads: one at a time.
class ByteSink {
public:
    virtual ~ByteSink() = default;

    /// Writes all of `bytes` at `offset` with one system call where the system allows it.
    [[nodiscard]] virtual std::optional<Error> writeAt(std::uint64_t offset, std::span<const std::byte> bytes) = 0;
    /// Asks for what stands in `offset` … `offset + length` to be carried to the disk, without waiting for it.
    virtual void writeBehind(std::uint64_t offset, std::uint64_t length) = 0;
    /// Waits until everything written is on the disk.
    [[nodiscard]] virtual std::optional<Error> synchronise() = 0;
    /// What is written from now on comes to the disk after everything written so far, whatever becomes of the machine.
    /// A sink with a thread of its own does not wait for that.
    [[nodiscard]] virtual std::optional<Error> keepOrder() { return synchronise(); }
    /// Closes; what only closing finds out (a network file system's full disk) is answered.
    [[nodiscard]] virtual std::optional<Error> close() = 0;
    /// Closes and removes the file.
    virtual void discard() = 0;
    /// Bytes that are left for files on the same disk; nothing where that cannot be told. Until it is closed.
    [[nodiscard]] virtual std::optional<std::uint64_t> availableBytes() = 0;
    /// Where the file is: where it was made, unless somebody has moved or removed it before it was closed.
    [[nodiscard]] virtual std::filesystem::path place() const = 0;
};

/// Makes the file of a recording; null with the reason.
using OpenFile = std::function<std::unique_ptr<ByteSink>(const std::filesystem::path&, Error&)>;

} // namespace quillet::mp4
