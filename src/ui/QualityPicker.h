// QualityPicker.h: the export qualities in a drop-down list.
#pragma once

#include "pipeline/ExportQuality.h"
#include "ui/FocusShape.h"

#include <QComboBox>

#include <functional>

namespace quillet {

/// The qualities in their order, by their labels. The wheel is left to the panel, which scrolls. Threads: main.
class QualityPicker : public QComboBox, public FocusShaped {
public:
    explicit QualityPicker(QWidget* parent);

    /// The user picked one, perhaps the same. What is shown as picked only showQuality() changes.
    std::function<void(ExportQuality)> onPick;

    void showQuality(ExportQuality quality);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }
    [[nodiscard]] FocusShape focusShape() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    ExportQuality shown = ExportQuality::high;
};

} // namespace quillet
