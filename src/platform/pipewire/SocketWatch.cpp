#include "platform/pipewire/SocketWatch.h"

#include "platform/pipewire/pipewireCalls.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace quillet {

namespace {

std::string fromEnvironment(const char* variable) {
    const char* const value = std::getenv(variable);
    return value ? value : "";
}

} // namespace

std::filesystem::path SocketWatch::socketOf(const std::string& remote) {
    std::string name = remote;
    if (name.empty()) name = fromEnvironment("PIPEWIRE_REMOTE");
    if (name.empty()) name = "pipewire-0";
    std::string folder = fromEnvironment("PIPEWIRE_RUNTIME_DIR");
    if (folder.empty()) folder = fromEnvironment("XDG_RUNTIME_DIR");
    return std::filesystem::path(folder) / name; // a whole path takes the folder's place
}

SocketWatch::SocketWatch(pw_loop* loop, const std::filesystem::path& socket, std::function<void()> onAppeared)
    : owner(loop), name(socket.filename().string()), appeared(std::move(onAppeared)),
      descriptor(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (descriptor < 0 || !socket.has_parent_path()) return;
    constexpr std::uint32_t wanted = IN_CREATE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    if (::inotify_add_watch(descriptor, socket.parent_path().c_str(), wanted) < 0) return;
    source = addReadable(
        owner, descriptor, [](void* self, int, std::uint32_t) { static_cast<SocketWatch*>(self)->read(); }, this);
}

SocketWatch::~SocketWatch() {
    stop();
    if (descriptor >= 0) ::close(descriptor);
}

void SocketWatch::stop() {
    if (source) removeSource(owner, std::exchange(source, nullptr));
}

void SocketWatch::read() {
    bool hasAppeared = false;
    bool isFolderGone = false;
    alignas(inotify_event) std::array<std::byte, 4096> bytes;
    for (ssize_t count = 0; (count = ::read(descriptor, bytes.data(), bytes.size())) > 0;) {
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            const auto& event = *reinterpret_cast<const inotify_event*>(bytes.data() + at);
            at += sizeof event + event.len;
            if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_Q_OVERFLOW)) != 0) isFolderGone = true;
            // The name is filled up with zeros.
            if (event.len > 0 && name == static_cast<const char*>(event.name)) hasAppeared = true;
        }
    }
    if (isFolderGone) stop();
    if (hasAppeared || isFolderGone) appeared();
}

} // namespace quillet
