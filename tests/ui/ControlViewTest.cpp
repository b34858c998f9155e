#include "beautify/BackgroundLibrary.h"
#include "tests/ui/support/Panel.h"
#include "ui/palettes.h"

#include <QAccessible>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSlider>
#include <QTest>
#include <QWheelEvent>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>

namespace quillet {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Heard = std::vector<std::string>;

ControlState everythingOn() {
    ControlState state;
    state.cameraEnabled = true;
    state.teleprompterEnabled = true;
    state.beautifyEnabled = true;
    state.statusText = "选择范围，开摄像头摆头像，然后开始。";
    return state;
}

QRect placeOf(const Panel& panel, const QWidget& widget) {
    const QWidget* const column = panel.view.findChild<QScrollArea*>()->widget();
    return {widget.mapTo(column, QPoint()), widget.size()};
}

/// Every text that stands on the panel, from top to bottom and from left to right.
std::vector<std::string> textsOn(Panel& panel) {
    std::map<std::pair<int, int>, std::string> texts;
    const auto add = [&](const QWidget& widget, const QString& text) {
        if (!widget.isVisibleTo(&panel.view) || text.isEmpty()) return;
        const QRect place = placeOf(panel, widget);
        // What is centred on the same row reads from left to right, however high it is.
        texts[{place.center().y() / 8, place.x()}] = text.toStdString();
    };
    for (const QLabel* label : panel.view.findChildren<QLabel*>())
        add(*label, label->text());
    for (const QAbstractButton* button : panel.view.findChildren<QAbstractButton*>())
        add(*button, button->text());
    for (const QComboBox* picker : panel.view.findChildren<QComboBox*>())
        add(*picker, picker->currentText());
    std::vector<std::string> inOrder;
    inOrder.reserve(texts.size());
    for (const auto& [place, text] : texts)
        inOrder.push_back(text);
    return inOrder;
}

TEST(ControlView, showsEveryTextOnceFromTopToBottom) {
    Panel panel(everythingOn());
    EXPECT_THAT(textsOn(panel),
                ElementsAre("Quillet", "录制范围", "16:9 横", "9:16 竖", "4:3 横", "3:4 竖", "自由框选", "全屏",
                            "摄像头", "麦克风", "提词器", "导出质量", "高",
                            "拖动圆形头像到你想要的位置和大小 —— 所见即所得。", "美化背景", "🎲 随机换一张", "圆角",
                            "留白", "投影", "●  开始录制", "选择范围，开摄像头摆头像，然后开始。"));
}

TEST(ControlView, showsOnlyOneRowOfTheBeautifyLookWhileItIsOff) {
    Panel panel;
    EXPECT_THAT(textsOn(panel),
                ElementsAre("Quillet", "录制范围", "16:9 横", "9:16 竖", "4:3 横", "3:4 竖", "自由框选", "全屏",
                            "摄像头", "麦克风", "提词器", "导出质量", "高", "美化背景", "●  开始录制"));
    panel.click("美化背景");
    EXPECT_EQ(textsOn(panel).size(), 19U);
    EXPECT_TRUE(panel.named<QWidget>("美化效果预览").isVisibleTo(&panel.view));
    for (int i = 1; i <= 9; ++i)
        EXPECT_TRUE(panel.named<QPushButton>(("背景 " + std::to_string(i)).c_str()).isVisibleTo(&panel.view));
}

TEST(ControlView, offersTheQualitiesInTheirOrder) {
    Panel panel;
    const auto& picker = panel.named<QComboBox>("导出质量");
    std::vector<std::string> offered;
    offered.reserve(4);
    for (int i = 0; i < picker.count(); ++i)
        offered.push_back(picker.itemText(i).toStdString());
    EXPECT_THAT(offered, ElementsAre("低", "中", "高", "最高"));
    EXPECT_EQ(picker.width(), 160);
}

TEST(ControlView, callsEachControlByItsLabel) {
    Panel panel(everythingOn());
    const auto role = [&](const char* name) {
        return QAccessible::queryAccessibleInterface(&panel.named<QWidget>(name))->role();
    };
    for (const char* name : {"摄像头", "麦克风", "提词器", "美化背景", "投影"})
        EXPECT_EQ(role(name), QAccessible::CheckBox) << name;
    for (const char* name : {"圆角", "留白"}) {
        // The label beside it has the same text; the control itself must carry the name, too.
        EXPECT_EQ(QAccessible::queryAccessibleInterface(&panel.named<QSlider>(name))->role(), QAccessible::Slider)
            << name;
    }
    // On this system a drop-down list's name is what is picked in it; its label is told as what labels it.
    const QAccessibleInterface* const picker =
        QAccessible::queryAccessibleInterface(&panel.named<QComboBox>("导出质量"));
    EXPECT_EQ(picker->role(), QAccessible::ComboBox);
    EXPECT_EQ(picker->text(QAccessible::Name), QStringLiteral("高"));
    for (const char* name : {"🎲 随机换一张", "●  开始录制"})
        EXPECT_EQ(QAccessible::queryAccessibleInterface(&panel.named<QPushButton>(name))->role(), QAccessible::Button)
            << name;
    // Buttons of which one is chosen: told as what can be checked.
    for (const char* name : {"16:9 横", "全屏", "背景 1", "背景 9"})
        EXPECT_EQ(QAccessible::queryAccessibleInterface(&panel.named<QPushButton>(name))->role(),
                  QAccessible::CheckBox);
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(&panel.named<QPushButton>("16:9 横"))->state().checked);
    EXPECT_FALSE(QAccessible::queryAccessibleInterface(&panel.named<QPushButton>("全屏"))->state().checked);
}

struct Action {
    const char* name;
    const char* control;
    const char* heard;
};

class EveryClick : public testing::TestWithParam<Action> {};

TEST_P(EveryClick, isReportedOnce) {
    Panel panel(everythingOn());
    panel.click(GetParam().control);
    EXPECT_THAT(panel.takeHeard(), ElementsAre(GetParam().heard));
}

INSTANTIATE_TEST_SUITE_P(
    Table, EveryClick,
    testing::Values(Action{"portrait", "9:16 竖", "range 9:16 竖"}, Action{"chosenAlready", "16:9 横", "range 16:9 横"},
                    Action{"freely", "自由框选", "range 自由框选"}, Action{"camera", "摄像头", "camera off"},
                    Action{"microphone", "麦克风", "mic off"}, Action{"teleprompter", "提词器", "teleprompter off"},
                    Action{"beautify", "美化背景", "beautify off"}, Action{"swatch", "背景 5", "background 4"},
                    Action{"chosenSwatch", "背景 1", "background 0"}, Action{"random", "🎲 随机换一张", "random"},
                    Action{"shadow", "投影", "shadow off"}, Action{"record", "●  开始录制", "record"}),
    [](const auto& parameter) { return parameter.param.name; });

class EveryKey : public testing::TestWithParam<std::tuple<Qt::Key, Action>> {};

TEST_P(EveryKey, worksAsAClickDoes) {
    const auto& [key, action] = GetParam();
    Panel panel(everythingOn());
    panel.press(action.control, key);
    EXPECT_THAT(panel.takeHeard(), ElementsAre(action.heard));
}

INSTANTIATE_TEST_SUITE_P(Table, EveryKey,
                         testing::Combine(testing::Values(Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter),
                                          testing::Values(Action{"range", "全屏", "range 全屏"},
                                                          Action{"camera", "摄像头", "camera off"},
                                                          Action{"swatch", "背景 9", "background 8"},
                                                          Action{"random", "🎲 随机换一张", "random"},
                                                          Action{"record", "●  开始录制", "record"})),
                         [](const auto& parameter) {
                             const auto key = std::get<0>(parameter.param);
                             return std::string(std::get<1>(parameter.param).name) +
                                    (key == Qt::Key_Space ? "BySpace"
                                                          : (key == Qt::Key_Return ? "ByReturn" : "ByEnter"));
                         });

TEST(ControlView, reportsAPickedQualityOnce) {
    Panel panel;
    auto& picker = panel.named<QComboBox>("导出质量");
    picker.setFocus();
    QTest::keyClick(&picker, Qt::Key_Down);
    EXPECT_THAT(panel.takeHeard(), ElementsAre("quality 最高"));
    QTest::keyClick(&picker, Qt::Key_Home);
    EXPECT_THAT(panel.takeHeard(), ElementsAre("quality 低"));
    EXPECT_EQ(picker.currentText(), QStringLiteral("低"));
}

TEST(ControlView, neverReportsWhatItIsTold) {
    Panel panel(everythingOn());
    ControlState other = everythingOn();
    other.rangeMode = RangeMode::free;
    other.cameraEnabled = other.micEnabled = other.teleprompterEnabled = other.shadowEnabled = false;
    other.quality = ExportQuality::low;
    other.backgroundIndex = 7;
    other.cornerRadius = 0.2;
    other.padding = 0;
    panel.show(other);
    other.beautifyEnabled = false;
    other.isRecording = true;
    panel.show(other);
    panel.show({});
    EXPECT_THAT(panel.heard, IsEmpty());
}

TEST(ControlView, goesBackToWhatItWasToldWhenAnActionChangesNothing) {
    Panel panel(everythingOn());
    panel.obeys = false;
    panel.click("摄像头");
    panel.click("全屏");
    panel.click("背景 3");
    QTest::keyClick(&panel.named<QComboBox>("导出质量"), Qt::Key_Home);
    auto& corner = panel.named<QSlider>("圆角");
    const int before = corner.value();
    QTest::keyClick(&corner, Qt::Key_End);
    EXPECT_EQ(panel.heard.size(), 5U);
    EXPECT_TRUE(panel.named<QAbstractButton>("摄像头").isChecked());
    EXPECT_TRUE(panel.named<QAbstractButton>("16:9 横").isChecked());
    EXPECT_FALSE(panel.named<QAbstractButton>("全屏").isChecked());
    EXPECT_TRUE(panel.named<QAbstractButton>("背景 1").isChecked());
    EXPECT_FALSE(panel.named<QAbstractButton>("背景 3").isChecked());
    EXPECT_EQ(panel.named<QComboBox>("导出质量").currentText(), QStringLiteral("高"));
    EXPECT_EQ(corner.value(), before);
}

TEST(ControlView, leavesOnlyTheTeleprompterAndTheRecordButtonDuringARecording) {
    ControlState state = everythingOn();
    state.isRecording = true;
    Panel panel(state);
    const std::vector<const char*> disabled{"16:9 横",      "9:16 竖", "4:3 横", "3:4 竖",   "自由框选",
                                            "全屏",         "摄像头",  "麦克风", "美化背景", "投影",
                                            "🎲 随机换一张", "背景 1",  "背景 9"};
    for (const char* name : disabled) {
        EXPECT_FALSE(panel.named<QAbstractButton>(name).isEnabled()) << name;
        panel.click(name);
    }
    EXPECT_FALSE(panel.named<QComboBox>("导出质量").isEnabled());
    for (const char* name : {"圆角", "留白"}) {
        auto& slider = panel.named<QSlider>(name);
        EXPECT_FALSE(slider.isEnabled()) << name;
        EXPECT_TRUE(panel.named<QLabel>(name).isEnabled()) << name;
        QTest::mouseClick(&slider, Qt::LeftButton, {}, {slider.width() - 1, 11});
    }
    EXPECT_TRUE(panel.named<QLabel>("录制范围").isEnabled());
    EXPECT_THAT(panel.takeHeard(), IsEmpty());

    panel.click("提词器");
    panel.click("■  停止录制");
    EXPECT_THAT(panel.takeHeard(), ElementsAre("teleprompter off", "record"));
    for (const char* name : disabled)
        EXPECT_TRUE(panel.named<QAbstractButton>(name).isEnabled()) << name;
    EXPECT_EQ(panel.named<QPushButton>("●  开始录制").text(), QStringLiteral("●  开始录制"));
}

TEST(ControlView, showsTheHintWhileTheCameraIsOnAndMovesByItsHeight) {
    Panel panel;
    const auto lineTop = [&] { return placeOf(panel, panel.named<QWidget>("●  开始录制")).y(); };
    const int without = lineTop();
    panel.click("摄像头");
    auto& hint = panel.named<QLabel>("拖动圆形头像到你想要的位置和大小 —— 所见即所得。");
    EXPECT_TRUE(hint.isVisibleTo(&panel.view));
    EXPECT_EQ(lineTop(), without + hint.height() + 16);
    panel.click("摄像头");
    EXPECT_FALSE(hint.isVisibleTo(&panel.view));
    EXPECT_EQ(lineTop(), without);
}

TEST(ControlView, setsItsRowsSixteenApartWithinMarginsOfTwenty) {
    ControlState state = everythingOn();
    state.beautifyEnabled = false;
    Panel panel(state);
    const auto place = [&](const char* name) { return placeOf(panel, panel.named<QWidget>(name)); };
    const auto below = [](const QRect& rect) { return rect.y() + rect.height(); };
    EXPECT_EQ(place("Quillet").topLeft(), QPoint(20, 20));
    EXPECT_EQ(place("录制范围").y(), below(place("Quillet")) + 16);
    EXPECT_EQ(place("16:9 横").y(), below(place("录制范围")) + 6);
    EXPECT_EQ(place("摄像头").y(), below(place("全屏")) + 16 + 1 + 16);
    EXPECT_EQ(placeOf(panel, panel.named<QLabel>("导出质量")).x(), 20);
    EXPECT_EQ(placeOf(panel, panel.named<QComboBox>("导出质量")).y(), below(place("摄像头")) + 16);
    EXPECT_EQ(place("麦克风").x(), place("摄像头").x() + place("摄像头").width() + 16);
    EXPECT_EQ(place("提词器").x(), place("麦克风").x() + place("麦克风").width() + 16);
    const QRect record = place("●  开始录制");
    EXPECT_EQ(record.y(), below(place("美化背景")) + 16 + 1 + 16);
    EXPECT_EQ(record.x(), 20);
    EXPECT_EQ(record.width(), 320);
    EXPECT_EQ(place("选择范围，开摄像头摆头像，然后开始。").y(), below(record) + 16);
}

struct Columns {
    const char* name;
    int windowWidth;
    int ranges;   ///< columns of at least 92, 8 apart
    int swatches; ///< columns of at least 62, 6 apart
};

class Widths : public testing::TestWithParam<Columns> {};

TEST_P(Widths, haveAsManyColumnsAsFitAndTheirEqualShare) {
    Panel panel(everythingOn());
    panel.view.resize(GetParam().windowWidth, 440);
    QApplication::processEvents();
    const int width = GetParam().windowWidth - 40;
    const auto check = [&](const std::vector<std::string>& names, int columns, int spacing, int height) {
        const double cell = (width - spacing * (columns - 1.0)) / columns;
        const QRect first = placeOf(panel, panel.named<QPushButton>(names[0].c_str()));
        for (std::size_t i = 0; i < names.size(); ++i) {
            const QRect place = placeOf(panel, panel.named<QPushButton>(names[i].c_str()));
            const int column = static_cast<int>(i) % columns;
            const int row = static_cast<int>(i) / columns;
            EXPECT_NEAR(place.x(), 20 + column * (cell + spacing), 0.51) << names[i];
            EXPECT_NEAR(place.width(), cell, 1) << names[i];
            EXPECT_EQ(place.y(), first.y() + row * (height + spacing)) << names[i];
            EXPECT_EQ(place.height(), height) << names[i];
            if (column == columns - 1) {
                EXPECT_EQ(place.x() + place.width(), 20 + width) << names[i];
            }
        }
    };
    std::vector<std::string> ranges;
    ranges.reserve(allRangeModes.size());
    for (const RangeMode mode : allRangeModes)
        ranges.emplace_back(rawValue(mode));
    check(ranges, GetParam().ranges, 8, panel.named<QPushButton>("16:9 横").height());
    std::vector<std::string> swatches;
    for (int i = 1; i <= 9; ++i)
        swatches.push_back("背景 " + std::to_string(i));
    check(swatches, GetParam().swatches, 6, 38);
    const QWidget& preview = panel.named<QWidget>("美化效果预览");
    EXPECT_EQ(preview.width(), width);
    EXPECT_EQ(preview.height(), std::lround(width * 9 / 16.0));
}

INSTANTIATE_TEST_SUITE_P(Table, Widths,
                         testing::Values(Columns{"first", 360, 3, 4}, Columns{"justBelowFour", 431, 3, 5},
                                         Columns{"four", 432, 4, 5}, Columns{"wide", 700, 6, 9}),
                         [](const auto& parameter) { return parameter.param.name; });

TEST(ControlView, scrollsUpAndDownOnlyAndOnlyWhereItMust) {
    Panel panel;
    const auto& area = *panel.view.findChild<QScrollArea*>();
    EXPECT_EQ(area.verticalScrollBar()->maximum(), 0);
    panel.click("美化背景");
    EXPECT_GT(area.verticalScrollBar()->maximum(), 200);
    EXPECT_EQ(area.horizontalScrollBar()->maximum(), 0);
    EXPECT_EQ(placeOf(panel, panel.named<QWidget>("●  开始录制")).width(), 320);
    panel.view.resize(panel.view.minimumSizeHint());
    QApplication::processEvents();
    EXPECT_EQ(area.horizontalScrollBar()->maximum(), 0);
}

TEST(ControlView, leavesTheWheelToThePanel) {
    Panel panel(everythingOn());
    for (QWidget* control : {static_cast<QWidget*>(&panel.named<QSlider>("圆角")),
                             static_cast<QWidget*>(&panel.named<QComboBox>("导出质量"))}) {
        const QPointF place(10, 10);
        QWheelEvent turn(place, control->mapToGlobal(place), {}, {0, -120}, Qt::NoButton, Qt::NoModifier,
                         Qt::NoScrollPhase, false);
        QApplication::sendEvent(control, &turn);
        EXPECT_FALSE(turn.isAccepted()); // so it goes on to what the control stands in
    }
    EXPECT_THAT(panel.heard, IsEmpty());
}

TEST(ControlView, goesFromControlToControlByTabAndKeepsThemInSight) {
    Panel panel(everythingOn());
    panel.named<QWidget>("16:9 横").setFocus(Qt::TabFocusReason);
    const auto& area = *panel.view.findChild<QScrollArea*>();
    std::vector<std::string> visited;
    for (int i = 0; i < 30; ++i) {
        QWidget* const focused = QApplication::focusWidget();
        ASSERT_NE(focused, nullptr);
        if (i > 0 && focused == &panel.named<QPushButton>("16:9 横")) break;
        visited.push_back(Panel::accessibleName(*focused).toStdString());
        QApplication::processEvents();
        const QRect inSight(focused->mapTo(area.viewport(), QPoint()), focused->size());
        EXPECT_TRUE(area.viewport()->rect().contains(inSight)) << visited.back();
        QTest::keyClick(focused, Qt::Key_Tab);
    }
    EXPECT_THAT(visited,
                ElementsAre("16:9 横", "9:16 竖", "4:3 横", "3:4 竖", "自由框选", "全屏", "摄像头", "麦克风", "提词器",
                            "导出质量", "美化背景", "背景 1", "背景 2", "背景 3", "背景 4", "背景 5", "背景 6",
                            "背景 7", "背景 8", "背景 9", "🎲 随机换一张", "圆角", "留白", "投影", "●  开始录制"));
}

TEST(ControlView, showsWhereTheKeyboardIs) {
    Panel panel;
    const QImage before = panel.view.grab().toImage();
    panel.named<QWidget>("4:3 横").setFocus(Qt::TabFocusReason);
    const QRect button = placeOf(panel, panel.named<QWidget>("4:3 横"));
    const QImage after = panel.view.grab().toImage();
    const QColor accent = panel.view.palette().color(QPalette::Highlight);
    // The ring lies from 1.5 to 3.5 outside the button.
    EXPECT_EQ(after.pixelColor(button.center().x(), button.bottom() + 3), accent);
    EXPECT_EQ(before.pixelColor(button.center().x(), button.bottom() + 3),
              panel.view.palette().color(QPalette::Window));
    panel.named<QWidget>("3:4 竖").setFocus(Qt::MouseFocusReason);
    EXPECT_EQ(panel.view.grab().toImage(), before);
}

class Slider : public testing::TestWithParam<std::pair<const char*, double>> {
protected:
    double last(Panel& panel) {
        EXPECT_FALSE(panel.heard.empty());
        return GetParam().first == std::string("圆角") ? panel.state.cornerRadius : panel.state.padding;
    }
};

TEST_P(Slider, reachesExactlyZeroAndItsMaximum) {
    const auto& [name, most] = GetParam();
    Panel panel(everythingOn());
    auto& slider = panel.named<QSlider>(name);
    QTest::mouseClick(&slider, Qt::LeftButton, {}, {slider.width() - 1, 11});
    EXPECT_EQ(last(panel), most);
    QTest::mouseClick(&slider, Qt::LeftButton, {}, {0, 11});
    EXPECT_EQ(last(panel), 0.0);
    QTest::keyClick(&slider, Qt::Key_End);
    EXPECT_EQ(last(panel), most);
    QTest::keyClick(&slider, Qt::Key_Home);
    EXPECT_EQ(last(panel), 0.0);
    panel.takeHeard();
    QTest::keyClick(&slider, Qt::Key_Right);
    EXPECT_EQ(panel.takeHeard().size(), 1U);
    EXPECT_DOUBLE_EQ(panel.state.cornerRadius + panel.state.padding,
                     most / 50 + (name == std::string("圆角") ? 0.06 : 0.045));
}

TEST_P(Slider, isContinuousUnderADrag) {
    Panel panel(everythingOn());
    auto& slider = panel.named<QSlider>(GetParam().first);
    const double most = GetParam().second;
    QTest::mousePress(&slider, Qt::LeftButton, {}, {8, 11});
    panel.takeHeard();
    const int travel = slider.width() - 16;
    for (int x = 1; x <= travel; ++x) {
        QTest::mouseMove(&slider, {8 + x, 11});
        ASSERT_NEAR(last(panel), most * x / travel, most / 1000) << x;
    }
    QTest::mouseRelease(&slider, Qt::LeftButton, {}, {8 + travel, 11});
    EXPECT_EQ(panel.takeHeard().size(), static_cast<std::size_t>(travel));
    QTest::mouseMove(&slider, {20, 11});
    EXPECT_THAT(panel.takeHeard(), IsEmpty());
}

TEST_P(Slider, copesWithAnyNumber) {
    Panel panel(everythingOn());
    const auto& slider = panel.named<QSlider>(GetParam().first);
    const double infinity = std::numeric_limits<double>::infinity();
    const auto placeFor = [&](double number) {
        ControlState state = everythingOn();
        state.cornerRadius = state.padding = number;
        panel.show(state);
        panel.view.grab();
        return slider.value();
    };
    for (const double low : {0.0, -0.0, -1.0, -1e300, -infinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(placeFor(low), slider.minimum()) << low;
    for (const double high : {0.2, 7.0, 1e300, infinity})
        EXPECT_EQ(placeFor(high), slider.maximum()) << high;
    EXPECT_THAT(panel.heard, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Both, Slider, testing::Values(std::pair("圆角", 0.2), std::pair("留白", 0.14)),
                         [](const auto& parameter) { return parameter.index == 0 ? "corner" : "padding"; });

TEST(ControlView, copesWithAnyBackground) {
    Panel panel(everythingOn());
    for (const std::int64_t index : {std::int64_t{-1}, std::int64_t{9}, std::numeric_limits<std::int64_t>::min(),
                                     std::numeric_limits<std::int64_t>::max()}) {
        ControlState state = everythingOn();
        state.backgroundIndex = index;
        panel.show(state);
        panel.view.grab();
        for (int i = 1; i <= 9; ++i)
            EXPECT_FALSE(panel.named<QPushButton>(("背景 " + std::to_string(i)).c_str()).isChecked());
    }
}

TEST(ControlView, movesOutlineAndPreviewWithTheBackground) {
    Panel panel(everythingOn());
    panel.view.resize(360, 1000);
    QApplication::processEvents();
    const auto colourAt = [&](const QImage& image, const char* name, QPoint offset) {
        return image.pixelColor(placeOf(panel, panel.named<QWidget>(name)).topLeft() + offset);
    };
    const QColor accent = panel.view.palette().color(QPalette::Highlight);
    QImage image = panel.view.grab().toImage();
    EXPECT_EQ(colourAt(image, "背景 1", {1, 19}), accent);
    EXPECT_NE(colourAt(image, "背景 5", {1, 19}), accent);
    panel.click("背景 5");
    image = panel.view.grab().toImage();
    EXPECT_NE(colourAt(image, "背景 1", {1, 19}), accent);
    EXPECT_EQ(colourAt(image, "背景 5", {1, 19}), accent);
    EXPECT_EQ(colourAt(image, "背景 5", {38, 1}), accent);
    // Left of the card the preview is the backdrop.
    const QImage backdrop = BackgroundLibrary::image(4, {320, 180});
    EXPECT_EQ(colourAt(image, "美化效果预览", {6, 90}).rgb(), backdrop.pixel(6, 90));
}

TEST(ControlView, redrawsThePreviewAtOnceWhileASliderIsDragged) {
    Panel panel(everythingOn());
    panel.view.resize(360, 1000);
    QApplication::processEvents();
    auto& padding = panel.named<QSlider>("留白");
    const QPoint inside = placeOf(panel, panel.named<QWidget>("美化效果预览")).topLeft() + QPoint(10, 90);
    QTest::mousePress(&padding, Qt::LeftButton, {}, {0, 11}); // no margin: the card is everywhere
    EXPECT_EQ(panel.view.grab().toImage().pixelColor(inside), QColor(237, 237, 237));
    QTest::mouseMove(&padding, {padding.width() - 1, 11});
    EXPECT_NE(panel.view.grab().toImage().pixelColor(inside), QColor(237, 237, 237));
}

TEST(ControlView, breaksLongStatusLinesHoweverTheyAreSpelt) {
    Panel panel;
    const int columnWidth = panel.view.findChild<QScrollArea*>()->widget()->width();
    ControlState state;
    state.statusText = "short";
    panel.show(state);
    const int oneLine = panel.named<QLabel>("short").height();
    for (const std::string& text :
         {std::string(200, 'x'), std::string("导出失败：/home/") + std::string(150, 'y') + " 空间"}) {
        state.statusText = text;
        panel.show(state);
        EXPECT_GE(panel.named<QLabel>(text.c_str()).height(), 3 * oneLine);
        EXPECT_EQ(panel.view.findChild<QScrollArea*>()->widget()->width(), columnWidth);
        EXPECT_EQ(panel.named<QLabel>(text.c_str()).width(), 320);
    }
}

TEST(ControlView, wearsTheSystemsColours) {
    const QPalette before = QApplication::palette();
    for (const ColourScheme scheme : {ColourScheme::light, ColourScheme::dark}) {
        const QColor accent(200, 60, 120);
        QApplication::setPalette(paletteOf(scheme, accent));
        EXPECT_EQ(schemeOf(QApplication::palette()), scheme);
        Panel panel;
        const QImage image = panel.view.grab().toImage();
        EXPECT_EQ(image.pixelColor(4, 4), QApplication::palette().color(QPalette::Window));
        EXPECT_EQ(image.pixelColor(placeOf(panel, panel.named<QWidget>("●  开始录制")).topLeft() + QPoint(20, 5)),
                  accent);
        EXPECT_EQ(image.pixelColor(placeOf(panel, panel.named<QWidget>("16:9 横")).topLeft() + QPoint(10, 3)), accent);
        panel.click("●  开始录制");
        QTest::mouseMove(&panel.view, {1, 1});
        EXPECT_EQ(panel.view.grab().toImage().pixelColor(placeOf(panel, panel.named<QWidget>("■  停止录制")).topLeft() +
                                                         QPoint(20, 5)),
                  QColor(255, 59, 48));
    }
    QApplication::setPalette(before);
}

} // namespace
} // namespace quillet
