// replaceFile.h: writing at a name that others can write to as well.
#pragma once

#include <span>

#include <cstddef>
#include <filesystem>

namespace quillet {

/// Puts `bytes` at `path` under the ordinary umask: written to a new file beside it, then renamed over whatever stood
/// there, so that a symbolic link is replaced and not followed. False when that is not possible; nothing is left
/// behind.
[[nodiscard]] bool replaceFile(const std::filesystem::path& path, std::span<const std::byte> bytes);

} // namespace quillet
