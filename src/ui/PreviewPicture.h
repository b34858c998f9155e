// PreviewPicture.h: what the beautify look does, as a picture.
#pragma once

#include <QImage>
#include <QWidget>

#include <cstdint>

namespace quillet {

/// The preview of 320 by 180 points, stretched to the widget's width, with the pixels that the screen has for it; drawn
/// again only where the look or the size has changed, when it is next painted.
///
/// Threads: main.
class PreviewPicture : public QWidget {
public:
    struct Look {
        std::int64_t backgroundIndex = 0; ///< a negative one is shown as 0
        double cornerRadius = 0;
        double padding = 0;
        bool shadowEnabled = false;

        friend bool operator==(const Look&, const Look&) = default;
    };

    explicit PreviewPicture(QWidget* parent);

    void showLook(const Look& look);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Look look;
    QImage picture;        // null: to be drawn
    double pixelRatio = 0; // that the picture was drawn for
};

} // namespace quillet
