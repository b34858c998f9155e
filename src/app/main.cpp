#include "app/AppDelegate.h"
#include "app/Application.h"
#include "app/QuitSignals.h"
#include "app/SingleInstance.h"
#include "app/commandLine.h"
#include "platform/displayProblem.h"
#include "selftest/SelfTest.h"

#include <QIcon>
#include <span>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

namespace {

/// The pictures that packaging/ makes of the program's icon.
QIcon windowIcon() {
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128})
        icon.addFile(QStringLiteral(":/icons/%1.png").arg(size), {size, size});
    return icon;
}

} // namespace

int main(int argc, char** argv) {
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
    using quillet::Application;
    Application::setApplicationName(QStringLiteral("Quillet"));
    Application::setApplicationVersion(QStringLiteral(QUILLET_VERSION));
    Application::setDesktopFileName(QStringLiteral("org.quillet.Quillet"));
    Application application(argc, argv);
    Application::setWindowIcon(windowIcon());
    std::unique_ptr<quillet::SingleInstance> instance = quillet::SingleInstance::make();
    if (!instance) return 0;
    quillet::AppDelegate delegate(std::move(instance));
    application.onQuit = [&] { delegate.terminate(); };
    const quillet::QuitSignals quitSignals([&] { delegate.terminate(); });
    delegate.applicationDidFinishLaunching();
    return Application::exec();
}
