// ControlView.h: the content of the control window.
#pragma once

#include <QLabel>
#include <QPushButton>
#include <QString>
#include <QWidget>

#include <functional>

namespace quillet {

/// The record button and the status line. Stateless: shows what it is told and reports presses.
///
/// Threads: main.
class ControlView : public QWidget {
public:
    explicit ControlView(QWidget* parent = nullptr);

    /// The record button was pressed.
    std::function<void()> onToggleRecording;

    void showRecording(bool isRecording);
    void showStatus(const QString& text);

private:
    QPushButton* recordButton;
    QLabel* statusLine;
};

} // namespace quillet
