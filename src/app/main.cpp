#include "app/AppDelegate.h"
#include "platform/displayProblem.h"
#include "selftest/SelfTest.h"

#include <QApplication>
#include <span>

#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

int main(int argc, char** argv) {
    const std::span arguments(argv, static_cast<std::size_t>(argc));
    const auto isSelfTest = [](const char* argument) { return std::string_view(argument) == "--selftest"; };
    if (std::ranges::any_of(arguments, isSelfTest)) quillet::SelfTest::run();

    // The toolkit would abort without a word that helps.
    if (const std::string problem = quillet::displayProblem(); !problem.empty()) {
        std::fprintf(stderr, "quillet: %s\n", problem.c_str());
        return 1;
    }
    QApplication::setApplicationName(QStringLiteral("Quillet"));
    QApplication::setDesktopFileName(QStringLiteral("org.quillet.Quillet"));
    const QApplication application(argc, argv);
    quillet::AppDelegate delegate;
    delegate.showControlWindow();
    return QApplication::exec();
}
