// Divider.h: a thin line between sections.
#pragma once

#include <QWidget>

namespace quillet {

/// One device pixel at scale factors below 2, sharp at all. Threads: main.
class Divider : public QWidget {
public:
    explicit Divider(QWidget* parent);

protected:
    void paintEvent(QPaintEvent* event) override;
};

} // namespace quillet
