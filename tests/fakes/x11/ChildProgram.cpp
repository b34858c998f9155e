#include "tests/fakes/x11/ChildProgram.h"

#include <csignal>
#include <cstdlib>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace quillet::testing {

namespace {

std::vector<char*> pointers(const std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (const std::string& each : strings)
        result.push_back(const_cast<char*>(each.c_str()));
    result.push_back(nullptr);
    return result;
}

} // namespace

std::unique_ptr<ChildProgram> ChildProgram::start(const Options& options) {
    std::vector<std::string> variables = options.environment;
    for (char** each = ::environ; *each; ++each) {
        const std::string variable = *each;
        bool overridden = false;
        for (const std::string& own : options.environment)
            overridden = overridden || variable.starts_with(own.substr(0, own.find('=') + 1));
        if (!overridden) variables.push_back(variable);
    }
    const std::vector<char*> arguments = pointers(options.arguments);
    const std::vector<char*> environment = pointers(variables);
    const pid_t parent = ::getpid();

    const pid_t child = ::fork();
    if (child < 0) return nullptr;
    if (child == 0) {
        // Only calls that are safe after a fork with threads.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != parent) ::_exit(127);
        const int nowhere = ::open("/dev/null", O_RDWR);
        ::dup2(nowhere, 0);
        ::dup2(nowhere, 1);
        ::dup2(nowhere, 2);
        if (options.inheritedDescriptor >= 0) ::fcntl(options.inheritedDescriptor, F_SETFD, 0);
        ::execvpe(arguments.front(), arguments.data(), environment.data());
        ::_exit(127);
    }
    std::unique_ptr<ChildProgram> program(new ChildProgram);
    program->process = child;
    return program;
}

ChildProgram::~ChildProgram() { end(SIGTERM); }

int ChildProgram::wait() {
    if (process < 0) return -1;
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildProgram::end(int signal) {
    if (process < 0) return;
    ::kill(process, signal);
    ::kill(process, SIGCONT); // a stopped one would never hear of it
    wait();
}

} // namespace quillet::testing
