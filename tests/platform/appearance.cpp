#include "platform/Appearance.h"

#include "tests/fakes/FakePortal.h"

#include <QEventLoop>
#include <QGuiApplication>
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>

namespace quillet {
namespace {

using Scheme = AppearanceWishes::Scheme;
using testing::FakePortal;
using testing::PrivateBus;

template <typename Question>
bool becomesTrue(Question question) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!question() && std::chrono::steady_clock::now() < limit)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 100);
    return question();
}

/// A message bus with nobody on it, and the program's event loop.
class AppearanceOnABus : public ::testing::Test {
protected:
    AppearanceOnABus() { qputenv("QT_QPA_PLATFORM", "offscreen"); }
    void SetUp() override {
        application = std::make_unique<QGuiApplication>(argc, nullptr);
        bus = PrivateBus::start();
        ASSERT_TRUE(bus);
    }

    int argc = 0;
    std::unique_ptr<QGuiApplication> application;
    std::unique_ptr<PrivateBus> bus;
};

TEST_F(AppearanceOnABus, knowsWhatThePortalSays) {
    FakePortal portal(bus->connect("portal"));
    portal.scheme = 1U;
    portal.accent = {1.0, 0.5, 0.0};
    const Appearance appearance(bus->connect("program"));
    EXPECT_EQ(appearance.wishes(), AppearanceWishes()) << "it does not wait for the answer";
    ASSERT_TRUE(becomesTrue([&] { return appearance.wishes().scheme == Scheme::dark; }));
    ASSERT_TRUE(appearance.wishes().accent);
    EXPECT_EQ(appearance.wishes().accent->rgb(), qRgb(255, 128, 0));
}

TEST_F(AppearanceOnABus, followsEachChangeAndTellsItOnce) {
    FakePortal portal(bus->connect("portal"));
    portal.scheme = 2U;
    Appearance appearance(bus->connect("program"));
    int changes = 0;
    appearance.onChange = [&] { ++changes; };
    ASSERT_TRUE(becomesTrue([&] { return appearance.wishes().scheme == Scheme::light; }));
    EXPECT_EQ(changes, 1);

    portal.scheme = 1U;
    portal.tellChange();
    ASSERT_TRUE(becomesTrue([&] { return appearance.wishes().scheme == Scheme::dark; }));
    EXPECT_EQ(changes, 2);
    portal.accent = {0.0, 1.0, 0.0};
    portal.tellChange();
    ASSERT_TRUE(becomesTrue([&] { return appearance.wishes().accent.has_value(); }));
    EXPECT_EQ(changes, 3);

    const int asked = portal.questions();
    portal.tellChange(); // of a setting that it does not look at
    ASSERT_TRUE(becomesTrue([&] { return portal.questions() > asked; }));
    portal.scheme = 2U;
    portal.tellChange();
    ASSERT_TRUE(becomesTrue([&] { return appearance.wishes().scheme == Scheme::light; }));
    EXPECT_EQ(changes, 4) << "what is the same as before is no change";
}

TEST_F(AppearanceOnABus, knowsNothingWhereNoPortalIsAndHearsOfOneThatComes) {
    Appearance appearance(bus->connect("program"));
    FakePortal elsewhere(bus->connect("other"), "org.example.Nothing");
    FakePortal portal(bus->connect("portal"));
    portal.scheme = 1U;
    portal.tellChange();
    EXPECT_TRUE(becomesTrue([&] { return appearance.wishes().scheme == Scheme::dark; }));
}

TEST_F(AppearanceOnABus, doesNotWaitForAPortalThatNeverAnswers) {
    FakePortal portal(bus->connect("portal"));
    portal.isSilent = true;
    portal.scheme = 1U;
    const auto begin = std::chrono::steady_clock::now();
    {
        const Appearance appearance(bus->connect("program"));
        ASSERT_TRUE(becomesTrue([&] { return portal.questions() == 1; }));
        EXPECT_EQ(appearance.wishes(), AppearanceWishes());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20)) << "a call's own patience is 25";
}

TEST_F(AppearanceOnABus, knowsNothingWithoutABus) {
    const Appearance appearance(std::nullopt);
    QCoreApplication::processEvents();
    EXPECT_EQ(appearance.wishes(), AppearanceWishes());
}

struct OddAnswer {
    const char* name;
    QVariant scheme;
    std::vector<double> accent;
    Scheme expectedScheme;
    bool hasAccent;
};

class OddAnswers : public AppearanceOnABus, public ::testing::WithParamInterface<OddAnswer> {};

TEST_P(OddAnswers, areTakenForWhatTheySay) {
    FakePortal portal(bus->connect("portal"));
    portal.scheme = GetParam().scheme;
    portal.accent = GetParam().accent;
    // The last answer is a plain one, so that there is something to wait for in every row.
    const Appearance appearance(bus->connect("program"));
    ASSERT_TRUE(becomesTrue([&] { return portal.questions() == 1; }));
    const auto settled = [&] {
        return appearance.wishes().scheme == GetParam().expectedScheme &&
               appearance.wishes().accent.has_value() == GetParam().hasAccent;
    };
    EXPECT_TRUE(becomesTrue(settled));
    portal.scheme = 1U;
    portal.accent = {0.25, 0.25, 0.25};
    portal.tellChange();
    EXPECT_TRUE(becomesTrue([&] {
        return appearance.wishes() ==
               AppearanceWishes{.scheme = Scheme::dark, .accent = QColor::fromRgbF(0.25F, 0.25F, 0.25F)};
    })) << "and do no harm to what comes after";
}

INSTANTIATE_TEST_SUITE_P(
    Table, OddAnswers,
    ::testing::Values(
        OddAnswer{"noPreference", 0U, {}, Scheme::unsaid, false},
        OddAnswer{"aSchemeOfTheFuture", 7U, {0, 0, 0}, Scheme::unsaid, true},
        OddAnswer{"aSchemeInWords", QStringLiteral("dark"), {1, 1, 1}, Scheme::unsaid, true},
        OddAnswer{"noScheme", QVariant(), {0, 1, 0}, Scheme::unsaid, true},
        OddAnswer{"anAccentThatIsUnset", 2U, {-1, -1, -1}, Scheme::light, false},
        OddAnswer{"anAccentBeyondOne", 2U, {0, 1.01, 0}, Scheme::light, false},
        OddAnswer{"anAccentThatIsNoNumber", 2U, {0, 0, std::numeric_limits<double>::quiet_NaN()}, Scheme::light, false},
        OddAnswer{"anAccentOfTwoNumbers", 2U, {0.5, 0.5}, Scheme::light, false}),
    [](const auto& each) { return std::string(each.param.name); });

} // namespace
} // namespace quillet
