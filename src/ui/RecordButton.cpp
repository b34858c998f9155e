#include "ui/RecordButton.h"

namespace quillet {

namespace {

QString label(bool isRecording) { return isRecording ? QStringLiteral("■  停止录制") : QStringLiteral("●  开始录制"); }

} // namespace

RecordButton::RecordButton(QWidget* parent)
    : PanelButton(label(false), look::font(look::recordPixels, QFont::Bold),
                  {.radius = 10, .paddingAbove = 12, .paddingBeside = 12}, parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void RecordButton::showRecording(bool isRecording) {
    if (recording == isRecording) return;
    recording = isRecording;
    setText(label(recording));
}

QColor RecordButton::background() const {
    return look::touched(recording ? look::recordingRed : look::accent(palette()), touch());
}

} // namespace quillet
