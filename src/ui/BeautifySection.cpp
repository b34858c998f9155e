#include "ui/BeautifySection.h"

#include "ui/CaptionLabel.h"
#include "ui/ContinuousSlider.h"
#include "ui/DiceButton.h"
#include "ui/PreviewPicture.h"
#include "ui/SwatchGrid.h"
#include "ui/Switch.h"
#include "ui/look.h"

#include <QHBoxLayout>
#include <QVBoxLayout>

namespace quillet {

namespace {

constexpr int rowSpacing = 10;
constexpr int sliderSpacing = 8;
constexpr int sliderLabelWidth = 34;
constexpr double mostCornerRadius = 0.2;
constexpr double mostPadding = 0.14;

QHBoxLayout* sliderRow(const QString& label, ContinuousSlider* slider, QWidget* parent) {
    auto* const caption = new CaptionLabel(label, look::captionPixels, parent);
    caption->setFixedWidth(sliderLabelWidth);
    slider->setAccessibleName(label);
    caption->setBuddy(slider);
    auto* const row = new QHBoxLayout;
    row->setSpacing(sliderSpacing);
    row->addWidget(caption, 0, Qt::AlignVCenter);
    row->addWidget(slider, 1, Qt::AlignVCenter);
    return row;
}

} // namespace

BeautifySection::BeautifySection(QWidget* parent)
    : QWidget(parent), enabledSwitch(new Switch(QStringLiteral("美化背景"), this)), rows(makeRows()) {
    auto* const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(rowSpacing);
    column->addWidget(enabledSwitch, 0, Qt::AlignLeft);
    column->addWidget(rows);
    rows->hide();
    connectActions();
}

QWidget* BeautifySection::makeRows() {
    auto* const holder = new QWidget(this);
    // In this order, which is the order of the Tab key.
    preview = new PreviewPicture(holder);
    swatches = new SwatchGrid(holder);
    randomButton = new DiceButton(holder);
    cornerSlider = new ContinuousSlider({0, mostCornerRadius}, holder);
    paddingSlider = new ContinuousSlider({0, mostPadding}, holder);
    shadowSwitch = new Switch(QStringLiteral("投影"), holder);

    auto* const column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(rowSpacing);
    column->addWidget(preview);
    column->addWidget(swatches);
    column->addWidget(randomButton, 0, Qt::AlignLeft);
    column->addLayout(sliderRow(QStringLiteral("圆角"), cornerSlider, holder));
    column->addLayout(sliderRow(QStringLiteral("留白"), paddingSlider, holder));
    column->addWidget(shadowSwitch, 0, Qt::AlignLeft);
    return holder;
}

void BeautifySection::connectActions() {
    const auto report = [](const auto& callback, auto... values) {
        if (callback) callback(values...);
    };
    enabledSwitch->onTurn = [=, this](bool isOn) { report(onSetEnabled, isOn); };
    swatches->onSelect = [=, this](std::int64_t index) { report(onSetBackgroundIndex, index); };
    cornerSlider->onMove = [=, this](double fraction) { report(onSetCornerRadius, fraction); };
    paddingSlider->onMove = [=, this](double fraction) { report(onSetPadding, fraction); };
    shadowSwitch->onTurn = [=, this](bool isOn) { report(onSetShadowEnabled, isOn); };
    connect(randomButton, &QPushButton::clicked, this, [=, this] { report(onRandomBackground); });
}

void BeautifySection::showState(const ControlState& state) {
    enabledSwitch->showOn(state.beautifyEnabled);
    preview->showLook({.backgroundIndex = state.backgroundIndex,
                       .cornerRadius = state.cornerRadius,
                       .padding = state.padding,
                       .shadowEnabled = state.shadowEnabled});
    swatches->showIndex(state.backgroundIndex);
    cornerSlider->showNumber(state.cornerRadius);
    paddingSlider->showNumber(state.padding);
    shadowSwitch->showOn(state.shadowEnabled);
    rows->setVisible(state.beautifyEnabled);

    const bool usable = !state.isRecording;
    enabledSwitch->setEnabled(usable);
    swatches->setEnabled(usable);
    randomButton->setEnabled(usable);
    cornerSlider->setEnabled(usable);
    paddingSlider->setEnabled(usable);
    shadowSwitch->setEnabled(usable);
}

} // namespace quillet
