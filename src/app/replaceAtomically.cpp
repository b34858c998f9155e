#include "app/replaceAtomically.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quillet {

namespace {

constexpr std::size_t largestFile = 1 << 20;
constexpr std::string_view randomPart = "XXXXXX"; // as mkostemp wants it
constexpr std::chrono::seconds lockPatience{2};
constexpr std::chrono::milliseconds lockInterval{10};

/// What processes that were killed in mid-write have left beside `target`; fresh ones may be somebody's who is at it.
void removeLeftovers(const std::filesystem::path& target) {
    const std::string beginning = target.filename().string() + ".";
    const auto now = std::filesystem::file_time_type::clock::now();
    std::error_code code;
    for (const auto& entry : std::filesystem::directory_iterator(target.parent_path(), code)) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with(beginning) || name.size() != beginning.size() + randomPart.size()) continue;
        const auto written = entry.last_write_time(code);
        if (!code && now - written > std::chrono::minutes(1)) std::filesystem::remove(entry.path(), code);
    }
}

/// Where the links at `file` lead, as long as they are the user's own: another user's could lead the user's writing
/// anywhere.
std::filesystem::path followOwnLinks(std::filesystem::path file) {
    constexpr int mostLinks = 40; // as many as the kernel follows
    for (int i = 0; i < mostLinks; ++i) {
        struct stat status {};
        if (::lstat(file.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) break;
        if (status.st_uid != ::geteuid() && status.st_uid != 0) break;
        std::error_code code;
        const std::filesystem::path target = std::filesystem::read_symlink(file, code);
        if (code) break;
        file = file.parent_path() / target; // an absolute target stands alone
    }
    return file;
}

bool writeAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const ssize_t count = ::write(descriptor, content.data(), content.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

std::optional<std::string> readSmallFile(const std::filesystem::path& file) {
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) return std::nullopt;
    std::optional<std::string> content;
    struct stat status {};
    if (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size <= static_cast<off_t>(largestFile)) {
        std::string bytes;
        std::array<char, 4096> part;
        ssize_t count = 0;
        // It may be growing.
        while (bytes.size() <= largestFile && (count = ::read(descriptor, part.data(), part.size())) > 0)
            bytes.append(part.data(), static_cast<std::size_t>(count));
        if (count == 0) content = std::move(bytes);
    }
    ::close(descriptor);
    return content;
}

std::optional<Error> replaceAtomically(const std::filesystem::path& file, std::string_view content) {
    const std::filesystem::path target = followOwnLinks(file);
    std::string name = target.string() + "." + std::string(randomPart);
    const int descriptor = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0) return systemError("create " + name, errno);
    const bool isWritten = writeAll(descriptor, content) && ::fsync(descriptor) == 0;
    int number = isWritten ? 0 : errno;
    if (::close(descriptor) != 0 && number == 0) number = errno;
    if (number == 0 && ::rename(name.c_str(), target.c_str()) != 0) number = errno;
    if (number != 0) {
        ::unlink(name.c_str());
        return systemError("write " + target.string(), number);
    }
    // The new name itself has to reach the disk, too.
    const int folder = ::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder >= 0) {
        static_cast<void>(::fsync(folder));
        ::close(folder);
    }
    removeLeftovers(target);
    return std::nullopt;
}

FolderLock::FolderLock(const std::filesystem::path& folder)
    : descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (descriptor < 0) return;
    const auto limit = std::chrono::steady_clock::now() + lockPatience;
    while (::flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
           std::chrono::steady_clock::now() < limit)
        std::this_thread::sleep_for(lockInterval);
}

FolderLock::~FolderLock() {
    if (descriptor >= 0) ::close(descriptor);
}

} // namespace quillet
