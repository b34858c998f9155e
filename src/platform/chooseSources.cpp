#include "platform/chooseSources.h"

#include "platform/synthetic/SyntheticScreenSource.h"
#include "platform/x11/XScreenSource.h"

#include <QGuiApplication>

#include <cstdlib>
#include <string_view>

namespace quillet {

namespace {

XScreenSourceSetup setupOfThisProgram() {
    const auto* x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11) return {};
    return {.displayName = {},
            .ownClients = {XClientResources::of(x11->connection())},
            .redirection = WindowRedirection::make({})};
}

} // namespace

ScreenSourceFactory chooseScreenSource() {
    const char* choice = std::getenv("QUILLET_SOURCES");
    if (choice && std::string_view(choice) == "synthetic") return syntheticScreenSourceFactory(SyntheticDrive::timer);
    return xScreenSourceFactory(setupOfThisProgram());
}

} // namespace quillet
