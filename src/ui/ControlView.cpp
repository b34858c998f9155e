#include "ui/ControlView.h"

#include "ui/BeautifySection.h"
#include "ui/CaptionLabel.h"
#include "ui/Divider.h"
#include "ui/FocusRing.h"
#include "ui/PanelScrollArea.h"
#include "ui/QualityPicker.h"
#include "ui/RangeGrid.h"
#include "ui/RecordButton.h"
#include "ui/Switch.h"
#include "ui/look.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QVBoxLayout>

namespace quillet {

namespace {

constexpr int margin = 20;
constexpr int rowSpacing = 16;
constexpr int headingSpacing = 6;
constexpr int switchSpacing = 16;
constexpr int qualitySpacing = 10;

QLabel* makeTitle(QWidget* parent) {
    auto* const title = new QLabel(QStringLiteral("Quillet"), parent);
    title->setFont(look::font(look::titlePixels, QFont::Bold));
    title->setFixedHeight(look::lineHeight(look::titlePixels));
    return title;
}

template <typename Callback, typename... Values>
void report(const Callback& callback, Values... values) {
    if (callback) callback(values...);
}

} // namespace

ControlView::ControlView(QWidget* parent) : QWidget(parent) {
    auto* const area = new PanelScrollArea(this);
    column = makeColumn();
    area->setWidget(column);
    column->setAutoFillBackground(false); // setWidget() has filled it with the colour of a text field's ground
    area->setMinimumWidth(column->minimumSizeHint().width());
    auto* const whole = new QVBoxLayout(this);
    whole->setContentsMargins(0, 0, 0, 0);
    whole->addWidget(area);

    connectActions();
    show(ControlState{});
    recordButton->setFocus();
}

QWidget* ControlView::makeColumn() {
    auto* const panel = new QWidget(this);
    auto* const rangeHeading = new CaptionLabel(QStringLiteral("录制范围"), look::captionPixels, panel);
    // In this order, which is the order of the Tab key.
    ranges = new RangeGrid(panel);
    cameraSwitch = new Switch(QStringLiteral("摄像头"), panel);
    micSwitch = new Switch(QStringLiteral("麦克风"), panel);
    teleprompterSwitch = new Switch(QStringLiteral("提词器"), panel);
    auto* const qualityLabel = new CaptionLabel(QStringLiteral("导出质量"), look::captionPixels, panel);
    qualityPicker = new QualityPicker(panel);
    qualityLabel->setBuddy(qualityPicker); // which is how screen readers here learn a list's label
    cameraHint =
        new CaptionLabel(QStringLiteral("拖动圆形头像到你想要的位置和大小 —— 所见即所得。"), look::hintPixels, panel);
    beautify = new BeautifySection(panel);
    recordButton = new RecordButton(panel);
    statusLine = new CaptionLabel(QString(), look::captionPixels, panel);

    auto* const rangeSection = new QVBoxLayout;
    rangeSection->setSpacing(headingSpacing);
    rangeSection->addWidget(rangeHeading);
    rangeSection->addWidget(ranges);
    auto* const switches = new QHBoxLayout;
    switches->setSpacing(switchSpacing);
    for (Switch* const each : {cameraSwitch, micSwitch, teleprompterSwitch})
        switches->addWidget(each);
    switches->addStretch();
    auto* const quality = new QHBoxLayout;
    quality->setSpacing(qualitySpacing);
    quality->addWidget(qualityLabel, 0, Qt::AlignVCenter);
    quality->addWidget(qualityPicker);
    quality->addStretch();

    auto* const rows = new QVBoxLayout(panel);
    rows->setContentsMargins(margin, margin, margin, margin);
    rows->setSpacing(rowSpacing);
    rows->addWidget(makeTitle(panel));
    rows->addLayout(rangeSection);
    rows->addWidget(new Divider(panel));
    rows->addLayout(switches);
    rows->addLayout(quality);
    rows->addWidget(cameraHint);
    rows->addWidget(new Divider(panel));
    rows->addWidget(beautify);
    rows->addWidget(new Divider(panel));
    rows->addWidget(recordButton);
    rows->addWidget(statusLine);
    rows->addStretch();

    (new FocusRing(panel))->watchControls();
    return panel;
}

void ControlView::connectActions() {
    ranges->onSelect = [this](RangeMode mode) { report(onSelectRange, mode); };
    cameraSwitch->onTurn = [this](bool isOn) { report(onSetCameraEnabled, isOn); };
    micSwitch->onTurn = [this](bool isOn) { report(onSetMicEnabled, isOn); };
    teleprompterSwitch->onTurn = [this](bool isOn) { report(onSetTeleprompterEnabled, isOn); };
    qualityPicker->onPick = [this](ExportQuality quality) { report(onSetQuality, quality); };
    beautify->onSetEnabled = [this](bool isOn) { report(onSetBeautifyEnabled, isOn); };
    beautify->onSetBackgroundIndex = [this](std::int64_t index) { report(onSetBackgroundIndex, index); };
    beautify->onRandomBackground = [this] { report(onRandomBackground); };
    beautify->onSetCornerRadius = [this](double fraction) { report(onSetCornerRadius, fraction); };
    beautify->onSetPadding = [this](double fraction) { report(onSetPadding, fraction); };
    beautify->onSetShadowEnabled = [this](bool isOn) { report(onSetShadowEnabled, isOn); };
    connect(recordButton, &QPushButton::clicked, this, [this] { report(onToggleRecording); });
}

int ControlView::contentHeight() const {
    QLayout* const rows = column->layout();
    rows->activate();
    return rows->hasHeightForWidth() ? rows->totalHeightForWidth(width()) : rows->totalSizeHint().height();
}

void ControlView::show(const ControlState& state) {
    ranges->showMode(state.rangeMode);
    cameraSwitch->showOn(state.cameraEnabled);
    micSwitch->showOn(state.micEnabled);
    teleprompterSwitch->showOn(state.teleprompterEnabled);
    qualityPicker->showQuality(state.quality);
    cameraHint->setVisible(state.cameraEnabled);
    beautify->showState(state);
    recordButton->showRecording(state.isRecording);
    statusLine->setText(QString::fromStdString(state.statusText));

    const bool usable = !state.isRecording;
    ranges->setEnabled(usable);
    cameraSwitch->setEnabled(usable);
    micSwitch->setEnabled(usable);
    qualityPicker->setEnabled(usable);
}

} // namespace quillet
