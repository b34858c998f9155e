// VirtualXServer.h: an X server without a monitor, of the test's own.
#pragma once

#include "tests/fakes/x11/ChildProgram.h"

#include <memory>
#include <string>
#include <vector>

namespace quillet::testing {

/// A private Xvfb under a display number that nobody else has. Start from the main thread.
class VirtualXServer {
public:
    struct Options {
        int width = 640;
        int height = 480;
        int depth = 24;
        std::vector<std::string> arguments; ///< further ones
    };

    /// Waits until the server answers. Null when there is none.
    [[nodiscard]] static std::unique_ptr<VirtualXServer> start(const Options& options);

    [[nodiscard]] const std::string& displayName() const { return name; } ///< ":7"
    [[nodiscard]] pid_t pid() const { return program->pid(); }
    /// Ends it as a crash would.
    void crash();

    /// Runs a program on this display.
    [[nodiscard]] std::unique_ptr<ChildProgram> run(const std::vector<std::string>& arguments,
                                                    std::vector<std::string> environment = {}) const;

private:
    VirtualXServer() = default;
    std::unique_ptr<ChildProgram> program;
    std::string name;
};

} // namespace quillet::testing
