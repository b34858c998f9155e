#include "tests/ownwindows/setups.h"

#include "tests/fakes/x11/eventually.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sstream>

namespace quillet::testing {

namespace {

using namespace std::chrono_literals;

// Openbox's own sign of life comes long before it manages windows; its start command, when it does.
constexpr const char* openboxIsReady = "QUILLET_TEST_READY";
const std::vector<std::string> openbox{"openbox", "--sm-disable", "--startup",
                                       "xprop -root -f QUILLET_TEST_READY 8s -set QUILLET_TEST_READY 1"};

const std::vector<std::string> plainPicom{"picom", "--config", "/dev/null", "--backend", "xrender"};

std::vector<Setup> everySetup() {
    std::vector<Setup> all;
    all.push_back({.name = "openbox", .windowManager = openbox});
    all.push_back({.name = "picom", .windowManager = openbox, .compositingManager = plainPicom, .rest = 180ms});
    all.push_back({.name = "xcompmgrFades",
                   .windowManager = openbox,
                   .compositingManager = {"xcompmgr", "-n", "-f", "-F", "-D", "20", "-I", "0.03", "-O", "0.03"},
                   .rest = 250ms});
    // From here on: only when asked for.
    all.push_back({.name = "noManager"});
    all.push_back(
        {.name = "xcompmgr", .windowManager = openbox, .compositingManager = {"xcompmgr", "-n"}, .rest = 120ms});
    all.push_back(
        {.name = "picomShadows",
         .windowManager = openbox,
         .compositingManager = {"picom", "--config", "/dev/null", "--backend", "xrender", "--shadow", "--fading"},
         .effects = Effects::shadowsOrTitles,
         .rest = 400ms});
    all.push_back({.name = "metacity", .windowManager = {"metacity", "--compositor=none"}, .rest = 120ms});
    all.push_back({.name = "metacityComposing",
                   .windowManager = {"metacity", "--compositor=xrender"},
                   .managerComposites = true,
                   .effects = Effects::shadowsOrTitles,
                   .rest = 400ms});
    all.push_back({.name = "xfwm4", .windowManager = {"xfwm4", "--compositor=off"}, .rest = 150ms});
    all.push_back({.name = "xfwm4Composing",
                   .windowManager = {"xfwm4", "--compositor=on", "--vblank=xpresent"},
                   .managerComposites = true,
                   .effects = Effects::shadowsOrTitles,
                   .rest = 400ms});
    all.push_back({.name = "kwin", .windowManager = {"kwin_x11"}, .environment = {"KWIN_COMPOSE=N"}, .rest = 200ms});
    all.push_back({.name = "kwinComposing",
                   .windowManager = {"kwin_x11"},
                   .managerComposites = true,
                   .environment = {"LIBGL_ALWAYS_SOFTWARE=1"},
                   .effects = Effects::shadowsOrTitles,
                   .rest = 600ms});
    all.push_back({.name = "mutter",
                   .windowManager = {"mutter", "--x11"},
                   .managerComposites = true,
                   .environment = {"LIBGL_ALWAYS_SOFTWARE=1"},
                   .effects = Effects::shadowsOrTitles,
                   .tolerance = 2, // its background's gradient
                   .rest = 600ms});
    return all;
}

constexpr std::size_t ordinarySetups = 3;
constexpr auto manyStatesRest = 200ms; // set-ups that take longer to come to rest are tried with few states

} // namespace

std::ostream& operator<<(std::ostream& stream, const Setup& setup) { return stream << setup.name; }

Setup plainSetup() { return everySetup().front(); }

std::vector<Setup> chosenSetups() {
    std::vector<Setup> setups = everySetup();
    const char* const wish = std::getenv("QUILLET_TEST_SETUPS");
    if (!wish || !*wish) {
        setups.resize(ordinarySetups);
        for (Setup& each : setups)
            if (each.rest > manyStatesRest) each.states = StatesTried::some;
        return setups;
    }
    if (std::string(wish) == "all") return setups;
    std::vector<Setup> chosen;
    std::istringstream names(wish);
    for (std::string name; std::getline(names, name, ',');) {
        const auto found = std::ranges::find(setups, name, &Setup::name);
        if (found == setups.end()) {
            std::cerr << "QUILLET_TEST_SETUPS: there is no set-up " << name << "\n";
            std::exit(2);
        }
        chosen.push_back(*found);
    }
    return chosen;
}

std::unique_ptr<RunningSetup> RunningSetup::start(const Setup& setup, const VirtualXServer& server,
                                                  const XPainter& session) {
    std::unique_ptr<RunningSetup> running(new RunningSetup);
    running->folder = "/tmp/quillet-setup-XXXXXX";
    if (!::mkdtemp(running->folder.data())) return nullptr;
    // Nothing of the machine's user: no settings, no services.
    running->environment = {"HOME=" + running->folder,
                            "XDG_CONFIG_HOME=" + running->folder + "/config",
                            "XDG_CACHE_HOME=" + running->folder + "/cache",
                            "XDG_DATA_HOME=" + running->folder + "/data",
                            "XDG_STATE_HOME=" + running->folder + "/state",
                            "XDG_RUNTIME_DIR=" + running->folder,
                            "XDG_SESSION_TYPE=x11",
                            "DBUS_SESSION_BUS_ADDRESS=unix:path=" + running->folder + "/bus",
                            "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + running->folder + "/none",
                            "NO_AT_BRIDGE=1",
                            "GTK_A11Y=none",
                            "SESSION_MANAGER=",
                            "WAYLAND_DISPLAY="};
    const auto fails = [&](const char* what) {
        std::cerr << setup.name << ": " << what << "\n";
        return nullptr;
    };
    const bool needsBus = !setup.windowManager.empty() && setup.windowManager.front() != "openbox";
    if (needsBus && !running->startBus()) return fails("the session bus does not answer");
    if (!running->startWindowManager(setup, server, session)) return fails("the window manager does not answer");
    if (!setup.compositingManager.empty() &&
        !running->startCompositingManager(setup.compositingManager, server, session))
        return fails("the compositing manager does not answer");
    return running;
}

RunningSetup::~RunningSetup() {
    compositingManager.reset();
    // Some ask the session before they go, or wait for a display: nobody here waits for them.
    if (windowManager) windowManager->end(SIGKILL);
    bus.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

bool RunningSetup::startBus() {
    bus = ChildProgram::start({{"dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog",
                                "--address=unix:path=" + folder + "/bus"},
                               environment,
                               -1});
    return bus && eventually([&] { return std::filesystem::exists(folder + "/bus"); });
}

bool RunningSetup::startWindowManager(const Setup& setup, const VirtualXServer& server, const XPainter& session) {
    if (setup.windowManager.empty()) return true;
    std::vector<std::string> variables = environment;
    variables.insert(variables.end(), setup.environment.begin(), setup.environment.end());
    windowManager = server.run(setup.windowManager, variables);
    if (!windowManager) return false;
    const bool isOpenbox = setup.windowManager.front() == "openbox";
    if (!session.waitForRootProperty(isOpenbox ? openboxIsReady : "_NET_SUPPORTING_WM_CHECK")) return false;
    return !setup.managerComposites || session.waitForSelection("_NET_WM_CM_S0");
}

bool RunningSetup::replaceWindowManager(const Setup& next, const VirtualXServer& server, const XPainter& session) {
    windowManager->end(SIGKILL);
    for (const char* property : {openboxIsReady, "_NET_SUPPORTING_WM_CHECK"})
        xcb_delete_property(session.xcb(), session.root(), session.atom(property));
    session.sync();
    return startWindowManager(next, server, session);
}

bool RunningSetup::endCompositingManager(const XPainter& session) {
    compositingManager.reset();
    const xcb_atom_t selection = session.atom("_NET_WM_CM_S0");
    return eventually([&] {
        const auto reply = owned(
            xcb_get_selection_owner_reply(session.xcb(), xcb_get_selection_owner(session.xcb(), selection), nullptr));
        return reply && reply->owner == XCB_NONE;
    });
}

bool RunningSetup::startCompositingManager(const std::vector<std::string>& command, const VirtualXServer& server,
                                           const XPainter& session) {
    compositingManager = server.run(command, environment);
    return compositingManager && session.waitForSelection("_NET_WM_CM_S0");
}

} // namespace quillet::testing
