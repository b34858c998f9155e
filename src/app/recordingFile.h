// recordingFile.h: the file of the next recording.
#pragma once

#include "pipeline/mp4/DiskFile.h"

#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>

namespace quillet {

/// An open file, or none, on its way to the session that will write it.
struct RecordingFile {
    std::filesystem::path folder;
    std::tm localTime{};                 ///< that names the file
    std::unique_ptr<mp4::ByteSink> sink; ///< null: the folder is missing or cannot be written to
};

/// Makes an empty file in `folder`, named after the present local time; none if `folder` is empty. May wait for the
/// disk. Threads: any; `onCondition` as mp4::DiskFile calls it.
[[nodiscard]] RecordingFile makeRecordingFile(const std::filesystem::path& folder,
                                              std::function<void(mp4::DiskCondition)> onCondition);

} // namespace quillet
