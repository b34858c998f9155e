// Application.h: the toolkit's application, which does not leave before a film is complete.
#pragma once

#include <QApplication>

#include <functional>

namespace quillet {

/// Whoever wants the program to go (a session manager's last word, say) has the toolkit send it an event of this kind.
/// The toolkit's own answer would be to close all windows and to leave at once.
///
/// Threads: main.
class Application : public QApplication {
public:
    using QApplication::QApplication;

    /// Does what leads to exit(), in its own time. Until it is set, the toolkit's own answer stands.
    std::function<void()> onQuit;

protected:
    bool event(QEvent* event) override;
};

} // namespace quillet
