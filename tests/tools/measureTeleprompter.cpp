// measure_teleprompter: how long the teleprompter takes with a pasted script of 50,000 characters, on the present
// desktop.
//
// For scripts of one paragraph, of long and of short ones: milliseconds until a paste, a typed letter, a step of the
// size slider and of the resize grip are on the screen; and for each step of the playing script the processor time,
// which other programs' load hardly changes, and the longest time from one to the next.
//
//   tests/desktop/desktop --compositor picom -- build/release/measure_teleprompter
#include "platform/Screens.h"
#include "tools/TeleprompterView.h"
#include "tools/TeleprompterWindow.h"

#include <QApplication>
#include <QEventLoop>
#include <QKeyEvent>
#include <QMimeData>
#include <QScrollBar>
#include <QTextEdit>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {

using namespace quillet;
using Clock = std::chrono::steady_clock;

constexpr int length = 50'000;

class Editor : public QTextEdit {
public:
    using QTextEdit::insertFromMimeData;
};

double milliseconds(Clock::duration duration) { return std::chrono::duration<double, std::milli>(duration).count(); }

double processorMilliseconds() {
    timespec time{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
}

/// Until the action's result has been drawn.
template <typename Action>
double timeOf(Action action) {
    const Clock::time_point start = Clock::now();
    action();
    QApplication::processEvents();
    return milliseconds(Clock::now() - start);
}

/// `length` characters in paragraphs of this many.
QString script(int paragraph) {
    const QString sentence = QStringLiteral("今天我们来看看怎样录制屏幕，把讲稿放在镜头旁边，一边看一边讲。");
    QString text;
    while (text.size() < length)
        text += sentence;
    text.truncate(length);
    for (int place = paragraph; place < text.size(); place += paragraph + 1)
        text.replace(place, 1, QLatin1Char('\n'));
    return text;
}

void measure(const char* name, int paragraph, const Screen& screen) {
    TeleprompterController prompter;
    prompter.showOn(screen);
    QApplication::processEvents();
    auto& text = *prompter.view().findChild<QTextEdit*>();
    QMimeData clipboard;
    clipboard.setText(script(paragraph));
    text.selectAll();
    const double paste = timeOf([&] { (text.*&Editor::insertFromMimeData)(&clipboard); });
    const double letter = timeOf([&] {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QApplication::sendEvent(&text, &key);
    });
    const double size = timeOf([&] { prompter.view().setFontSize(36); });
    const double grip = timeOf([&] {
        const Rect frame = prompter.window().frame();
        prompter.window().setFrame({frame.x, frame.y - 20, frame.width + 40, frame.height + 20});
        while (text.width() == static_cast<int>(frame.width) - 20)
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    });
    QApplication::processEvents();

    prompter.view().scrollToTop();
    prompter.view().setSpeed(120);
    std::vector<Clock::time_point> moves;
    QObject::connect(text.verticalScrollBar(), &QScrollBar::valueChanged, &text,
                     [&] { moves.push_back(Clock::now()); });
    const double start = timeOf([&] {
        prompter.view().togglePlay();
        while (moves.empty())
            QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    });
    const double before = processorMilliseconds();
    const std::size_t first = moves.size();
    while (moves.size() < first + 180)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const double used = (processorMilliseconds() - before) / 180;
    double most = 0;
    for (std::size_t i = 1; i < moves.size(); ++i)
        most = std::max(most, milliseconds(moves[i] - moves[i - 1]));
    std::printf("%-18s paste %7.1f  letter %6.1f  size %7.1f  grip %7.1f  play %6.1f; "
                "a step takes %4.2f, longest %5.1f ms (of 16.7)\n",
                name, paste, letter, size, grip, start, used, most);
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    const ScreenList screens = currentScreens().list;
    const Screen* const screen = screens.mainOrFirst();
    if (!screen) return 1;
    measure("one paragraph", length, *screen);
    measure("paragraphs of 500", 500, *screen);
    measure("lines of 20", 20, *screen);
    return 0;
}
