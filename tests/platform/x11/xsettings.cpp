#include "platform/x11/xsettings.h"

#include "platform/x11/XThemeWatch.h"
#include "tests/fakes/x11/SettingsManager.h"
#include "tests/fakes/x11/VirtualXServer.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <gtest/gtest.h>

#include <vector>

namespace quillet {
namespace {

using testing::ByteOrder;
using testing::encodedSettings;
using testing::Setting;
using testing::SettingsManager;

const std::vector<Setting> some{
    {"Gtk/Colour", Setting::Colour{}}, {"Net/CursorBlink", 1}, {"Net/ThemeName", "Adwaita-dark"}, {"Xft/Hinting", 2}};

TEST(XSettings, findsATextAmongAllTypesInBothByteOrders) {
    for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
        const auto bytes = encodedSettings(some, order);
        EXPECT_EQ(xsettingsText(bytes, "Net/ThemeName"), "Adwaita-dark");
        EXPECT_EQ(xsettingsText(bytes, "Net/CursorBlink"), std::nullopt) << "it is no text";
        EXPECT_EQ(xsettingsText(bytes, "Net/IconThemeName"), std::nullopt);
    }
}

TEST(XSettings, survivesEveryCutAndEveryWrongByte) {
    const auto whole = encodedSettings(some, ByteOrder::little);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const std::vector cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(xsettingsText(cut, "Xft/Nothing"), std::nullopt);
        for (const int value : {0, 127, 255}) {
            auto wrong = whole;
            wrong[length] = static_cast<std::uint8_t>(value);
            static_cast<void>(xsettingsText(wrong, "Net/ThemeName")); // for the sanitizers
        }
    }
}

/// A display and the program's event loop.
class ThemeWatchOnX : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(server); }
    [[nodiscard]] static bool becomes(const XThemeWatch& watch, const std::string& name) {
        const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (watch.themeName() != name && std::chrono::steady_clock::now() < limit)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 100);
        return watch.themeName() == name;
    }

    int argc = 0;
    const QCoreApplication application{argc, nullptr};
    const std::unique_ptr<testing::VirtualXServer> server = testing::VirtualXServer::start({});
};

TEST_F(ThemeWatchOnX, followsTheManagerThroughChangesItsEndAndItsReturn) {
    const auto watch = XThemeWatch::make(server->displayName());
    ASSERT_TRUE(watch);
    EXPECT_EQ(watch->themeName(), "") << "nobody manages settings";
    int changes = 0;
    watch->onChange = [&] { ++changes; };
    {
        SettingsManager manager(server->displayName());
        manager.set({{"Net/ThemeName", "Adwaita"}});
        EXPECT_TRUE(becomes(*watch, "Adwaita"));
        manager.set({{"Net/ThemeName", "Adwaita-dark"}});
        EXPECT_TRUE(becomes(*watch, "Adwaita-dark"));
    }
    EXPECT_TRUE(becomes(*watch, "")) << "the manager has gone";
    SettingsManager next(server->displayName());
    next.set({{"Net/ThemeName", "Yaru"}});
    EXPECT_TRUE(becomes(*watch, "Yaru"));
    EXPECT_EQ(changes, 4);
    EXPECT_EQ(XThemeWatch::make(server->displayName())->themeName(), "Yaru")
        << "known at once to a program that starts";
}

TEST_F(ThemeWatchOnX, isNullWithoutAServer) { EXPECT_FALSE(XThemeWatch::make(":4711")); }

} // namespace
} // namespace quillet
