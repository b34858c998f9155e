#include "pipeline/mp4/FileSink.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace quillet::mp4 {

namespace {

Error failure(const char* action, const std::filesystem::path& path, int number) {
    return systemError(std::string(action) + " " + path.string(), number);
}

/// What went wrong while recording, in the words of the status line.
Error lateFailure(const char* action, const std::filesystem::path& path, int number) {
    const std::string kept = "已录下的部分仍在 " + path.filename().string();
    switch (number) {
        case ENOSPC:
            return {"errno", number, "磁盘空间不足。" + kept};
        case EDQUOT:
            return {"errno", number, "磁盘配额已用完。" + kept};
        case EFBIG:
            return {"errno", number, "文件超过了这块磁盘允许的大小。" + kept};
        case EIO:
        case ENODEV:
        case ENXIO:
        case ENOTCONN:
        case ECONNABORTED:
        case ESTALE:
            return {"errno", number, "磁盘已断开或损坏。" + kept};
        case EROFS:
        case EACCES:
        case EPERM:
            return {"errno", number, "磁盘已变为只读。" + kept};
        default:
            return failure(action, path, number);
    }
}

/// A new file's descriptor, or -1 and the reason.
int create(const std::filesystem::path& path, Error& error) {
    // Exclusive: should anything have come back in between, it is neither followed nor shared.
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    if (descriptor < 0) error = failure("create", path, errno);
    return descriptor;
}

/// Everything in `from`, to the end of `to`.
std::optional<int> copyAll(int from, int to) {
    constexpr std::size_t atOnce = 1U << 20;
    off_t offset = 0;
    for (;;) {
        const ssize_t copied = ::sendfile(to, from, &offset, atOnce);
        if (copied == 0) return std::nullopt;
        if (copied < 0 && errno != EINTR) return errno;
    }
}

} // namespace

std::unique_ptr<FileSink> FileSink::make(const std::filesystem::path& path, Error& error) {
    ::unlink(path.c_str());
    const int descriptor = create(path, error);
    return descriptor < 0 ? nullptr : std::unique_ptr<FileSink>(new FileSink(path, descriptor));
}

FileSink::~FileSink() {
    if (descriptor >= 0) ::close(descriptor);
}

std::optional<Error> FileSink::writeAt(std::uint64_t offset, std::span<const std::byte> bytes) {
    const std::uint64_t begin = offset;
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) {
            const int number = written < 0 ? errno : EIO;
            // Half a fragment at the end would play, but not without complaints.
            if (begin >= wholeBytes) static_cast<void>(!::ftruncate(descriptor, static_cast<off_t>(begin)));
            return lateFailure("write", path, number);
        }
        offset += static_cast<std::uint64_t>(written);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    wholeBytes = std::max(wholeBytes, offset);
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
        if (errno != EINTR) return lateFailure("synchronise", path, errno);
    }
    if (!isNameSynchronised.test_and_set()) synchroniseName();
    return std::nullopt;
}

// A folder that may not be read, or whose file system keeps names by itself, cannot be asked; the film is none the
// worse.
void FileSink::synchroniseName() const {
    const int folder = ::open(path.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return;
    static_cast<void>(::fsync(folder));
    ::close(folder);
}

std::optional<Error> FileSink::close() {
    std::optional<Error> problem;
    if (!isAtItsPath()) problem = bringBack();
    // Linux has let go of the descriptor even when close is interrupted.
    if (::close(std::exchange(descriptor, -1)) != 0 && errno != EINTR && !problem)
        problem = lateFailure("close", path, errno);
    return problem;
}

bool FileSink::isAtItsPath() const {
    struct stat mine {};
    struct stat there {};
    return ::fstat(descriptor, &mine) == 0 && ::lstat(path.c_str(), &there) == 0 && mine.st_dev == there.st_dev &&
           mine.st_ino == there.st_ino;
}

std::optional<Error> FileSink::bringBack() {
    struct stat mine {};
    if (::fstat(descriptor, &mine) != 0) return lateFailure("find", path, errno);
    if (mine.st_nlink > 0) {
        std::error_code unknown;
        const std::filesystem::path moved =
            std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), unknown);
        if (!unknown) path = moved;
        return std::nullopt;
    }
    std::error_code ignored;
    std::filesystem::create_directories(path.parent_path(), ignored);
    Error error;
    const int copy = create(path, error);
    if (copy < 0) return Error{error.domain, error.code, "录制中的文件被删除，无法恢复。"};
    std::optional<int> number = copyAll(descriptor, copy);
    if (::fdatasync(copy) != 0 && !number && errno != EINVAL && errno != EROFS) number = errno;
    if (::close(std::exchange(descriptor, copy)) != 0 && errno != EINTR && !number) number = errno;
    synchroniseName();
    return number ? std::optional(lateFailure("bring back", path, *number)) : std::nullopt;
}

void FileSink::discard() {
    if (descriptor >= 0 && isAtItsPath()) ::unlink(path.c_str());
    if (descriptor >= 0) ::close(std::exchange(descriptor, -1));
}

std::optional<std::uint64_t> FileSink::availableBytes() {
    struct statvfs disk {};
    // Some file systems know nothing of room and say that there is none of anything.
    if (::fstatvfs(descriptor, &disk) != 0 || disk.f_blocks == 0) return std::nullopt;
    return static_cast<std::uint64_t>(disk.f_bavail) * disk.f_frsize;
}

} // namespace quillet::mp4
