// ChildProgram.h: another program that lives no longer than the test.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

namespace quillet::testing {

/// Its standard output and error go to nowhere. Start from the main thread: the kernel ends the child when the thread
/// that started it dies, also when the test is killed.
class ChildProgram {
public:
    struct Options {
        std::vector<std::string> arguments;   ///< the program first, found on PATH
        std::vector<std::string> environment; ///< "NAME=value", besides the test's own
        int inheritedDescriptor = -1;         ///< stays open in the child under the same number
    };

    /// Null when it cannot be started.
    [[nodiscard]] static std::unique_ptr<ChildProgram> start(const Options& options);
    ~ChildProgram();
    ChildProgram(const ChildProgram&) = delete;
    ChildProgram& operator=(const ChildProgram&) = delete;

    [[nodiscard]] pid_t pid() const { return process; }
    /// Waits for its end and gives its exit status, or -1 when a signal ended it.
    int wait();
    /// Ends it with `signal` and waits.
    void end(int signal);

private:
    ChildProgram() = default;
    pid_t process = -1;
};

} // namespace quillet::testing
