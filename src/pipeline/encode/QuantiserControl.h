// QuantiserControl.h: which quantiser each picture gets, so that a film keeps its bit rate and wastes none of it.
#pragma once

#include "pipeline/encode/VideoEncoder.h"

#include <cstddef>
#include <cstdint>

namespace quillet {

/// Rate control for pictures that come when something changes. It knows what no encoder knows beforehand: how many
/// blocks differ. So it needs no analysis of its own, and the encoder can do without one.
///
/// Bits that are not used are kept in reserve, for two seconds at most; pictures may spend from it, the more the fuller
/// it is. What a changed block costs is learned from the pictures before, halving with every six steps of the quantiser
/// (its step size doubles with six, ITU-T H.264, 8.5.9). A still screen is written at the floor; a sudden change costs
/// one large picture; lasting motion settles where the pictures fit the rate.
///
/// Threads: a value, no locks.
class QuantiserControl {
public:
    /// The floor: finer steps than this are invisible on a screen, whatever the rate allows.
    static constexpr int finest = 16;
    static constexpr int coarsest = 51;

    /// `bitRate` is the average in bits a second; `fps` how many pictures a second to expect in motion; `blocks` how
    /// many of 16 x 16 pixels a picture has. All above zero.
    QuantiserControl(std::int64_t bitRate, int fps, std::size_t blocks);

    /// The quantiser for a picture at `microseconds` of which `changedBlocks` differ from the one before.
    [[nodiscard]] int quantiserFor(PictureKind kind, std::size_t changedBlocks, std::int64_t microseconds);
    /// What pictures may cost from now on is this share of what they might, 0 … 1. Below 1 nothing is spent from the
    /// reserve and the floor rises with it.
    void setThrift(double share) { thrift = share; }
    /// The picture asked for last has become this large. Called once for each, before the next one is asked for.
    void encoded(std::size_t bytes);

private:
    [[nodiscard]] double& costPerBlock(PictureKind kind) { return kind == PictureKind::key ? keyCost : changeCost; }

    double bitRate;
    double fps;
    double blocks;

    double thrift = 1;
    double reserve = 0; ///< bits; negative when too much has been spent
    bool isFirst = true;
    std::int64_t lastMicroseconds = 0;
    int lastQuantiser = finest;

    // Bits that a block would cost at quantiser 0, in key pictures and where something changed.
    double keyCost;
    double changeCost;

    // Of the picture asked for last.
    PictureKind lastKind = PictureKind::key;
    double codedBlocks = 0;
};

} // namespace quillet
