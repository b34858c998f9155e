// programTest.cpp: the program as a user meets it. Runs inside tests/desktop/desktop, with a display and a home of its
// own, but for the tests named Outside.
#include "platform/x11/xcbHandles.h"
#include "tests/fakes/ReadMovie.h"
#include "tests/fakes/x11/ChildProgram.h"
#include "tests/fakes/x11/eventually.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace quillet {
namespace {

using testing::ChildProgram;
using ::testing::EndsWith;
using testing::eventually;
using ::testing::HasSubstr;
using ::testing::Not;

struct Answer {
    int status = -1;
    std::string text;
};

/// A shell command's output, standard error included, and its exit status.
Answer shell(const std::string& command) {
    Answer answer;
    FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe) return answer;
    std::array<char, 4096> part{};
    while (const std::size_t count = std::fread(part.data(), 1, part.size(), pipe))
        answer.text.append(part.data(), count);
    const int status = ::pclose(pipe);
    answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return answer;
}

/// The counter of the scene as a film shows it: six digits in seven segments, and the same number in 32 bits below.
class CounterWindow {
public:
    static constexpr int width = 300;
    static constexpr int height = 100; ///< of the digits

    /// Where the window manager has put it, in pixels of the display.
    [[nodiscard]] static std::optional<CounterWindow> find() {
        std::istringstream words(shell("xwininfo -name 'scene: counter'").text);
        CounterWindow window;
        bool hasPlace = false;
        for (std::string word, before; words >> word; before = word) {
            if (before == "X:" && window.left == 0) window.left = std::stoi(word);
            if (before == "Y:" && !hasPlace) {
                window.top = std::stoi(word);
                hasPlace = true;
            }
        }
        return hasPlace ? std::optional(window) : std::nullopt;
    }

    [[nodiscard]] std::uint32_t number(const test::MoviePicture& picture) const {
        std::uint32_t number = 0;
        for (int bit = 0; bit < 32; ++bit)
            number = number << 1 | (luma(picture, (bit * 300 + 150) / 32, 120) > 128 ? 1U : 0U);
        return number;
    }
    /// What the digits say; nothing when one of them is none.
    [[nodiscard]] std::optional<std::uint32_t> digits(const test::MoviePicture& picture) const {
        constexpr std::array<unsigned, 10> segments{0x3f, 0x06, 0x5b, 0x4f, 0x66, 0x6d, 0x7d, 0x07, 0x7f, 0x6f};
        // A pixel in the middle of each: top, top right, bottom right, bottom, bottom left, top left, middle.
        constexpr std::array<std::pair<int, int>, 7> middles{
            {{25, 14}, {38, 30}, {38, 70}, {25, 86}, {12, 70}, {12, 30}, {25, 50}}};
        std::uint32_t number = 0;
        for (int place = 0; place < 6; ++place) {
            unsigned lit = 0;
            for (std::size_t segment = 0; segment < middles.size(); ++segment)
                if (luma(picture, place * 50 + middles[segment].first, middles[segment].second) < 150)
                    lit |= 1U << segment;
            const auto digit = std::ranges::find(segments, lit);
            if (digit == segments.end()) return std::nullopt;
            number = number * 10 + static_cast<std::uint32_t>(digit - segments.begin());
        }
        return number;
    }

    [[nodiscard]] int x() const { return left; }
    [[nodiscard]] int y() const { return top; }

private:
    [[nodiscard]] int luma(const test::MoviePicture& picture, int x, int y) const {
        return picture.luma.at(static_cast<std::size_t>((top + y) * picture.width + left + x));
    }
    int left = 0;
    int top = 0;
};

class Program : public ::testing::Test {
protected:
    void SetUp() override {
        scene = ChildProgram::start({.arguments = {QUILLET_SCENE}, .environment = {}});
        ASSERT_TRUE(scene);
        ASSERT_TRUE(eventually([] { return CounterWindow::find().has_value(); }));
        // The whole screen, so that the counter is in the film.
        const std::filesystem::path settings =
            std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "quillet" / "settings";
        std::filesystem::create_directories(settings.parent_path());
        std::ofstream(settings) << "Quillet.rangeMode=全屏\n";
        program = ChildProgram::start({.arguments = {QUILLET_PROGRAM}, .environment = {}});
        ASSERT_TRUE(program);
        ASSERT_TRUE(eventually([] { return shell(findWindow).status == 0; })) << "no window called Quillet";
    }

    /// Gives the control window the keyboard and presses a key there.
    static void press(const std::string& key) {
        const Answer answer = shell("timeout 10 " + findWindow + " windowactivate --sync && xdotool key " + key);
        ASSERT_EQ(answer.status, 0) << answer.text;
    }
    [[nodiscard]] static std::vector<std::filesystem::path> recordings() {
        std::vector<std::filesystem::path> files;
        std::error_code missing;
        for (const auto& entry : std::filesystem::directory_iterator(desktop(), missing))
            files.push_back(entry.path());
        return files;
    }
    [[nodiscard]] static std::filesystem::path desktop() {
        return std::filesystem::path(std::getenv("HOME")) / "Desktop";
    }
    /// An ordinary film has its index behind its pictures; until finished, fragments stand there.
    [[nodiscard]] static bool isFinished(const std::filesystem::path& file) {
        const std::vector<std::string> boxes = test::topBoxes(file);
        return !boxes.empty() && std::ranges::find(boxes, "moof") == boxes.end();
    }
    /// Presses the record button, lets pictures come, presses it again and waits for the film.
    void record(std::filesystem::path& film) {
        press("space");
        ASSERT_TRUE(eventually([] {
            const auto files = recordings();
            return files.size() == 1 && std::filesystem::file_size(files[0]) > 400'000;
        })) << "no recording has begun";
        press("space");
        ASSERT_TRUE(eventually([] { return isFinished(recordings().at(0)); })) << "the film was not finished";
        film = recordings()[0];
    }

    static inline const std::string findWindow = "xdotool search --onlyvisible --name '^Quillet$'";
    std::unique_ptr<ChildProgram> scene;
    std::unique_ptr<ChildProgram> program;
};

TEST_F(Program, recordsWhatMovesAndSavesItToTheDesktop) {
    std::filesystem::remove_all(desktop()); // made if missing
    std::filesystem::path film;
    ASSERT_NO_FATAL_FAILURE(record(film));
    EXPECT_THAT(film.filename().string(), ::testing::MatchesRegex("Quillet-[0-9]{8}-[0-9]{6}\\.mp4"));

    const test::Movie movie = test::readMovie(film, test::ReadDepth::pictures);
    ASSERT_TRUE(movie.video);
    EXPECT_EQ(movie.video->width, 1920);
    EXPECT_EQ(movie.video->height, 1080);
    EXPECT_TRUE(movie.audio);
    ASSERT_GT(movie.pictures.size(), 5U);
    const auto counter = CounterWindow::find();
    ASSERT_TRUE(counter);
    std::uint32_t last = 0;
    std::size_t steps = 0;
    for (const test::MoviePicture& picture : movie.pictures) {
        const std::uint32_t number = counter->number(picture);
        EXPECT_GE(number, last);
        EXPECT_EQ(counter->digits(picture), number)
            << "digits and bits of different moments in picture " << &picture - movie.pictures.data();
        steps += number != last ? 1 : 0;
        last = number;
    }
    EXPECT_GT(steps, movie.pictures.size() / 3) << "the film stands still although the desktop does not";
}

TEST_F(Program, leavesAWholeFilmWhenItsWindowIsClosedInTheMiddle) {
    const auto before = recordings();
    for (const auto& file : before)
        std::filesystem::remove(file);
    press("space");
    ASSERT_TRUE(eventually([] {
        const auto files = recordings();
        return files.size() == 1 && std::filesystem::file_size(files[0]) > 400'000;
    }));
    press("alt+F4");
    EXPECT_EQ(program->wait(), 0);
    EXPECT_TRUE(isFinished(recordings().at(0)));
    EXPECT_GT(test::readMovie(recordings()[0]).video->packets.size(), 1U);
}

TEST_F(Program, leavesAPlayableFilmWhenItIsKilled) {
    for (const auto& file : recordings())
        std::filesystem::remove(file);
    press("space");
    ASSERT_TRUE(eventually([] {
        const auto files = recordings();
        return files.size() == 1 && std::filesystem::file_size(files[0]) > 400'000;
    }));
    program->end(SIGKILL);
    const test::Movie movie = test::readMovie(recordings().at(0), test::ReadDepth::pictures);
    ASSERT_TRUE(movie.video);
    EXPECT_FALSE(movie.pictures.empty());
}

/// How many pixels in the counter's place have the record button's red, on the display as everybody sees it.
int redPixelsOnDisplay(const CounterWindow& counter) {
    const XcbConnectionHandle connection(xcb_connect(nullptr, nullptr));
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data->root;
    const auto reply = owned(xcb_get_image_reply(
        connection.get(),
        xcb_get_image(connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, root, static_cast<std::int16_t>(counter.x()),
                      static_cast<std::int16_t>(counter.y()), CounterWindow::width, CounterWindow::height, ~0U),
        nullptr));
    if (!reply) return -1;
    const std::uint8_t* const pixels = xcb_get_image_data(reply.get());
    int count = 0;
    for (int i = 0; i < CounterWindow::width * CounterWindow::height; ++i)
        count += pixels[i * 4] == 48 && pixels[i * 4 + 1] == 59 && pixels[i * 4 + 2] == 255 ? 1 : 0;
    return count;
}

TEST_F(Program, isAbsentFromItsOwnRecording) {
    for (const auto& file : recordings())
        std::filesystem::remove(file);
    const auto counter = CounterWindow::find();
    ASSERT_TRUE(counter);
    // The button right over the digits.
    ASSERT_EQ(shell(findWindow + " windowmove --sync " + std::to_string(counter->x() - 20) + " " +
                    std::to_string(counter->y() - 320)) // where the button stands in the panel
                  .status,
              0);
    press("space");
    ASSERT_TRUE(eventually([&] { return redPixelsOnDisplay(*counter) > 2000; })) << "the button hides no digits";
    const auto files = recordings();
    ASSERT_EQ(files.size(), 1U);
    const auto whenCovered = std::filesystem::file_size(files[0]);
    ASSERT_TRUE(eventually([&] { return std::filesystem::file_size(files[0]) > whenCovered + 400'000; }));
    ASSERT_GT(redPixelsOnDisplay(*counter), 2000);
    press("space");
    ASSERT_TRUE(eventually([&] { return isFinished(files[0]); }));

    const test::Movie movie = test::readMovie(files[0], test::ReadDepth::pictures);
    ASSERT_GT(movie.pictures.size(), 5U);
    std::uint32_t last = 0;
    std::size_t steps = 0;
    for (const test::MoviePicture& picture : movie.pictures) {
        const std::uint32_t number = counter->number(picture);
        EXPECT_EQ(counter->digits(picture), number)
            << "digits and bits of different moments in picture " << &picture - movie.pictures.data();
        steps += number != last ? 1 : 0;
        last = number;
        int red = 0;
        for (int y = counter->y(); y < counter->y() + CounterWindow::height; y += 2)
            for (int x = counter->x(); x < counter->x() + CounterWindow::width; x += 2) {
                const std::array<double, 3> colour = picture.colourAt(x, y);
                // The digits have a darker red.
                red += colour[0] > 225 && colour[1] < 130 && colour[2] < 130 ? 1 : 0;
            }
        // The encoder may turn a pixel on a digit's edge redder than it was; the button would be hundreds.
        EXPECT_LT(red, 20) << "the film shows the button";
    }
    EXPECT_GT(steps, movie.pictures.size() / 3) << "what lies beneath the button stands still";
}

class TwoMonitors : public Program {};

TEST_F(TwoMonitors, recordsTheOneThatTheRangeIsOnAlone) {
    for (const auto& file : recordings())
        std::filesystem::remove(file);
    std::filesystem::path film;
    ASSERT_NO_FATAL_FAILURE(record(film));
    const test::Movie movie = test::readMovie(film, test::ReadDepth::pictures);
    ASSERT_TRUE(movie.video);
    EXPECT_EQ(movie.video->width, 800);
    EXPECT_EQ(movie.video->height, 720);
}

constexpr const char* program = QUILLET_PROGRAM;

TEST(Outside, selfTestNeedsNothing) {
    // No display, no bus, no home; its argument may stand anywhere.
    const Answer answer = shell(std::string("env -i ") + program + " first --selftest last");
    EXPECT_EQ(answer.status, 0);
    EXPECT_THAT(answer.text, EndsWith("\nSELFTEST: ALL PASS\n"));
    EXPECT_THAT(answer.text, Not(HasSubstr("FAIL")));
}

TEST(Outside, onlyTheExactWordSelectsTheSelfTest) {
    for (const char* argument : {"--selftest=1", "--SELFTEST", "--selftes", "selftest"}) {
        const Answer answer = shell(std::string("env -i ") + program + " " + argument);
        EXPECT_EQ(answer.status, 2) << argument;
        EXPECT_THAT(answer.text, HasSubstr(std::string("quillet: unknown ")));
        EXPECT_THAT(answer.text, HasSubstr(argument));
        EXPECT_THAT(answer.text, Not(HasSubstr("PASS"))) << argument;
    }
}

TEST(Outside, tellsHelpAndVersionWithoutADisplay) {
    const Answer help = shell(std::string("env -i ") + program + " --help 2>/dev/null");
    EXPECT_EQ(help.status, 0);
    for (const char* option : {"--help", "--version", "--selftest"})
        EXPECT_THAT(help.text, HasSubstr(option));
    const Answer version = shell(std::string("env -i ") + program + " --version 2>/dev/null");
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.text, ::testing::MatchesRegex("quillet [0-9.]+\n"));
}

TEST(Outside, saysWhatIsMissingWithoutADisplay) {
    const Answer none = shell(std::string("env -i ") + program);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.text, "quillet: no display: DISPLAY is not set\n");

    const Answer silent = shell(std::string("env -i DISPLAY=:4711 ") + program);
    EXPECT_EQ(silent.status, 1);
    EXPECT_EQ(silent.text, "quillet: the X server at DISPLAY=:4711 does not answer\n");

    const Answer wayland = shell(std::string("env -i WAYLAND_DISPLAY=wayland-0 ") + program);
    EXPECT_EQ(wayland.status, 1);
    EXPECT_THAT(wayland.text, HasSubstr("Wayland sessions are not yet supported"));
}

} // namespace
} // namespace quillet
