#include "bench/road/Scene.h"

#include <QFont>
#include <QPainter>
#include <QString>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <numbers>

namespace quillet::road {

namespace {

std::uint32_t hash(std::uint32_t a, std::uint32_t b) {
    std::uint32_t value = a * 2654435761U ^ b * 2246822519U;
    value = (value ^ value >> 15) * 2246822519U;
    return value ^ value >> 13;
}

constexpr int letterWidth = 9;
constexpr int lineHeight = 19;

QFont letters() {
    QFont font("DejaVu Sans Mono");
    font.setPixelSize(15);
    return font;
}

QString letterAt(std::uint32_t row, std::uint32_t column) {
    static const QString signs = "etaoinshrdlucmfwypvbgkjqxz0123456789(){};=->_.,\"+*&!";
    const std::uint32_t value = hash(row, column);
    if (value % 7 == 0) return " ";
    // The more frequent the further in front.
    const auto most = static_cast<std::uint32_t>(signs.size());
    return signs.mid(static_cast<qsizetype>((value >> 8) % most * ((value >> 16) % most) / most), 1);
}

void paintLine(QPainter& painter, const QRect& into, std::uint32_t row, const QColor& paper) {
    painter.fillRect(into, paper);
    const auto columns = static_cast<std::uint32_t>(into.width() / letterWidth);
    const std::uint32_t length = columns / 4 + hash(row, 99999) % (columns * 3 / 4);
    static constexpr std::array<QRgb, 4> inks{0xFF202830, 0xFF1A5FB4, 0xFF9A2A6A, 0xFF26733A};
    for (std::uint32_t column = hash(row, 77777) % 3 * 4; column < length; ++column) {
        painter.setPen(QColor::fromRgb(inks.at(hash(row, column / 8) % 10 < 7 ? 0 : 1 + hash(row, column / 8) % 3)));
        painter.drawText(into.x() + static_cast<int>(column) * letterWidth, into.y() + 14, letterAt(row, column));
    }
}

constexpr QRgb paper = 0xFFFAFAF5;

/// A wallpaper and two windows full of text, which stand at these places.
struct Desk {
    QRect editor;
    QRect terminal;

    explicit Desk(QSize size)
        : editor(size.width() / 24, size.height() / 14, size.width() * 10 / 24, size.height() * 11 / 14),
          terminal(size.width() * 12 / 24, size.height() / 7, size.width() * 10 / 24, size.height() * 9 / 14) {
        // Whole lines and letters.
        for (QRect* window : {&editor, &terminal})
            window->setSize({window->width() / letterWidth * letterWidth, window->height() / lineHeight * lineHeight});
    }
    [[nodiscard]] static QRect line(const QRect& window, int row) {
        return {window.x(), window.y() + row * lineHeight, window.width(), lineHeight};
    }
    [[nodiscard]] static int lines(const QRect& window) { return window.height() / lineHeight; }

    void paint(QImage& picture) const {
        for (int y = 0; y < picture.height(); ++y) {
            auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
            for (int x = 0; x < picture.width(); ++x)
                row[x] = qRgb(40 + x * 60 / picture.width(), 90 + y * 70 / picture.height(),
                              140 + (x + y) * 50 / (picture.width() + picture.height()));
        }
        QPainter painter(&picture);
        painter.setFont(letters());
        for (const QRect& window : {editor, terminal}) {
            painter.fillRect(window.adjusted(-6, -30, 6, 6), QColor(225, 225, 222));
            painter.setPen(Qt::black);
            painter.drawText(window.x() + 4, window.y() - 10, "desktop: a window");
            for (int row = 0; row < lines(window); ++row)
                paintLine(painter, line(window, row), static_cast<std::uint32_t>(row), QColor::fromRgb(paper));
        }
    }
};

class Still final : public Scene {
public:
    void prepare(std::vector<QImage>& pictures) override { Desk(pictures[0].size()).paint(pictures[0]); }
    Painted paint(std::vector<QImage>&, unsigned) override { return {}; }
};

class Plain final : public Scene {
public:
    explicit Plain(QRgb everywhere) : ground(everywhere) {}
    void prepare(std::vector<QImage>& pictures) override { pictures[0].fill(ground); }
    Painted paint(std::vector<QImage>&, unsigned) override { return {}; }

private:
    QRgb ground;
};

/// Nothing but the stamp changes, 60 times a second.
class Clock final : public Scene {
public:
    [[nodiscard]] int rate() const override { return 60; }
    [[nodiscard]] Stamp stamp() const override { return {96, 16, 4}; }
    void prepare(std::vector<QImage>& pictures) override {
        Desk(pictures[0].size()).paint(pictures[0]);
        stamp().paint(pictures[0], 0);
    }
    Painted paint(std::vector<QImage>& pictures, unsigned tick) override {
        stamp().paint(pictures[0], tick);
        return {0, {stamp().area(), {}, {}}};
    }
};

/// 20 letters a second into the editor, line by line, with a caret behind them that blinks once a second, and an
/// indicator of the place (the stamp).
class Typing final : public Scene {
public:
    [[nodiscard]] int rate() const override { return 20; }
    [[nodiscard]] Stamp stamp() const override { return {96, 16, 4}; }
    void prepare(std::vector<QImage>& pictures) override {
        Desk(pictures[0].size()).paint(pictures[0]);
        stamp().paint(pictures[0], 0);
    }
    Painted paint(std::vector<QImage>& pictures, unsigned tick) override {
        const Desk desk(pictures[0].size());
        const int columns = desk.editor.width() / letterWidth - 1;
        const int place = static_cast<int>(tick - 1);
        const int row = place / columns % Desk::lines(desk.editor);
        const int column = place % columns;
        const QRect line = Desk::line(desk.editor, row);
        QPainter painter(&pictures[0]);
        painter.setFont(letters());
        QRect changed(line.x() + column * letterWidth, line.y(), letterWidth + 2, lineHeight);
        if (column == 0) { // the line is typed anew
            painter.fillRect(line, QColor::fromRgb(paper));
            changed = line;
        }
        const QRect before = column == 0 && !caret.isEmpty() ? caret : QRect();
        painter.fillRect(before.isEmpty() ? caret : before, QColor::fromRgb(paper));
        painter.fillRect(QRect(line.x() + column * letterWidth, line.y(), letterWidth + 2, lineHeight),
                         QColor::fromRgb(paper));
        painter.setPen(QColor::fromRgb(0xFF202830));
        painter.drawText(
            line.x() + column * letterWidth, line.y() + 14,
            letterAt(static_cast<std::uint32_t>(place / columns) + 1000, static_cast<std::uint32_t>(column)));
        caret = QRect(line.x() + (column + 1) * letterWidth, line.y() + 1, 2, lineHeight - 2);
        if (tick % 20 < 10) painter.fillRect(caret, QColor::fromRgb(0xFF202830));
        painter.end();
        stamp().paint(pictures[0], tick);
        return {0, {changed, before, stamp().area()}};
    }

private:
    QRect caret;
};

/// Output that runs through a window: 30 lines a second.
class Terminal final : public Scene {
public:
    [[nodiscard]] int rate() const override { return 30; }
    [[nodiscard]] Stamp stamp() const override { return {96, 16, 4}; }
    void prepare(std::vector<QImage>& pictures) override {
        Desk(pictures[0].size()).paint(pictures[0]);
        stamp().paint(pictures[0], 0);
    }
    Painted paint(std::vector<QImage>& pictures, unsigned tick) override {
        const QRect window = Desk(pictures[0].size()).terminal;
        const int lines = Desk::lines(window);
        for (int y = window.top(); y + lineHeight <= window.bottom(); ++y)
            std::memcpy(pictures[0].scanLine(y) + window.x() * 4, pictures[0].scanLine(y + lineHeight) + window.x() * 4,
                        static_cast<std::size_t>(window.width()) * 4);
        QPainter painter(&pictures[0]);
        painter.setFont(letters());
        paintLine(painter, Desk::line(window, lines - 1), tick + static_cast<unsigned>(lines) - 1,
                  QColor::fromRgb(paper));
        painter.end();
        stamp().paint(pictures[0], tick);
        return {0, {window, stamp().area(), {}}};
    }
};

/// A ground with fine detail that passes by, waves of light, bodies on their own ways and the grain of a sensor; it
/// repeats after 32 pictures. Every pixel differs from the picture before.
class Video final : public Scene {
public:
    [[nodiscard]] int rate() const override { return 60; }
    [[nodiscard]] Stamp stamp() const override { return {480, 256, 16}; }
    [[nodiscard]] std::size_t pictures() const override { return period; }
    void prepare(std::vector<QImage>& pictures) override {
        for (unsigned tick = 0; tick < period; ++tick)
            paintWhole(pictures[tick], tick);
        stamp().paint(pictures[0], 0);
    }
    Painted paint(std::vector<QImage>& pictures, unsigned tick) override {
        stamp().paint(pictures[tick % period], tick);
        return {tick % period, {pictures[0].rect(), {}, {}}};
    }

private:
    static constexpr unsigned period = 32;
    static constexpr int turn = 1024; // steps of a full circle
    static constexpr int speed = 67;  // of the ground, eighths of a pixel: no whole pixels, as in life

    static void paintWhole(QImage& picture, unsigned tick) {
        static const std::vector<int> sine = [] {
            std::vector<int> made(turn);
            for (int i = 0; i < turn; ++i)
                made[static_cast<std::size_t>(i)] =
                    static_cast<int>(std::lround(std::sin(2 * std::numbers::pi * i / turn) * 30));
            return made;
        }();
        const auto wave = [](int angle) { return sine[static_cast<std::size_t>(angle & (turn - 1))]; };
        const int t = static_cast<int>(tick);
        const int step = turn / static_cast<int>(period);
        for (int y = 0; y < picture.height(); ++y) {
            auto* row = reinterpret_cast<QRgb*>(picture.scanLine(y));
            for (int x = 0; x < picture.width(); ++x) {
                const int light = wave(x / 2 + t * step) + wave(y - t * step) + wave((x + y) / 3 + 2 * t * step);
                const std::uint32_t grain = hash(static_cast<std::uint32_t>(y * 8192 + x), tick + 5);
                const int fine = detail(x * 8 + t * speed, y * 8) + static_cast<int>(grain % 3) - 1;
                row[x] = colour(128 + light + fine, 120 + light / 2 + fine, 110 - light / 2 + fine);
            }
        }
        QPainter painter(&picture);
        painter.setPen(Qt::NoPen);
        for (int body = 0; body < 8; ++body) {
            const int angle = t * step + body * turn / 8;
            const int x = picture.width() * (1 + body % 4 * 2) / 8 + wave(angle) * picture.height() / 540;
            const int y = picture.height() * (1 + body / 4 * 2) / 4 + wave(angle + turn / 4) * picture.height() / 540;
            painter.setBrush(QColor::fromHsv(body * 45, 160, 220));
            painter.drawEllipse(QPoint(x, y), picture.height() / 14, picture.height() / 14);
        }
    }
    /// Patches of four pixels that blend into each other; coordinates in eighths of a pixel.
    static int detail(int x, int y) {
        constexpr int cell = 32;
        constexpr int cells = speed * static_cast<int>(period) / cell; // then it repeats
        const auto at = [](int column, int row) {
            return static_cast<int>(hash(static_cast<std::uint32_t>(column % cells), static_cast<std::uint32_t>(row)) &
                                    31) -
                   16;
        };
        const int column = x / cell;
        const int row = y / cell;
        const int right = x % cell;
        const int below = y % cell;
        const int upper = at(column, row) * (cell - right) + at(column + 1, row) * right;
        const int lower = at(column, row + 1) * (cell - right) + at(column + 1, row + 1) * right;
        return (upper * (cell - below) + lower * below) / (cell * cell);
    }
    static QRgb colour(int red, int green, int blue) {
        return qRgb(std::clamp(red, 0, 255), std::clamp(green, 0, 255), std::clamp(blue, 0, 255));
    }
};

} // namespace

void Stamp::paint(QImage& picture, unsigned tick) const {
    for (int bit = 0; bit < bits && square > 0; ++bit)
        for (int row = 0; row < square; ++row)
            std::fill_n(reinterpret_cast<QRgb*>(picture.scanLine(y + row)) + x + bit * square, square,
                        (tick >> (bits - 1 - bit) & 1U) != 0 ? 0xFFFFFFFFU : 0xFF000000U);
}

std::unique_ptr<Scene> Scene::make(std::string_view kind) {
    if (kind == "still") return std::make_unique<Still>();
    if (kind == "clock") return std::make_unique<Clock>();
    if (kind == "typing") return std::make_unique<Typing>();
    if (kind == "terminal") return std::make_unique<Terminal>();
    if (kind == "video") return std::make_unique<Video>();
    if (kind == "black") return std::make_unique<Plain>(0xFF000000);
    if (kind == "white") return std::make_unique<Plain>(0xFFFFFFFF);
    return nullptr;
}

} // namespace quillet::road
