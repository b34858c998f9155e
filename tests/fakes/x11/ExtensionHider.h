// ExtensionHider.h: an X server that lacks an extension which no server can be told to do without.
#pragma once

#include <memory>
#include <string>
#include <thread>

namespace quillet::testing {

/// A socket in front of a server: whoever connects here talks to that server, which never hears of the extension's real
/// name and so answers that it has none. Descriptors are not passed on: the server must have no MIT-SHM.
///
/// Threads: made and destroyed on one thread; clients may live on any, and end with it.
class ExtensionHider {
public:
    /// `displayName` is the server's (":7"). Null when the socket cannot be made.
    [[nodiscard]] static std::unique_ptr<ExtensionHider> start(const std::string& displayName,
                                                               const std::string& extension);
    ~ExtensionHider();

    /// For clients that shall not see the extension.
    [[nodiscard]] const std::string& displayName() const { return name; }

private:
    ExtensionHider() = default;
    void serve(const std::stop_token& stop) const;

    std::string name;
    std::string path; // of the socket; empty: there is none
    std::string server;
    std::string hidden;
    int listener = -1;
    std::jthread thread; // the last member: it uses all of the above
};

} // namespace quillet::testing
