#include "tests/ui/support/Panel.h"

#include <QAccessible>
#include <QApplication>
#include <QTest>

#include <utility>

namespace quillet {

namespace {

std::string text(bool isOn) { return isOn ? "on" : "off"; }

} // namespace

Panel::Panel(const ControlState& first) : state(first) {
    view.onSelectRange = [this](RangeMode mode) {
        hear("range " + std::string(rawValue(mode)), [=, this] { state.rangeMode = mode; });
    };
    view.onSetCameraEnabled = [this](bool on) { hear("camera " + text(on), [=, this] { state.cameraEnabled = on; }); };
    view.onSetMicEnabled = [this](bool on) { hear("mic " + text(on), [=, this] { state.micEnabled = on; }); };
    view.onSetTeleprompterEnabled = [this](bool on) {
        hear("teleprompter " + text(on), [=, this] { state.teleprompterEnabled = on; });
    };
    view.onSetQuality = [this](ExportQuality quality) {
        hear("quality " + std::string(rawValue(quality)), [=, this] { state.quality = quality; });
    };
    view.onSetBeautifyEnabled = [this](bool on) {
        hear("beautify " + text(on), [=, this] { state.beautifyEnabled = on; });
    };
    view.onSetBackgroundIndex = [this](std::int64_t index) {
        hear("background " + std::to_string(index), [=, this] { state.backgroundIndex = index; });
    };
    view.onSetCornerRadius = [this](double fraction) {
        hear("corner " + QString::number(fraction).toStdString(), [=, this] { state.cornerRadius = fraction; });
    };
    view.onSetPadding = [this](double fraction) {
        hear("padding " + QString::number(fraction).toStdString(), [=, this] { state.padding = fraction; });
    };
    view.onSetShadowEnabled = [this](bool on) { hear("shadow " + text(on), [=, this] { state.shadowEnabled = on; }); };
    view.onRandomBackground = [this] {
        hear("random", [this] { state.backgroundIndex = (state.backgroundIndex + 1) % 9; });
    };
    view.onToggleRecording = [this] { hear("record", [this] { state.isRecording = !state.isRecording; }); };
    view.show(state);
    view.resize(360, 440);
    view.show();
    QApplication::setActiveWindow(&view);
    QApplication::processEvents();
}

void Panel::hear(const std::string& text, const std::function<void()>& apply) {
    heard.push_back(text);
    if (!obeys) return;
    apply();
    view.show(state);
}

void Panel::click(const char* name) {
    QTest::mouseClick(&named<QWidget>(name), Qt::LeftButton);
    QApplication::processEvents();
}

void Panel::press(const char* name, Qt::Key key) {
    QWidget& control = named<QWidget>(name);
    control.setFocus(Qt::TabFocusReason);
    QTest::keyClick(&control, key);
    QApplication::processEvents();
}

void Panel::show(const ControlState& next) {
    state = next;
    view.show(state);
    QApplication::processEvents();
}

std::vector<std::string> Panel::takeHeard() { return std::exchange(heard, {}); }

QString Panel::accessibleName(QWidget& widget) {
    const QAccessibleInterface* const face = QAccessible::queryAccessibleInterface(&widget);
    if (!face) return {};
    if (face->role() == QAccessible::ComboBox)
        for (const auto& [other, relation] : face->relations(QAccessible::Label))
            return other->text(QAccessible::Name);
    return face->text(QAccessible::Name);
}

} // namespace quillet
