#include "pipeline/encode/QuantiserControl.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quillet {

namespace {

constexpr double reserveSeconds = 2;
// The first picture describes everything, and nothing is saved yet: it may borrow, and the next ones pay it back.
constexpr double loanSeconds = 1;
// In motion, a reserve of this many seconds doubles what a picture may cost: it is used up, but not at once.
constexpr double doublingSeconds = 0.5;
// A picture that comes late may cost what the time since the one before has earned, up to this much of it.
constexpr double mostSecondsAtOnce = 0.25;
// A picture gets no less than this share of its part of the rate, however much was spent before it.
constexpr double leastShare = 0.25;
// A key picture describes everything anew and may cost as much as this many others.
constexpr double keyShare = 6;
// A film gets sharper by so many steps in the time of a picture at most: a quantiser that jumps to and fro flickers.
constexpr double mostStepsDown = 2;
// Smaller changes than this share of the picture teach nothing of what motion costs.
constexpr double telling = 0.02;
// A picture whose blocks are all skipped still costs a few bytes.
constexpr double emptyBits = 400;
// What is taken to be true before the first picture was seen: bits of a block at quantiser 0.
constexpr double firstKeyCost = 2400;
constexpr double firstChangeCost = 1200;

double shrinkage(int quantiser) { return std::exp2(-quantiser / 6.0); }

} // namespace

QuantiserControl::QuantiserControl(std::int64_t rate, int framesPerSecond, std::size_t blockCount)
    : bitRate(static_cast<double>(std::max<std::int64_t>(rate, 1))),
      fps(static_cast<double>(std::max(framesPerSecond, 1))),
      blocks(static_cast<double>(std::max<std::size_t>(blockCount, 1))), keyCost(firstKeyCost),
      changeCost(firstChangeCost) {}

int QuantiserControl::quantiserFor(PictureKind kind, std::size_t changedBlocks, std::int64_t microseconds) {
    const double seconds = static_cast<double>(std::max<std::int64_t>(microseconds - lastMicroseconds, 0)) / 1e6;
    lastMicroseconds = std::max(lastMicroseconds, microseconds);
    reserve = std::min(reserve + bitRate * seconds, reserveSeconds * bitRate);

    lastKind = kind;
    codedBlocks = kind == PictureKind::key ? blocks : std::min(static_cast<double>(changedBlocks), blocks);

    const double loan = std::exchange(isFirst, false) ? loanSeconds * bitRate : 0;
    const double spending = 1 + (reserve + loan) / (bitRate * doublingSeconds);
    const double share = std::max(leastShare, thrift < 1 ? std::min(spending, 1.0) * thrift : spending);
    const double floor = finest - 3 * std::log2(thrift);
    const double allowed =
        bitRate * std::clamp(seconds, 1 / fps, mostSecondsAtOnce) * share * (kind == PictureKind::key ? keyShare : 1);
    const double expected = codedBlocks * costPerBlock(kind);
    const double steps = expected > allowed ? 6 * std::log2(expected / allowed) : 0;
    const double sharpest = lastQuantiser - mostStepsDown * std::max(1.0, seconds * fps);
    lastQuantiser = static_cast<int>(std::lround(std::clamp(std::max(steps, sharpest), floor, double{coarsest})));
    return lastQuantiser;
}

void QuantiserControl::encoded(std::size_t bytes) {
    const double bits = static_cast<double>(bytes) * 8;
    reserve = std::max(reserve - bits, -reserveSeconds * bitRate);
    if (codedBlocks < telling * blocks) return;
    const double found = std::max(bits - emptyBits, 1.0) / codedBlocks / shrinkage(lastQuantiser);
    double& known = costPerBlock(lastKind);
    known = (known + found) / 2;
}

} // namespace quillet
