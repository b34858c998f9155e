#include "pipeline/encode/DamageLedger.h"

namespace quillet {

void DamageLedger::note(const PixelBuffer& frame) {
    const bool follows = lastSequence != 0 && frame.sequence == lastSequence + 1 && frame.damage.has_value();
    lastSequence = frame.sequence;
    if (!follows)
        everything = true;
    else if (!everything)
        region.add(*frame.damage);
}

void DamageLedger::take(FrameDamage& into) {
    into.isEverything = everything;
    into.region = region;
    everything = false;
    region.clear();
}

} // namespace quillet
