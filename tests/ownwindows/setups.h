// setups.h: the desktops that the battery runs on.
#pragma once

#include "tests/fakes/x11/VirtualXServer.h"
#include "tests/fakes/x11/XPainter.h"

#include <chrono>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace quillet::testing {

/// What a set-up draws around windows that no window's own picture holds, and that is therefore gone beneath ours where
/// something has changed since they covered it.
enum class Effects { none, shadowsOrTitles };

/// Which of the states that stand still are tried: where windows fade, each costs seconds.
enum class StatesTried { all, some };

/// A window manager and a compositing manager on a server.
struct Setup {
    std::string name;
    std::vector<std::string> windowManager = {};      ///< the command; empty for none
    std::vector<std::string> compositingManager = {}; ///< of its own, beside the window manager; empty for none
    bool managerComposites = false;                   ///< the window manager is one itself
    std::vector<std::string> environment = {};        ///< of both
    Effects effects = Effects::none;
    StatesTried states = StatesTried::all;
    int tolerance = 0; ///< by which a channel of one and the same picture differs from one drawing to the next
    /// How long the root must stay the same to count as settled: longer than any pause within a fade.
    std::chrono::milliseconds rest{80};

    [[nodiscard]] bool isComposited() const { return managerComposites || !compositingManager.empty(); }
};

/// For messages.
std::ostream& operator<<(std::ostream& stream, const Setup& setup);

/// The three of the ordinary test run, or, with QUILLET_TEST_SETUPS=all in the environment, all; with names and commas
/// in it, those.
[[nodiscard]] std::vector<Setup> chosenSetups();

/// Openbox alone, for tests that are not about set-ups.
[[nodiscard]] Setup plainSetup();

/// A set-up at work on a server: its programs live no longer than this. Main thread.
class RunningSetup {
public:
    /// Waits until its managers answer. Null, with a line on standard error, when one of them does not.
    [[nodiscard]] static std::unique_ptr<RunningSetup> start(const Setup& setup, const VirtualXServer& server,
                                                             const XPainter& session);
    ~RunningSetup();

    /// Ends the window manager as a crash would, and starts the program of `next` in its place.
    [[nodiscard]] bool replaceWindowManager(const Setup& next, const VirtualXServer& server, const XPainter& session);
    [[nodiscard]] bool startCompositingManager(const std::vector<std::string>& command, const VirtualXServer& server,
                                               const XPainter& session);
    /// Waits until the server has noticed.
    [[nodiscard]] bool endCompositingManager(const XPainter& session);

private:
    RunningSetup() = default;
    [[nodiscard]] bool startBus();
    [[nodiscard]] bool startWindowManager(const Setup& setup, const VirtualXServer& server, const XPainter& session);

    std::string folder; // what the programs think of as the user's home
    std::vector<std::string> environment;
    std::unique_ptr<ChildProgram> bus;
    std::unique_ptr<ChildProgram> windowManager;
    std::unique_ptr<ChildProgram> compositingManager;
};

} // namespace quillet::testing
