#include "app/mainThread.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <utility>

namespace quillet {

MainQueue qtMainQueue() {
    return [](std::function<void()> task) {
        // Null: the program is ending, and a thread that had hung on a disk comes back.
        if (QCoreApplication* const application = QCoreApplication::instance())
            QMetaObject::invokeMethod(application, std::move(task), Qt::QueuedConnection);
    };
}

} // namespace quillet
