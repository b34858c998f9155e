// AdaptiveGrid.h: a layout of equal columns, as many as fit.
#pragma once

#include <QLayout>

#include <memory>
#include <vector>

namespace quillet {

/// Fills rows from the left. The columns share the width equally and never are narrower than asked for, unless one
/// alone is; a row is as high as its highest item.
///
/// Threads: main.
class AdaptiveGrid : public QLayout {
public:
    struct Options {
        int minimumWidth; ///< of a column
        int spacing;      ///< between columns and between rows
    };

    AdaptiveGrid(QWidget* parent, const Options& wanted);

    void addItem(QLayoutItem* item) override;
    [[nodiscard]] int count() const override;
    [[nodiscard]] QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSize() const override;
    [[nodiscard]] Qt::Orientations expandingDirections() const override { return Qt::Horizontal; }
    void setGeometry(const QRect& rect) override;

private:
    [[nodiscard]] int columnsIn(int width) const;
    [[nodiscard]] int rowHeight() const;

    Options options;
    std::vector<std::unique_ptr<QLayoutItem>> items;
};

} // namespace quillet
