// PanelScrollArea.h: lets a column of rows scroll where it is higher than its window.
#pragma once

#include <QScrollArea>

namespace quillet {

/// Up and down only. The scroll bar is a slim one that lies over the column's right margin, so the rows keep their
/// width whether it is there or not.
///
/// Threads: main.
class PanelScrollArea : public QScrollArea {
public:
    explicit PanelScrollArea(QWidget* parent);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QScrollBar* bar;
};

} // namespace quillet
