// Desk.h: a desktop with two programs on it, ours and another one, and a recording that must not show ours.
#pragma once

#include "platform/x11/WindowRedirection.h"
#include "tests/fakes/FrameReceiver.h"
#include "tests/fakes/x11/ExtensionHider.h"
#include "tests/fakes/x11/VirtualXServer.h"
#include "tests/fakes/x11/XPainter.h"
#include "tests/ownwindows/FrameJudge.h"
#include "tests/ownwindows/Program.h"
#include "tests/ownwindows/RawRoot.h"
#include "tests/ownwindows/setups.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace quillet::testing {

enum class Redirects { beforeTheFirstWindow, withTheRecording };
/// The last: a colour, while a property that compositing managers do not heed names something else.
enum class Wallpaper { picture, tiles, colour, withoutProperty, propertyThatNobodyHeeds };

struct DeskOptions {
    int width = 640;
    int height = 480;
    Wallpaper wallpaper = Wallpaper::picture;
    std::vector<std::string> serverArguments = {};
    Redirects redirects = Redirects::beforeTheFirstWindow;
    /// One that the recording shall not find; its server must lack MIT-SHM.
    std::string hiddenExtension = {};
    int monitorCount = 1; ///< 2: the right half is the second one
};

struct CaptureOptions {
    int fps = 60;
    std::size_t monitor = 0;
};

/// Everything a scenario needs. The windows of `own` are ours; those of `others` are not. Main thread.
class Desk {
public:
    explicit Desk(const Setup& setup, const DeskOptions& options = {});
    ~Desk();

    /// Whether the set-up runs; when not, nothing below may be used.
    [[nodiscard]] bool isReady() const { return running != nullptr; }

    /// Makes and shows a window of ours in magenta, which never takes the focus. 0 when it did not appear.
    xcb_window_t addOwn(WindowOptions options);
    /// The same for another program's.
    xcb_window_t addOther(const WindowOptions& options);
    void hideOwn();
    [[nodiscard]] bool showOwn();
    /// Makes a window of the other program's that the recording shall leave out; to be called before it begins. Not
    /// shown before showOwn().
    void listOther(WindowOptions options);

    void setWallpaper(Wallpaper wallpaper, std::uint32_t seed);
    /// Starts recording.
    [[nodiscard]] bool record(const CaptureOptions& options = {});
    void parkPointer(); ///< where no comparison looks
    /// Has the other program paint a small square in the corner in a colour of its own, waits until a frame shows it
    /// and gives that frame: it is later than everything that has happened before. An empty picture if that never
    /// comes.
    [[nodiscard]] Picture recordedNow();
    /// The same once nothing moves in the frames for as long as the set-up needs to come to rest.
    [[nodiscard]] Picture recordedAtRest();
    /// What the display shows once it has come to rest, cut to what is recorded.
    [[nodiscard]] Picture shownAtRest();
    [[nodiscard]] bool showsOurs() const { return tintedPixels(raw->read()) > 0; }
    /// Waits until the compositing manager draws.
    [[nodiscard]] bool waitUntilComposited();
    /// Waits until the display shows a window of ours.
    [[nodiscard]] bool waitUntilItShowsOurs() const;

    /// What frames owe while the display, ours hidden, looks like `picture`: all of it but the square and the pointer,
    /// and, where the set-up draws effects, the surroundings of the other program's windows as they stand now.
    [[nodiscard]] Expectation expectation(Picture picture);

    /// The whole proof, at rest: with ours shown, the display shows them and the recording does not, and the recording
    /// equals what the display shows once they are hidden. Then, with the recording running on, showing and hiding ours
    /// changes no pixel of any frame. Ends with ours hidden.
    void proveAbsence();
    /// The first half alone. Ends with ours hidden.
    void proveRecordedEqualsHidden();
    /// No frame so far was wrong.
    void proveEveryFrameClean() const;

    Setup setup;
    DeskOptions options;
    std::unique_ptr<VirtualXServer> server;
    std::unique_ptr<ExtensionHider> hider; // null: nothing is hidden
    std::unique_ptr<XPainter> session;
    std::unique_ptr<RunningSetup> running;
    std::shared_ptr<WindowRedirection> redirection; // shared with the recording, as in the program
    std::unique_ptr<Program> own;
    std::unique_ptr<Program> others;
    std::unique_ptr<RawRoot> raw;
    FrameJudge judge;
    std::unique_ptr<FrameReceiver> recording;
    std::vector<Program*> furtherPrograms; ///< others besides `others`, which live as long as they stand here
    std::vector<xcb_window_t> ownWindows;

private:
    void setMonitors();
    std::uint32_t paintSquare(); ///< gives its new colour
    [[nodiscard]] ScreenSourceFactory factory() const;

    std::vector<xcb_window_t> listedWindows;
    xcb_window_t square = 0;
    std::uint32_t beats = 0;
    PixelRect recordedArea;
};

} // namespace quillet::testing
