#include "tests/fakes/x11/ExtensionHider.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quillet::testing {

namespace {

constexpr int firstNumber = 4200;
constexpr int mostNumbers = 200;

std::string socketOfDisplay(const std::string& number) { return "/tmp/.X11-unix/X" + number; }

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

int socketAt(const std::string& path, decltype(&::connect) use) {
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(path);
    if (descriptor >= 0 && use(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
        return descriptor;
    if (descriptor >= 0) ::close(descriptor);
    return -1;
}

bool sendAll(int descriptor, const char* bytes, std::size_t count) {
    while (count > 0) {
        const ssize_t sent = ::send(descriptor, bytes, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        bytes += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

} // namespace

std::unique_ptr<ExtensionHider> ExtensionHider::start(const std::string& displayName, const std::string& extension) {
    std::unique_ptr<ExtensionHider> hider(new ExtensionHider);
    hider->server = socketOfDisplay(displayName.substr(displayName.find(':') + 1));
    hider->hidden = extension;
    // Far above the numbers that servers take; one that is in use cannot be bound.
    for (int number = firstNumber; hider->listener < 0 && number < firstNumber + mostNumbers; ++number) {
        hider->name = ":" + std::to_string(number);
        hider->listener = socketAt(socketOfDisplay(std::to_string(number)), ::bind);
    }
    if (hider->listener < 0) return nullptr;
    hider->path = socketOfDisplay(hider->name.substr(1));
    if (::listen(hider->listener, 8) != 0) return nullptr;
    hider->thread = std::jthread([raw = hider.get()](const std::stop_token& stop) { raw->serve(stop); });
    return hider;
}

ExtensionHider::~ExtensionHider() {
    thread = {}; // stops and joins
    if (listener >= 0) ::close(listener);
    if (!path.empty()) ::unlink(path.c_str());
}

void ExtensionHider::serve(const std::stop_token& stop) const {
    struct Line {
        int client;
        int server;
    };
    std::vector<Line> lines;
    std::array<char, 1 << 16> buffer{};
    // False when the sender or the receiver has gone.
    const auto pass = [&](int from, int to, bool isRequest) {
        const ssize_t count = ::recv(from, buffer.data(), buffer.size(), 0);
        if (count <= 0) return false;
        const auto size = static_cast<std::size_t>(count);
        if (isRequest)
            for (auto at = buffer.begin(), end = buffer.begin() + count;;) {
                at = std::search(at, end, hidden.begin(), hidden.end());
                if (at == end) break;
                *at = '?'; // of the same length, so that nothing else in the stream moves
            }
        return sendAll(to, buffer.data(), size);
    };
    constexpr int lookForStopMs = 20;
    while (!stop.stop_requested()) {
        std::vector<pollfd> waiting{{listener, POLLIN, 0}};
        for (const Line& line : lines) {
            waiting.push_back({line.client, POLLIN, 0});
            waiting.push_back({line.server, POLLIN, 0});
        }
        if (::poll(waiting.data(), waiting.size(), lookForStopMs) <= 0) continue;
        for (std::size_t i = lines.size(); i-- > 0;) {
            const Line line = lines[i];
            const bool isWhole = (!waiting[1 + 2 * i].revents || pass(line.client, line.server, true)) &&
                                 (!waiting[2 + 2 * i].revents || pass(line.server, line.client, false));
            if (isWhole) continue;
            ::close(line.client);
            ::close(line.server);
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(i));
        }
        if (!waiting.front().revents) continue;
        const int client = ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        const int behind = client < 0 ? -1 : socketAt(server, ::connect);
        if (behind >= 0)
            lines.push_back({client, behind});
        else if (client >= 0)
            ::close(client);
    }
    for (const Line& line : lines) {
        ::close(line.client);
        ::close(line.server);
    }
}

} // namespace quillet::testing
