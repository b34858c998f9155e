// panel_pictures FOLDER: writes PNG pictures of the control panel in its states, light and dark, into FOLDER.
//
// The scale is the toolkit's: QT_QPA_PLATFORM=offscreen QT_SCALE_FACTOR=2 panel_pictures FOLDER.
#include "ui/ControlView.h"
#include "ui/palettes.h"

#include <QApplication>
#include <QDir>
#include <QPixmap>
#include <QScrollArea>
#include <QScrollBar>

#include <cstdio>
#include <string>

namespace quillet {
namespace {

struct Scene {
    const char* name;
    ControlState state;
    int height;
    int scrolled = 0;
};

ControlState everything() {
    ControlState state;
    state.cameraEnabled = true;
    state.teleprompterEnabled = true;
    state.beautifyEnabled = true;
    state.backgroundIndex = 4;
    state.statusText = "选择范围，开摄像头摆头像，然后开始。";
    return state;
}

ControlState whileRecording() {
    ControlState state = everything();
    state.isRecording = true;
    state.statusText = "● 录制中…  点击停止结束。";
    return state;
}

ControlState atFirstLaunch() {
    ControlState state;
    state.statusText = "选择范围，开摄像头摆头像，然后开始。";
    return state;
}

ControlState afterRecording() {
    ControlState state = atFirstLaunch();
    state.cameraEnabled = true;
    state.rangeMode = RangeMode::fullscreen;
    state.statusText = "已保存：Quillet-20240102-030405.mp4（桌面）";
    return state;
}

bool draw(const Scene& scene, const char* theme, const QDir& folder) {
    ControlView view;
    view.show(scene.state);
    view.resize(360, scene.height);
    view.show();
    QApplication::processEvents();
    if (auto* const area = view.findChild<QScrollArea*>()) area->verticalScrollBar()->setValue(scene.scrolled);
    QApplication::processEvents();
    const QString name = QStringLiteral("panel-%1-%2-at%3.png")
                             .arg(QLatin1String(scene.name), QLatin1String(theme))
                             .arg(view.devicePixelRatio());
    return view.grab().save(folder.filePath(name));
}

} // namespace
} // namespace quillet

int main(int argc, char** argv) {
    using namespace quillet;
    const QApplication application(argc, argv);
    if (argc != 2) return std::fprintf(stderr, "usage: panel_pictures FOLDER\n"), 2;
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    bool isWritten = folder.mkpath(QStringLiteral("."));
    for (const auto& [theme, scheme] : {std::pair{"light", ColourScheme::light}, {"dark", ColourScheme::dark}}) {
        QApplication::setPalette(paletteOf(scheme));
        for (const Scene& scene : {Scene{"first", atFirstLaunch(), 440}, Scene{"saved", afterRecording(), 440},
                                   Scene{"everything", everything(), 920}, Scene{"recording", whileRecording(), 920},
                                   Scene{"scrolled", everything(), 440, 200}})
            isWritten = draw(scene, theme, folder) && isWritten;
    }
    return isWritten ? 0 : 1;
}
