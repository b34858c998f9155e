// ControlWindow.h: the program's one ordinary window, which remembers where the user has put it.
#pragma once

#include "app/SettingsStore.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QRect>
#include <QTimer>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

/// Where a window of that frame (the toolkit's coordinates, title bar not counted) is shown. A frame that an earlier
/// session has left where no screen is any more comes back: moved onto the nearest screen, and made smaller where it is
/// larger than that. `screens` are the usable parts of the screens, the main one first; without any nothing changes.
[[nodiscard]] QRect onScreen(const QRect& frame, const std::vector<QRect>& screens);

/// 360 by 440 points in the middle of the main screen, until the user moves or resizes it: then the frame is kept in
/// the settings, under "QuilletControlWindow". Merely starting writes nothing.
///
/// Threads: main.
class ControlWindow : public QMainWindow {
public:
    explicit ControlWindow(std::shared_ptr<SettingsStore> settings);

    /// The user (or the window manager for them) closes the window; it closes.
    std::function<void()> onClose;
    /// It stands on the screen with its content; once.
    std::function<void()> onFirstPainted;

    /// Grows where its content needs more than the user gave it, as far as the screen allows, and goes back to what the
    /// user gave it as soon as that suffices.
    void fitHeight(int needed);
    /// On screen, in front and with the keyboard, also when it was minimised.
    void bringUp();

protected:
    void closeEvent(QCloseEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void frameChanged();
    /// After monitors have come, gone or changed: back to where the user can reach the window.
    void followScreens();

    const std::shared_ptr<SettingsStore> settings;
    bool isPainted = false;
    QElapsedTimer shownSince;
    QRect knownFrame;       ///< as the window manager has placed it, or as stored last; with userHeight
    int userHeight = 0;     ///< without what fitHeight() has added
    int expectedHeight = 0; ///< any other height is the user's wish
    int raisedFrom = 0;     ///< where it stood before fitHeight() moved it up
    std::optional<int> raisedTo;
    QTimer screensSettle;
};

} // namespace quillet
