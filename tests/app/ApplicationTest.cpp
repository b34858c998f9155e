#include "app/Application.h"

#include <QEvent>
#include <QTimer>
#include <gtest/gtest.h>

#include <array>

namespace quillet {
namespace {

TEST(Application, leavesWhenItsOwnerSaysSoAndNotWhenItIsAskedTo) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    std::array<char, 5> name{"test"};
    std::array<char*, 2> arguments{name.data(), nullptr};
    int count = 1;
    Application application(count, arguments.data());
    int requests = 0;
    application.onQuit = [&] {
        ++requests;
        // Something is to be completed first.
        QTimer::singleShot(0, [] { Application::exit(7); });
    };
    QTimer::singleShot(0, [&] {
        QEvent quit(QEvent::Quit);
        EXPECT_TRUE(QCoreApplication::sendEvent(&application, &quit));
    });
    EXPECT_EQ(Application::exec(), 7);
    EXPECT_EQ(requests, 1);
}

} // namespace
} // namespace quillet
