// RecordButton.h: the panel's one big button.
#pragma once

#include "ui/PanelButton.h"

namespace quillet {

/// Starts on the accent colour, stops on red. Threads: main.
class RecordButton : public PanelButton {
public:
    explicit RecordButton(QWidget* parent);

    void showRecording(bool isRecording);

protected:
    [[nodiscard]] QColor background() const override;
    [[nodiscard]] QColor foreground() const override { return Qt::white; }

private:
    bool recording = false;
};

} // namespace quillet
