#include "app/AppDelegate.h"
#include "app/Application.h"
#include "app/ApplicationColours.h"
#include "app/QuitSignals.h"
#include "app/SingleInstance.h"
#include "app/commandLine.h"
#include "platform/displayProblem.h"
#include "selftest/SelfTest.h"

#include <QIcon>
#include <span>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include <sys/resource.h>
#include <sys/stat.h>

namespace {

/// The pictures that packaging/ makes of the program's icon.
QIcon windowIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128})
        icon.addFile(QStringLiteral(":/icons/%1.png").arg(size), {size, size});
    return icon;
}

/// A write that is not possible is that write's failure, not the program's end. The signals are not ignored, for other
/// programs that this one starts would inherit that.
void surviveFailedWrites() {
    for (const int number : {SIGPIPE, SIGXFSZ})
        std::signal(number, [](int) {});
}

/// Nothing that is made from here on can be written by everybody, however carelessly the session was set up; who may
/// read it stays the user's choice.
void keepOthersFromWriting() { ::umask(::umask(0) | S_IWOTH); }

/// libpipewire 0.3 keeps a descriptor of each recording (tests/program/roundsTest.py): under the usual limit of 1024
/// the program could not make a thousand of them.
void allowMoreDescriptors() {
    constexpr rlim_t plenty = 65536;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    limit.rlim_cur = std::max(limit.rlim_cur, std::min(limit.rlim_max, plenty));
    static_cast<void>(::setrlimit(RLIMIT_NOFILE, &limit));
}

} // namespace

int main(int argc, char** argv) {
    keepOthersFromWriting();
    allowMoreDescriptors();
    const quillet::CommandLine commandLine =
        quillet::CommandLine::parse(std::span(argv, static_cast<std::size_t>(argc)));
    switch (commandLine.action) {
        case quillet::CommandLine::Action::selfTest:
            quillet::SelfTest::run();
        case quillet::CommandLine::Action::answer:
            return std::fputs(commandLine.text.c_str(), stdout) < 0 ? 1 : 0;
        case quillet::CommandLine::Action::refuse:
            std::fputs(commandLine.text.c_str(), stderr);
            return 2;
        case quillet::CommandLine::Action::run:
            break;
    }

    // The toolkit would abort without a word that helps.
    if (const std::string problem = quillet::displayProblem(); !problem.empty()) {
        std::fprintf(stderr, "quillet: %s\n", problem.c_str());
        return 1;
    }
    surviveFailedWrites();
    using quillet::Application;
    Application::setApplicationName(QStringLiteral("Quillet"));
    Application::setApplicationVersion(QStringLiteral(QUILLET_VERSION));
    Application::setDesktopFileName(QStringLiteral("org.quillet.Quillet"));
    Application application(argc, argv);
    // First, so that the desktop has answered when the window is ready to be painted.
    const quillet::ApplicationColours colours;
    Application::setWindowIcon(windowIcon());
    std::unique_ptr<quillet::SingleInstance> instance = quillet::SingleInstance::make();
    if (!instance) return 0;
    quillet::AppDelegate delegate(std::move(instance));
    application.onQuit = [&] { delegate.terminate(); };
    const quillet::QuitSignals quitSignals([&] { delegate.terminate(); });
    delegate.applicationDidFinishLaunching();
    return Application::exec();
}
