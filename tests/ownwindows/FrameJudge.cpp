#include "tests/ownwindows/FrameJudge.h"

#include "tests/ownwindows/Program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace quillet::testing {

namespace {

std::string describe(const PixelRect& rect) {
    return std::to_string(rect.width) + "x" + std::to_string(rect.height) + " at " + std::to_string(rect.x) + "," +
           std::to_string(rect.y);
}

std::string hex(std::uint32_t pixel) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (unsigned shift = 24; shift > 0; shift -= 4)
        text += digits[pixel >> (shift - 4) & 0xfU];
    return text;
}

bool isWithin(int tolerance, std::uint32_t one, std::uint32_t other) {
    if (one == other) return true;
    if (tolerance == 0) return false;
    for (const unsigned shift : {0U, 8U, 16U})
        if (std::abs(static_cast<int>(one >> shift & 0xffU) - static_cast<int>(other >> shift & 0xffU)) > tolerance)
            return false;
    return true;
}

PixelRect tintedPart(const Picture& picture) {
    PixelRect part;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            if (isTinted(picture.at(x, y))) part = part.united({x, y, 1, 1});
    return part;
}

void keep(const Picture& picture, const std::string& what) {
    const char* const folder = std::getenv("QUILLET_TEST_PICTURES");
    if (!folder) return;
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::ranges::replace(name, '/', '-');
    std::ofstream file(std::string(folder) + "/" + name + "-" + what + ".ppm", std::ios::binary);
    file << "P6\n" << picture.width << " " << picture.height << "\n255\n";
    for (const std::uint32_t pixel : picture.pixels)
        file << static_cast<char>(pixel >> 16) << static_cast<char>(pixel >> 8) << static_cast<char>(pixel);
}

} // namespace

std::string difference(const Picture& got, const Expectation& expected) {
    const Picture& wanted = expected.picture;
    if (got.width != wanted.width || got.height != wanted.height)
        return "the sizes differ: " + std::to_string(got.width) + "x" + std::to_string(got.height);
    if (expected.ignored.empty() && got == wanted) return {};
    Picture compared(wanted.width, wanted.height, 1);
    for (const PixelRect& rect : expected.ignored)
        compared.paint(rect, [](int, int) { return 0U; });
    PixelRect where;
    std::size_t count = 0;
    std::string first;
    for (int y = 0; y < wanted.height; ++y)
        for (int x = 0; x < wanted.width; ++x) {
            if (!compared.at(x, y) || isWithin(expected.tolerance, got.at(x, y), wanted.at(x, y))) continue;
            if (count++ == 0) first = hex(got.at(x, y)) + " instead of " + hex(wanted.at(x, y));
            where = where.united({x, y, 1, 1});
        }
    if (count == 0) return {};
    keep(got, "got");
    keep(wanted, "wanted");
    return std::to_string(count) + " pixels within " + describe(where) + " differ, the first one " + first;
}

void FrameJudge::look(const PixelBuffer& frame) {
    const Picture picture = Picture::of(frame);
    const PixelRect tint = tintedPart(picture);
    const std::lock_guard guard(mutex);
    ++seen;
    const std::string name = "frame " + std::to_string(seen) + ": ";
    if (isTintForbidden && !tint.isEmpty() && tinted++ == 0) {
        firstTint = name + describe(tint);
        keep(picture, "tinted");
    }
    if (!expectation) return;
    const std::string found = difference(picture, *expectation);
    if (!found.empty() && different++ == 0) firstDifference = name + found;
}

void FrameJudge::expect(std::optional<Expectation> wanted) {
    const std::lock_guard guard(mutex);
    expectation = std::move(wanted);
}

void FrameJudge::forbidTint(bool isForbidden) {
    const std::lock_guard guard(mutex);
    isTintForbidden = isForbidden;
}

std::uint64_t FrameJudge::framesSeen() const {
    const std::lock_guard guard(mutex);
    return seen;
}

std::string FrameJudge::verdict() const {
    const std::lock_guard guard(mutex);
    std::string text;
    if (tinted)
        text +=
            std::to_string(tinted) + " of " + std::to_string(seen) + " frames show our windows; " + firstTint + ". ";
    if (different)
        text += std::to_string(different) + " of " + std::to_string(seen) + " frames are wrong; " + firstDifference;
    return text;
}

} // namespace quillet::testing
