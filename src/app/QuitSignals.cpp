#include "app/QuitSignals.h"

#include "geometry/fatal.h"

#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

namespace quillet {

namespace {

constexpr std::array quitSignals{SIGTERM, SIGINT, SIGHUP};

// The handler may do little more than write to a descriptor.
volatile std::sig_atomic_t wakeup = -1;

extern "C" void onSignal(int) {
    const int savedError = errno;
    const std::uint64_t one = 1;
    static_cast<void>(!::write(wakeup, &one, sizeof one));
    errno = savedError;
}

} // namespace

QuitSignals::QuitSignals(std::function<void()> onQuit) {
    if (wakeup >= 0) fatal("two owners of the quit signals");
    wakeup = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wakeup < 0) return; // then signals end the process as usual, and the film is whole up to its last second
    notifier = std::make_unique<QSocketNotifier>(wakeup, QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(), [onQuit = std::move(onQuit)] {
        std::uint64_t count = 0;
        if (::read(wakeup, &count, sizeof count) > 0) onQuit();
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    for (const int number : quitSignals) {
        struct sigaction present {};
        // Started by nohup, say: then it stays ignored.
        if (::sigaction(number, nullptr, &present) == 0 && present.sa_handler != SIG_IGN)
            ::sigaction(number, &action, nullptr);
    }
}

QuitSignals::~QuitSignals() {
    if (wakeup < 0) return;
    for (const int number : quitSignals) {
        struct sigaction present {};
        if (::sigaction(number, nullptr, &present) == 0 && present.sa_handler == onSignal) std::signal(number, SIG_DFL);
    }
    notifier.reset();
    ::close(std::exchange(wakeup, -1));
}

} // namespace quillet
