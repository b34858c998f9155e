// SymbolButton.h: a button whose sign is drawn, not written.
#pragma once

#include "ui/PanelButton.h"

namespace quillet {

/// Its title begins with a sign that few fonts have, or have as a coloured picture: it is drawn here, and the words
/// after it are written.
///
/// Threads: main.
class SymbolButton : public PanelButton {
public:
    enum class Symbol { play, pause, toTop };

    SymbolButton(Symbol first, QWidget* parent);

    void showSymbol(Symbol next);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    /// White instead of grey, which would not be seen on a pane that shows something bright through.
    [[nodiscard]] QColor background() const override;
    void paintEvent(QPaintEvent* event) override;

private:
    Symbol symbol;
};

} // namespace quillet
