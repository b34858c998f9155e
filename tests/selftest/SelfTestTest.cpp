#include "selftest/SelfTest.h"

#include "selftest/FilmReader.h"
#include "selftest/replaceFile.h"
#include "tests/fakes/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace quillet {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class SelfTestTest : public testing::Test {
protected:
    SelfTestTest() { parts.folder = folder.path(); }

    void run() {
        std::ostringstream report;
        status = SelfTest::execute(parts, report);
        std::istringstream text(report.str());
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
    }
    [[nodiscard]] int failures() const {
        return static_cast<int>(std::ranges::count_if(lines, [](const auto& l) { return l.starts_with("FAIL  "); }));
    }

    fakes::TemporaryFolder folder;
    SelfTest::Parts parts = SelfTest::Parts::real();
    int status = -1;
    std::vector<std::string> lines;
};

TEST_F(SelfTestTest, passesWithTheRealPartsAndReportsEveryLineInOrder) {
    run();
    const std::string base = folder.path().string();
    ASSERT_THAT(lines,
                ElementsAre("PASS  camera circle present at mapped center (760,200) -> BGR(0,255,0)",
                            "PASS  circle mask: bbox corner stayed screen-gray -> BGR(128,128,128)",
                            "PASS  screen passthrough gray at background -> BGR(128,128,128)",
                            "PASS  LIVE-FOLLOW: avatar moved with per-frame rect (460,300) -> BGR(0,255,0)",
                            "PASS  LIVE-FOLLOW: old position back to screen-gray -> BGR(128,128,128)",
                            "PASS  LIVE-FOLLOW: nil rect draws no avatar -> BGR(128,128,128)",
                            "wrote " + base + "/quillet_selftest.png (1280x720)",
                            "PASS  BEAUTIFY: avatar still in frame at inset pos (745,219) -> BGR(0,255,0)",
                            testing::StartsWith(
                                "PASS  BEAUTIFY: outer corner is background gradient, not screen content -> BGR("),
                            "wrote " + base + "/quillet_selftest_beautify.png",
                            MatchesRegex("PASS  appended [0-9]+/30 composited frames to writer"),
                            MatchesRegex("PASS  mp4 written, [0-9]+ bytes -> " + base + "/quillet_selftest\\.mp4"),
                            "PASS  decoded frame from mp4: 1280x720", "wrote " + base + "/quillet_selftest_frame.png",
                            "", "SELFTEST: ALL PASS"));
    EXPECT_EQ(status, 0);

    // The pictures are what was composed: grey with a green circle.
    const QImage plain(QString::fromStdString(base + "/quillet_selftest.png"));
    ASSERT_EQ(plain.size(), QSize(1280, 720));
    EXPECT_EQ(plain.pixel(760, 719 - 200), qRgb(0, 255, 0));
    EXPECT_EQ(plain.pixel(20, 719 - 20), qRgb(128, 128, 128));
    const QImage decoded(QString::fromStdString(base + "/quillet_selftest_frame.png"));
    ASSERT_EQ(decoded.size(), QSize(1280, 720));
    EXPECT_LT(std::abs(qGreen(decoded.pixel(20, 699)) - 128), 3);
}

TEST_F(SelfTestTest, noticesACompositorThatIgnoresTheCamera) {
    parts.makeCompositor = [real = parts.makeCompositor](Rect crop, bool mirror, std::optional<BeautifySettings> look) {
        return
            [render = real(crop, mirror, look)](const PixelBuffer& screen, const PixelBuffer*, std::optional<Rect> rect,
                                                PixelBuffer& into) { render(screen, nullptr, rect, into); };
    };
    run();
    EXPECT_EQ(failures(), 3);
    EXPECT_THAT(lines[0], StartsWith("FAIL  camera circle present"));
    EXPECT_THAT(lines[3], StartsWith("FAIL  LIVE-FOLLOW: avatar moved"));
    EXPECT_THAT(lines[7], StartsWith("FAIL  BEAUTIFY: avatar still in frame"));
    EXPECT_EQ(lines.back(), "SELFTEST: FAILURES ABOVE");
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, noticesASquareCamera) {
    parts.makeCompositor = [real = parts.makeCompositor](Rect crop, bool mirror, std::optional<BeautifySettings> look) {
        return [render = real(crop, mirror, look), crop](const PixelBuffer& screen, const PixelBuffer* camera,
                                                         std::optional<Rect> rect, PixelBuffer& into) {
            render(screen, camera, rect, into);
            if (!rect || !camera) return;
            const PixelRect square =
                toMemoryRows(rect->offsetBy(-crop.x, -crop.y), into.height()).intersection(into.bounds());
            for (int y = square.y; y < square.bottom(); ++y)
                for (int x = square.x; x < square.right(); ++x)
                    for (const std::ptrdiff_t channel : {0, 1, 2})
                        into.row(y)[x * 4 + channel] = camera->row(0)[channel];
        };
    };
    run();
    EXPECT_THAT(lines[1], StartsWith("FAIL  circle mask"));
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, noticesACompositorThatRemembersTheLastCameraRectangle) {
    parts.makeCompositor = [real = parts.makeCompositor](Rect crop, bool mirror, std::optional<BeautifySettings> look) {
        const auto last = std::make_shared<std::optional<Rect>>();
        return [render = real(crop, mirror, look), last](const PixelBuffer& screen, const PixelBuffer* camera,
                                                         std::optional<Rect> rect, PixelBuffer& into) {
            if (rect && !*last) *last = rect;
            render(screen, camera, *last, into);
        };
    };
    run();
    EXPECT_THAT(lines[4], StartsWith("FAIL  LIVE-FOLLOW: old position"));
    EXPECT_THAT(lines[5], StartsWith("FAIL  LIVE-FOLLOW: nil rect"));
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, endsAtOnceWithoutAPool) {
    parts.makePool = [](Size) { return std::unique_ptr<PixelBufferPool>(); };
    run();
    EXPECT_THAT(lines, ElementsAre("FAIL  could not create pool/output buffer"));
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, goesToTheSummaryWithoutAWriter) {
    parts.makeWriter = [](const auto&, Size, int, ExportQuality) { return std::unique_ptr<RecordingWriter>(); };
    run();
    EXPECT_EQ(lines[lines.size() - 3], "FAIL  could not create RecordingWriter");
    EXPECT_EQ(lines.back(), "SELFTEST: FAILURES ABOVE");
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, anUnwritableFolderFailsTheFilmOnly) {
    parts.folder = folder.path() / "missing";
    run();
    EXPECT_EQ(failures(), 1);
    EXPECT_EQ(lines[6], "wrote " + parts.folder.string() + "/quillet_selftest.png (1280x720)");
    EXPECT_EQ(lines[lines.size() - 3], "FAIL  could not create RecordingWriter");
    EXPECT_EQ(status, 1);
}

TEST_F(SelfTestTest, replacesLinksAtItsNamesWithoutFollowingThem) {
    const std::filesystem::path victim = folder.path() / "victim";
    std::ofstream(victim) << "precious";
    for (const char* name : {"quillet_selftest.png", "quillet_selftest_beautify.png", "quillet_selftest.mp4",
                             "quillet_selftest_frame.png"})
        std::filesystem::create_symlink(victim, folder.path() / name);
    run();
    EXPECT_EQ(status, 0);
    std::string content;
    std::getline(std::ifstream(victim) >> std::ws, content);
    EXPECT_EQ(content, "precious");
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        EXPECT_TRUE(entry.is_regular_file() && !entry.is_symlink()) << entry.path();
}

TEST(FilmReader, answersNothingForWhatIsNoFilm) {
    const fakes::TemporaryFolder folder;
    EXPECT_FALSE(filmPictureAt(folder.path() / "missing.mp4", {0, 1}));
    std::ofstream(folder.path() / "noise.mp4") << "this is no film at all";
    EXPECT_FALSE(filmPictureAt(folder.path() / "noise.mp4", {0, 1}));
}

TEST(ReplaceFile, leavesNothingBehindWhenItFails) {
    const fakes::TemporaryFolder folder;
    const std::string text = "text";
    const auto bytes = std::as_bytes(std::span(text));
    std::filesystem::create_directory(folder.path() / "taken");
    std::ofstream(folder.path() / "taken" / "inside") << "x";
    EXPECT_FALSE(replaceFile(folder.path() / "taken", bytes)) << "a folder is not replaced by a file";
    EXPECT_FALSE(replaceFile(folder.path() / "missing" / "file", bytes));
    EXPECT_TRUE(replaceFile(folder.path() / "file", bytes));
    std::size_t entries = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.path()))
        ++entries;
    EXPECT_EQ(entries, 2u);

    // The ordinary umask decides who may read it.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    EXPECT_EQ(static_cast<mode_t>(std::filesystem::status(folder.path() / "file").permissions()), 0666 & ~mask);
}

} // namespace
} // namespace quillet
