#include "ui/ControlView.h"

#include <QFont>
#include <QVBoxLayout>

namespace quillet {

namespace {

constexpr int margin = 20;
constexpr int rowSpacing = 16;

QString recordLabel(bool isRecording) {
    return isRecording ? QStringLiteral("■  停止录制") : QStringLiteral("●  开始录制");
}

/// White on the accent colour, on red while recording; a ring shows the keyboard's focus.
QString recordStyle(bool isRecording) {
    const QString colour = isRecording ? QStringLiteral("rgb(255,59,48)") : QStringLiteral("palette(highlight)");
    return QStringLiteral(
               "QPushButton { background: %1; color: white; border: 2px solid transparent; border-radius: 10px;"
               " padding: 10px; font-size: 16px; font-weight: bold; }"
               "QPushButton:focus { border-color: palette(window-text); }"
               "QPushButton:pressed { padding-top: 11px; padding-bottom: 9px; }")
        .arg(colour);
}

} // namespace

ControlView::ControlView(QWidget* parent)
    : QWidget(parent), recordButton(new QPushButton(this)), statusLine(new QLabel(this)) {
    auto* const title = new QLabel(QStringLiteral("Quillet"), this);
    QFont titleFont = title->font();
    titleFont.setPixelSize(20);
    titleFont.setBold(true);
    title->setFont(titleFont);

    statusLine->setWordWrap(true);
    statusLine->setTextFormat(Qt::PlainText);
    statusLine->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    statusLine->setForegroundRole(QPalette::PlaceholderText);

    auto* const rows = new QVBoxLayout(this);
    rows->setContentsMargins(margin, margin, margin, margin);
    rows->setSpacing(rowSpacing);
    rows->addWidget(title);
    rows->addWidget(recordButton);
    rows->addWidget(statusLine);
    rows->addStretch();

    recordButton->setDefault(true);
    recordButton->setFocus();
    connect(recordButton, &QPushButton::clicked, this, [this] {
        if (onToggleRecording) onToggleRecording();
    });
    show(ControlState{});
}

void ControlView::show(const ControlState& state) {
    recordButton->setText(recordLabel(state.isRecording));
    recordButton->setAccessibleName(recordButton->text());
    recordButton->setStyleSheet(recordStyle(state.isRecording));
    statusLine->setText(QString::fromStdString(state.statusText));
}

} // namespace quillet
