#include "pipeline/encode/StillRow.h"

namespace quillet {

void StillRow::begin(std::span<const std::byte> key, int quantiser) {
    pictures[0].assign(key.begin(), key.end());
    keyQuantiser = quantiser;
    length = 1;
    place = 1;
}

void StillRow::extend(std::span<const std::byte> picture) {
    if (length == 0) return;
    if (length == longest) {
        clear();
        return;
    }
    pictures[length].assign(picture.begin(), picture.end());
    place = ++length;
}

void StillRow::clear() {
    length = 0;
    place = 0;
}

std::span<const std::byte> StillRow::keyAgain(int quantiser) {
    if (length == 0 || place == 1 || keyQuantiser > quantiser) return {};
    place = 1;
    return pictures[0];
}

std::span<const std::byte> StillRow::next() {
    if (isAtEnd()) return {};
    return pictures[place++];
}

} // namespace quillet
