#include "tools/TeleprompterView.h"

#include "tools/SymbolButton.h"
#include "tools/TeleprompterLayout.h"
#include "ui/ContinuousSlider.h"
#include "ui/FocusRing.h"
#include "ui/look.h"

#include <QScrollBar>
#include <QTextDocument>

#include <cmath>

namespace quillet {

namespace {

constexpr int textInset = 8;
constexpr std::chrono::nanoseconds tickLength{1'000'000'000 / static_cast<int>(TeleprompterScroll::ticksPerSecond)};

QString firstText() { return QStringLiteral("在这里粘贴你的脚本…\n\n点 ▶ 开始滚动，用下面的滑杆调字号和速度。"); }

} // namespace

TeleprompterView::TeleprompterView(QWidget* parent)
    : QWidget(parent), textView(new QTextEdit(this)), playButton(new SymbolButton(SymbolButton::Symbol::play, this)),
      topButton(new SymbolButton(SymbolButton::Symbol::toTop, this)), fontSlider(new ContinuousSlider({14, 64}, this)),
      speedSlider(new ContinuousSlider({10, 260}, this)), timer(tickLength, [this] { tick(); }) {
    textView->setAcceptRichText(false);
    textView->setFrameShape(QFrame::NoFrame);
    textView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    textView->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    textView->setTabChangesFocus(true);
    textView->viewport()->setAutoFillBackground(false);
    textView->document()->setDocumentMargin(textInset);
    QPalette colours = textView->palette();
    colours.setColor(QPalette::Text, Qt::white);
    colours.setColor(QPalette::Base, Qt::transparent);
    textView->setPalette(colours);
    textView->setPlainText(firstText());
    textView->setAccessibleName(QStringLiteral("脚本"));
    setFontSize(points);

    fontSlider->setAccessibleName(QStringLiteral("字号"));
    fontSlider->setToolTip(fontSlider->accessibleName());
    fontSlider->showNumber(points);
    fontSlider->onMove = [this](double size) { setFontSize(size); };
    speedSlider->setAccessibleName(QStringLiteral("速度"));
    speedSlider->setToolTip(speedSlider->accessibleName());
    speedSlider->showNumber(pointsPerSecond);
    speedSlider->onMove = [this](double speed) { setSpeed(speed); };
    connect(playButton, &QPushButton::clicked, this, [this] { togglePlay(); });
    connect(topButton, &QPushButton::clicked, this, [this] { scrollToTop(); });
    showPlaying();

    // A press on a control leaves the keyboard with the text.
    for (QWidget* const control : std::initializer_list<QWidget*>{playButton, topButton, fontSlider, speedSlider})
        control->setFocusPolicy(Qt::TabFocus);
    setTabOrder(playButton, topButton);
    setTabOrder(topButton, fontSlider);
    setTabOrder(fontSlider, speedSlider);
    setTabOrder(speedSlider, textView);
    setFocusProxy(textView);
    (new FocusRing(this))->watchControls();
}

void TeleprompterView::resizeEvent(QResizeEvent*) { layOut(); }

void TeleprompterView::layOut() {
    const TeleprompterLayout places(size());
    playButton->setGeometry(places.playButton);
    topButton->setGeometry(places.topButton);
    fontSlider->setGeometry(places.fontSlider);
    speedSlider->setGeometry(places.speedSlider);
    textView->setGeometry(places.script);
}

void TeleprompterView::togglePlay() {
    scroll.setPlaying(!scroll.isPlaying());
    showPlaying();
}

void TeleprompterView::showPlaying() {
    const bool playing = scroll.isPlaying();
    playButton->showSymbol(playing ? SymbolButton::Symbol::pause : SymbolButton::Symbol::play);
    playButton->setAccessibleDescription(playing ? QStringLiteral("停止滚动") : QStringLiteral("开始滚动"));
    if (playing)
        timer.start();
    else
        timer.stop();
}

void TeleprompterView::scrollToTop() {
    scroll.restart();
    textView->verticalScrollBar()->setValue(0);
}

void TeleprompterView::setFontSize(double size) {
    points = size;
    // Whole pixels: nobody sees the difference, and a long script is not laid out anew for each step of the slider.
    const int pixels = static_cast<int>(std::lround(size));
    if (textView->font().pixelSize() != pixels) textView->setFont(look::font(pixels, QFont::Medium));
    fontSlider->showNumber(size);
}

void TeleprompterView::setSpeed(double speed) {
    pointsPerSecond = speed;
    speedSlider->showNumber(speed);
}

void TeleprompterView::tick() {
    QScrollBar& bar = *textView->verticalScrollBar();
    // A long text is laid out bit by bit; asking for the size lays out the rest, without which this were not its end.
    static_cast<void>(textView->document()->size());
    const auto y = scroll.tick({bar.value() + 0.0, bar.maximum() + 0.0}, pointsPerSecond);
    if (y) bar.setValue(static_cast<int>(*y));
    if (!scroll.isPlaying()) showPlaying();
}

} // namespace quillet
