#include "tests/fakes/x11/VirtualXServer.h"

#include <csignal>

#include <fcntl.h>
#include <unistd.h>

namespace quillet::testing {

std::unique_ptr<VirtualXServer> VirtualXServer::start(const Options& options) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return nullptr;
    const std::string screen =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x" + std::to_string(options.depth);
    // The server would start anew, and forget all names, whenever its last client leaves.
    std::vector<std::string> arguments{
        "Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", screen, "-noreset", "-nolisten", "tcp"};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());

    std::unique_ptr<VirtualXServer> server(new VirtualXServer);
    server->program = ChildProgram::start({arguments, {}, ends[1]});
    ::close(ends[1]);
    // The number comes when clients may connect; the pipe's end, when the server has failed.
    std::string number;
    char byte = 0;
    while (::read(ends[0], &byte, 1) == 1 && byte != '\n')
        number += byte;
    ::close(ends[0]);
    if (!server->program || number.empty()) return nullptr;
    server->name = ":" + number;
    return server;
}

void VirtualXServer::crash() { program->end(SIGKILL); }

std::unique_ptr<ChildProgram> VirtualXServer::run(const std::vector<std::string>& arguments,
                                                  std::vector<std::string> environment) const {
    environment.push_back("DISPLAY=" + name);
    return ChildProgram::start({arguments, std::move(environment), -1});
}

} // namespace quillet::testing
