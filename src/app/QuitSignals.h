// QuitSignals.h: the system's requests to end, as something the event loop can answer in its own time.
#pragma once

#include <functional>
#include <memory>

class QSocketNotifier;

namespace quillet {

/// While it lives, SIGTERM, SIGINT and SIGHUP call `onQuit` on the main thread instead of ending the process at once.
/// The second one of a kind ends it as usual: whoever is impatient gets their way.
///
/// One at a time. Threads: main, with an application object.
class QuitSignals {
public:
    explicit QuitSignals(std::function<void()> onQuit);
    ~QuitSignals();
    QuitSignals(const QuitSignals&) = delete;
    QuitSignals& operator=(const QuitSignals&) = delete;

private:
    std::unique_ptr<QSocketNotifier> notifier;
};

} // namespace quillet
