// camera: a camera made of software on the session's sound and camera server, until it is killed. Says "ready" when others
// can see it.
#include "tests/fakes/pipewire/VirtualCamera.h"

#include <cstdio>

#include <unistd.h>

int main() {
    const auto connection = quillet::PipeWireConnection::make({});
    const auto camera = connection ? quillet::testing::VirtualCamera::make(connection, {}) : nullptr;
    if (!camera) return 1;
    std::puts("ready");
    std::fflush(stdout);
    for (;;)
        ::pause();
}
