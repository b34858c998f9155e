// FilmReader.h: one decoded picture of a finished file.
#pragma once

#include "media/MediaTime.h"

#include <QImage>

#include <filesystem>
#include <optional>

namespace quillet {

/// The picture shown at `time` (else the one nearest to it), decoded by the system's libraries, with the track's
/// orientation applied; nothing when the file cannot be read or has no picture. Threads: any.
[[nodiscard]] std::optional<QImage> filmPictureAt(const std::filesystem::path& file, MediaTime time);

} // namespace quillet
