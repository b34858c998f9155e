// replaceAtomically.h: small files that are whole at any moment.
#pragma once

#include "media/Error.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The content of an ordinary file of up to 1 MiB; nothing when there is none or it is something else (a folder, a
/// pipe, a device, larger). Never waits for a writer. Threads: any.
[[nodiscard]] std::optional<std::string> readSmallFile(const std::filesystem::path& file);

/// Puts a file with this content in `file`'s place, after it has reached the disk, and follows symbolic links of the
/// user's own (or root's); one that somebody else has put there is replaced itself. The folder must be there. Whenever
/// the process ends, the old content stands there or the new one. Threads: any.
[[nodiscard]] std::optional<Error> replaceAtomically(const std::filesystem::path& file, std::string_view content);

/// Keeps other processes that ask for it out of a folder. One that does not let go within two seconds (stopped in a
/// debugger, say) is not waited for any longer: a setting of another copy may get lost then, the file does not break.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

private:
    int descriptor;
};

} // namespace quillet
