// CaptionLabel.h: small grey text.
#pragma once

#include <QLabel>

namespace quillet {

/// Breaks onto as many lines as it needs, also within a word that is wider than the label; its height follows.
///
/// Threads: main.
class CaptionLabel : public QLabel {
public:
    CaptionLabel(const QString& text, int pixels, QWidget* parent);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace quillet
