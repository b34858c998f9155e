// SleepInhibitor.h: no sleep and no screen lock for as long as something important goes on.
#pragma once

#include <memory>
#include <string>

namespace quillet {

/// Asks the system not to sleep (org.freedesktop.login1) and the session not to blank or lock the screen
/// (org.freedesktop.ScreenSaver, else the desktop portal), and takes it back when it goes. Whatever is not there is not
/// asked; the services drop the requests of a process that has died. Never waits for an answer.
///
/// Threads: main, with a running event loop.
class SleepInhibitor {
public:
    /// `reason` is shown to the user by some desktops.
    explicit SleepInhibitor(const std::string& reason);
    ~SleepInhibitor();
    SleepInhibitor(const SleepInhibitor&) = delete;
    SleepInhibitor& operator=(const SleepInhibitor&) = delete;

private:
    struct Requests;
    // Shared with answers that are still to come.
    std::shared_ptr<Requests> requests;
};

} // namespace quillet
