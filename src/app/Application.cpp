#include "app/Application.h"

#include <QEvent>

namespace quillet {

bool Application::event(QEvent* event) {
    if (event->type() != QEvent::Quit || !onQuit) return QApplication::event(event);
    onQuit();
    event->accept();
    return true;
}

} // namespace quillet
