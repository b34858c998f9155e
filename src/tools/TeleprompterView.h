// TeleprompterView.h: a script that scrolls while it is read, and the controls for it.
#pragma once

#include "tools/TeleprompterScroll.h"
#include "tools/TickTimer.h"

#include <QTextEdit>
#include <QWidget>

namespace quillet {

class ContinuousSlider;
class SymbolButton;

/// Plain white text that can be edited at any time, with buttons to play and to go to the top, and sliders for the size
/// of the letters (14 to 64 points, at first 30) and the speed (10 to 260 points a second, at first 60).
///
/// It fills its parent and draws no background. The clock runs only while the script plays.
///
/// Threads: main.
class TeleprompterView : public QWidget {
public:
    explicit TeleprompterView(QWidget* parent);

    [[nodiscard]] bool isPlaying() const { return scroll.isPlaying(); }
    [[nodiscard]] double speed() const { return pointsPerSecond; }
    [[nodiscard]] double fontSize() const { return points; }

    void togglePlay();
    void scrollToTop();
    void setFontSize(double size);
    void setSpeed(double speed);
    /// What the clock does 60 times a second.
    void tick();

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void showPlaying();
    void layOut();

    QTextEdit* textView;
    SymbolButton* playButton;
    SymbolButton* topButton;
    ContinuousSlider* fontSlider;
    ContinuousSlider* speedSlider;
    TeleprompterScroll scroll;
    double pointsPerSecond = 60;
    double points = 30;
    TickTimer timer; // the last member: nothing ticks while the others are made or gone
};

} // namespace quillet
