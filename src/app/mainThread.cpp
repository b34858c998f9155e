#include "app/mainThread.h"

#include <QCoreApplication>
#include <QMetaObject>

#include <utility>

namespace quillet {

MainQueue qtMainQueue() {
    return [](std::function<void()> task) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(task), Qt::QueuedConnection);
    };
}

} // namespace quillet
