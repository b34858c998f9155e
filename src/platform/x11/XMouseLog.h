// XMouseLog.h: the mouse's places in the events that the toolkit gets from the X server.
#pragma once

#include "platform/MouseLog.h"

#include <QAbstractNativeEventFilter>

#include <array>
#include <cstddef>

namespace quillet {

/// Threads: main.
class XMouseLog : public MouseLog, public QAbstractNativeEventFilter {
public:
    XMouseLog();

    [[nodiscard]] std::optional<QPoint> pixelAt(Event event, std::uint64_t timestamp) const override;
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    struct Entry {
        Event event = Event::motion;
        std::uint32_t time = 0;
        QPoint pixel;
    };

    void note(const Entry& entry);

    // The toolkit handles the events of one look at its connection before it looks again, motions joined to one.
    std::array<Entry, 64> entries;
    std::size_t next = 0;
    std::size_t count = 0;
};

} // namespace quillet
