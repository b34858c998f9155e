#include "app/recordingFile.h"

#include "pipeline/RecordingSession.h"
#include "pipeline/mp4/FileSink.h"

#include <system_error>
#include <utility>

namespace quillet {

namespace {

/// The local time that names the next file. A recording replaces a file of its name, and two that begin within one
/// second would have the same: then the name is that of the next second.
std::tm freeLocalTime(const std::filesystem::path& folder) {
    std::time_t time = std::time(nullptr);
    for (int second = 0;; ++second, ++time) {
        std::tm local{};
        ::localtime_r(&time, &local);
        std::error_code ignored;
        if (second == 60 || !std::filesystem::exists(folder / recordingFileName(local), ignored)) return local;
    }
}

} // namespace

RecordingFile makeRecordingFile(const std::filesystem::path& folder,
                                std::function<void(mp4::DiskCondition)> onCondition) {
    if (folder.empty()) return {};
    RecordingFile file{.folder = folder, .localTime = freeLocalTime(folder), .sink = nullptr};
    Error ignored; // the status line has one text for every reason
    std::unique_ptr<mp4::ByteSink> sink = mp4::FileSink::make(folder / recordingFileName(file.localTime), ignored);
    if (sink)
        file.sink = std::make_unique<mp4::DiskFile>(std::move(sink),
                                                    mp4::DiskFile::Options{.onCondition = std::move(onCondition)});
    return file;
}

} // namespace quillet
