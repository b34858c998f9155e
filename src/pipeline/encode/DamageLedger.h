// DamageLedger.h: what has changed since the last frame that was taken, dropped frames included.
#pragma once

#include "media/PixelBuffer.h"

#include <cstdint>

namespace quillet {

/// Where a frame differs from the one before it.
struct FrameDamage {
    bool isEverything = true;
    PixelRegion region; ///< of memory rows; only if not everything
};

/// Frames that are not taken still leave their damage. A frame that does not follow the one noted before it (a gap in
/// `sequence`, no count, no damage given) makes everything count as changed.
///
/// Threads: a value, no locks.
class DamageLedger {
public:
    /// Each frame that is offered, taken or not, in order.
    void note(const PixelBuffer& frame);
    /// What the frame noted last changes against the one that was current at the last take(); written over
    /// `into`, whose memory serves again.
    void take(FrameDamage& into);

private:
    std::uint64_t lastSequence = 0;
    bool everything = true; // nothing was taken yet
    PixelRegion region;
};

} // namespace quillet
