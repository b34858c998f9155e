// SocketWatch.h: tells when a server's socket appears, so that nobody needs to look for it again and again.
#pragma once

#include <pipewire/pipewire.h>

#include <filesystem>
#include <functional>
#include <string>

namespace quillet {

/// Watches the folder of a socket that is not there, or whose server has died.
///
/// Threads: the loop's, or with the connection's lock held; `onAppeared` runs on the loop's thread, lock held, and may
/// not destroy its watch.
class SocketWatch {
public:
    /// `onAppeared`: something of the socket's name has come into its folder. Its server may not answer yet.
    SocketWatch(pw_loop* loop, const std::filesystem::path& socket, std::function<void()> onAppeared);
    ~SocketWatch();
    SocketWatch(const SocketWatch&) = delete;
    SocketWatch& operator=(const SocketWatch&) = delete;

    /// False where there is no such folder (any more), or the process is out of descriptors.
    [[nodiscard]] bool isWatching() const { return source != nullptr; }

    /// Where libpipewire looks first for a server of that name; empty: the one that the environment names.
    [[nodiscard]] static std::filesystem::path socketOf(const std::string& remote);

private:
    void read();
    void stop();

    pw_loop* owner;
    std::string name;
    std::function<void()> appeared;
    int descriptor;
    spa_source* source = nullptr;
};

} // namespace quillet
