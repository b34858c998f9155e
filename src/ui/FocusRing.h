// FocusRing.h: shows which control the keyboard works on.
#pragma once

#include "ui/FocusShape.h"

#include <QWidget>

namespace quillet {

/// A ring of the accent colour, just outside the focused control's outline. It appears when the focus was moved by a
/// key, and goes when it was moved by the pointer.
///
/// Threads: main.
class FocusRing : public QWidget {
public:
    /// Lies over all of `parent`'s other children.
    explicit FocusRing(QWidget* parent);

    /// Follows the focus among the FocusShaped below the parent. Controls that are made later are not seen.
    void watchControls();

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void focusCame(QWidget* control, Qt::FocusReason reason);
    void place();

    QWidget* target = nullptr; // has the focus; among the parent's children, so it cannot outlive this unseen
    bool byKey = false;
};

} // namespace quillet
