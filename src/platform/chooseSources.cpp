#include "platform/chooseSources.h"

#include "platform/synthetic/SyntheticScreenSource.h"
#include "platform/x11/XScreenSource.h"

#include <cstdlib>
#include <string_view>

namespace quillet {

ScreenSourceFactory chooseScreenSource() {
    const char* choice = std::getenv("QUILLET_SOURCES");
    if (choice && std::string_view(choice) == "synthetic") return syntheticScreenSourceFactory(SyntheticDrive::timer);
    return xScreenSourceFactory();
}

} // namespace quillet
