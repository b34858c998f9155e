#include "pipeline/mp4/FileSink.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillet::mp4 {

namespace {

Error failure(const char* action, const std::filesystem::path& path, int number) {
    return systemError(std::string(action) + " " + path.string(), number);
}

} // namespace

std::unique_ptr<FileSink> FileSink::make(const std::filesystem::path& path, Error& error) {
    ::unlink(path.c_str());
    // Exclusive: should anything have come back in between, it is neither followed nor shared.
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        error = failure("create", path, errno);
        return nullptr;
    }
    return std::unique_ptr<FileSink>(new FileSink(path, descriptor));
}

FileSink::~FileSink() {
    if (descriptor >= 0) ::close(descriptor);
}

std::optional<Error> FileSink::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return failure("write", path, written < 0 ? errno : EIO);
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return std::nullopt;
}

void FileSink::writeBehind(std::uint64_t offset, std::uint64_t length) {
    // A hint: file systems that do not know it lose nothing but the head start.
    static_cast<void>(
        ::sync_file_range(descriptor, static_cast<off_t>(offset), static_cast<off_t>(length), SYNC_FILE_RANGE_WRITE));
}

std::optional<Error> FileSink::synchronise() {
    while (::fdatasync(descriptor) != 0) {
        // Pipes and some file systems have nothing to synchronise.
        if (errno == EINVAL || errno == EROFS) return std::nullopt;
        if (errno != EINTR) return failure("synchronise", path, errno);
    }
    return std::nullopt;
}

std::optional<Error> FileSink::close() {
    // Linux has let go of the descriptor even when close is interrupted.
    if (::close(std::exchange(descriptor, -1)) != 0 && errno != EINTR) return failure("close", path, errno);
    return std::nullopt;
}

void FileSink::discard() {
    struct stat mine {};
    struct stat there {};
    if (descriptor >= 0 && ::fstat(descriptor, &mine) == 0 && ::lstat(path.c_str(), &there) == 0 &&
        mine.st_dev == there.st_dev && mine.st_ino == there.st_ino)
        ::unlink(path.c_str());
    if (descriptor >= 0) ::close(std::exchange(descriptor, -1));
}

} // namespace quillet::mp4
