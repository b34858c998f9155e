#include "selftest/replaceFile.h"

#include <cerrno>
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace quillet {

namespace {

bool writeAll(int file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

bool replaceFile(const std::filesystem::path& path, std::span<const std::byte> bytes) {
    // A name of our own process may be left over from an older one; O_EXCL tells, and the next number is tried.
    for (int attempt = 0; attempt < 100; ++attempt) {
        const std::string draft = path.string() + "." + std::to_string(::getpid()) + "." + std::to_string(attempt);
        const int file = ::open(draft.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
        if (file < 0) {
            if (errno == EEXIST) continue;
            return false;
        }
        const bool written = writeAll(file, bytes);
        const bool closed = ::close(file) == 0;
        if (written && closed && std::rename(draft.c_str(), path.c_str()) == 0) return true;
        ::unlink(draft.c_str());
        return false;
    }
    return false;
}

} // namespace quillet
