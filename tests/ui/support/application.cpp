// One application for all tests of this program, on the toolkit's own display in memory.
#include <QApplication>
#include <gtest/gtest.h>

#include <memory>

namespace {

class WithApplication : public testing::Environment {
public:
    void SetUp() override {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        application = std::make_unique<QApplication>(count, arguments);
    }
    void TearDown() override { application.reset(); }

private:
    int count = 1;
    char name[8] = "test_ui";
    char* arguments[2] = {name, nullptr};
    std::unique_ptr<QApplication> application;
};

[[maybe_unused]] const auto* const environment = testing::AddGlobalTestEnvironment(new WithApplication);

} // namespace
