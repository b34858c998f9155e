#include "platform/Desktop.h"
#include "tests/fakes/TemporaryFolder.h"

#include <QByteArray>
#include <QtGlobal>
#include <gtest/gtest.h>

#include <fstream>

namespace quillet {
namespace {

/// A home of the test's own, and the old one afterwards.
class DesktopFolder : public ::testing::Test {
protected:
    DesktopFolder() {
        qputenv("HOME", home.path().c_str());
        qputenv("XDG_CONFIG_HOME", (home.path() / "config").c_str());
        std::filesystem::create_directory(home.path() / "config");
    }
    ~DesktopFolder() override {
        qputenv("HOME", oldHome);
        if (oldConfig.isNull())
            qunsetenv("XDG_CONFIG_HOME");
        else
            qputenv("XDG_CONFIG_HOME", oldConfig);
    }

    const QByteArray oldHome = qgetenv("HOME");
    const QByteArray oldConfig = qgetenv("XDG_CONFIG_HOME");
    const fakes::TemporaryFolder home;
};

TEST_F(DesktopFolder, isTheOneThatTheUsersDesktopNames) {
    std::ofstream(home.path() / "config" / "user-dirs.dirs") << "XDG_DESKTOP_DIR=\"$HOME/桌面\"\n";
    EXPECT_EQ(desktopFolder(), home.path() / "桌面");
    EXPECT_TRUE(std::filesystem::is_directory(home.path() / "桌面")) << "it is made if missing";
}

TEST_F(DesktopFolder, isDesktopInTheHomeFolderOtherwise) {
    EXPECT_EQ(desktopFolder(), home.path() / "Desktop");
    EXPECT_TRUE(std::filesystem::is_directory(home.path() / "Desktop"));
}

TEST_F(DesktopFolder, isNothingWhereItCannotBeMade) {
    std::ofstream(home.path() / "Desktop") << "a file in its place";
    EXPECT_EQ(desktopFolder(), std::filesystem::path());
}

} // namespace
} // namespace quillet
